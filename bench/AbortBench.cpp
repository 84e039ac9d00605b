// How soon a read ends that is given up while it waits for the network, at whatever the network is at.
#include "TKDataServices.h"
#include "base/CAutoDestructor.h"
#include "base/CBstr.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/Timing.h"
#include "framework/values/CVariant.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace bench {

namespace {

using Microsoft::WRL::ComPtr;

constexpr int kAborts = 1000;
constexpr DWORD kMostMs = 10'000;       // for a read that was given up
constexpr LONGLONG kFar = 512LL << 20;  // in a source of 1 GiB

ComPtr<IStream> OpenStream(const std::wstring& url) {
    ComPtr<ITKDSUriAccessFactory> factory;
    Check(::CoCreateInstance(CLSID_TKDSUriAccessFactory, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&factory)),
          "CoCreateInstance of the access factory");
    const base::CBstr uri(std::wstring_view{url}), accessorId(TKDS_ACCESSOR_CREATESTREAM);
    framework::CVariant accessor;
    Check(factory->OpenUriAs(uri.Get(), accessorId.Get(), accessor.Put()), "OpenUriAs");
    ComPtr<ITKDSCreateStream> creator;
    Check(accessor.Get().punkVal->QueryInterface(IID_PPV_ARGS(&creator)), "QueryInterface for ITKDSCreateStream");
    ComPtr<IStream> stream;
    Check(creator->CreateStreamEx2(SC_UseDefault, &stream), "CreateStreamEx2");
    return stream;
}

// Reads at one place again and again, on a thread of its own, each time when it is told to.
class CReader final {
public:
    CReader(IStream& stream, LONGLONG position) : m_stream(stream), m_position(position) {}
    CReader(const CReader&) = delete;
    CReader& operator=(const CReader&) = delete;
    ~CReader() {
        m_hasEnded = true;
        ::SetEvent(m_go.Get());
        m_thread.join();
    }

    void Go() { ::SetEvent(m_go.Get()); }
    // How the read ended.
    [[nodiscard]] HRESULT Await() {
        if (::WaitForSingleObject(m_done.Get(), kMostMs) != WAIT_OBJECT_0)
            throw std::runtime_error("a read that was given up did not end");
        return m_result;
    }

private:
    void Work() {
        while (::WaitForSingleObject(m_go.Get(), INFINITE) == WAIT_OBJECT_0 && !m_hasEnded) {
            BYTE bytes[4096];
            ULONG count = 0;
            LARGE_INTEGER move{};
            move.QuadPart = m_position;
            m_result = m_stream.Seek(move, STREAM_SEEK_SET, nullptr);
            if (m_result == S_OK)
                m_result = m_stream.Read(bytes, sizeof bytes, &count);
            ::SetEvent(m_done.Get());
        }
    }

    IStream& m_stream;
    const LONGLONG m_position;
    HRESULT m_result = S_OK;
    std::atomic<bool> m_hasEnded{false};
    const base::CAutoHandle m_go{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    const base::CAutoHandle m_done{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::thread m_thread{[this] { Work(); }};
};

void BenchAbortsIn(CReport& report, const std::string& phase, CLinkServer& server, const std::wstring& path,
                   IStream& stream) {
    ComPtr<ITKDSSourceControl> control;
    Check(stream.QueryInterface(IID_PPV_ARGS(&control)), "QueryInterface for ITKDSSourceControl");
    std::vector<double> times;
    {
        CReader reader(stream, kFar);
        for (int i = 0; i <= kAborts; ++i) {
            reader.Go();
            // The first read comes to where the network waits, after what it has to try before.
            ::Sleep(i == 0 ? 500 : static_cast<DWORD>(Scrambled(static_cast<ULONGLONG>(i)) % 6));
            const CStopwatch watch;
            Check(control->AbortReads(), "AbortReads");
            if (reader.Await() != E_ABORT)
                throw std::runtime_error("a read " + phase + " did not end with E_ABORT");
            times.push_back(watch.Microseconds() / 1e3);
            Check(control->AllowReads(), "AllowReads");
        }
    }
    std::ranges::sort(times);
    const double p99 = times[times.size() * 99 / 100], worst = times.back();
    const std::string what = "1,000 aborts " + phase;
    const auto figures = server.Take(path);
    char figure[64];
    std::snprintf(figure, sizeof figure, "%.2f, %.2f ms", p99, worst);
    report.Add(CReport::Work{what, "ours: p99, worst", figure, figures.requests, figures.mostOpen, figures.sent});
    report.AddGoal(what + ": 99 of 100 within", p99, CReport::Goal::AtMost, 20, "ms");
    report.AddGoal(what + ": all within", worst, CReport::Goal::AtMost, 100, "ms");
}

}  // namespace

void BenchAborts(CReport& report, CLinkServer& server) {
    const std::wstring path = L"/made/1073741824/abort-";
    {
        const unsigned port = server.Listen();
        const ComPtr<IStream> stream = OpenStream(CLinkServer::UrlAt(port, path + L"connect"));
        server.Deafen(port);
        BenchAbortsIn(report, "while it connects", server, path + L"connect", *stream.Get());
    }
    const struct {
        const char* phase;
        const wchar_t* name;
        const wchar_t* link;
    } kPhases[] = {
        {"while headers are due", L"headers", L"?mute=1000000"},
        {"while the body is due", L"body", L"?stall=1000000"},
        {"in a pause before a retry", L"pause", L"?busy=1000000"},
    };
    for (const auto& each : kPhases) {
        const ComPtr<IStream> stream = OpenStream(server.Url(path + each.name + each.link));
        BenchAbortsIn(report, each.phase, server, path + each.name, *stream.Get());
    }
}

}  // namespace bench
