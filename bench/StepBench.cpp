// The steps of our filter's reads, each timed by itself in this program's own copy of the same code. The rest of the
// whole time goes to calls between modules, exception frames and bookkeeping.
#include "baseclasses/CAutoLock.h"
#include "baseclasses/CCritSec.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CBareFile.h"
#include "bench/CFilterSource.h"
#include "bench/CPageBuffer.h"
#include "bench/Positions.h"
#include "bench/Timing.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "framework/com/CStreamCookie.h"
#include "framework/com/GlobalInterfaceTable.h"
#include "framework/streams/TKFStreams.h"

#include <atomic>
#include <cstring>

namespace bench {

using Microsoft::WRL::ComPtr;

namespace {

constexpr LONG kPacketBytes = 188;
constexpr LONG kBufferBytes = kTKFDefaultBufferBytes;
constexpr LONG kRandomReadBytes = 4096;

constexpr TKRuntimeLogger::LogSource kSource{L"tvbench", L"StepBench"};

// Goes through a variable: the compiler would leave out what nobody looks at.
void* (*volatile g_copyBytes)(void*, const void*, std::size_t) = std::memcpy;

ComPtr<IStream> OpenFile(const CBenchFile& file) {
    ComPtr<IStream> stream;
    Check(::TKFCreateLocalFileSystemStream(file.Path(), kTKFStreamRead | kTKFStreamShareRead, &stream),
          "TKFCreateLocalFileSystemStream");
    return stream;
}

void SeekTo(IStream& stream, LONGLONG position) {
    LARGE_INTEGER target;
    target.QuadPart = position;
    Check(stream.Seek(target, STREAM_SEEK_SET, nullptr), "IStream::Seek");
}

void ReadBytes(IStream& stream, void* buffer, LONG bytes) {
    Check(stream.Read(buffer, static_cast<ULONG>(bytes), nullptr), "IStream::Read");
}

double TimeFetch(const framework::CStreamCookie& cookie) {
    return BestTime([&] {
        ComPtr<IStream> fetched;
        Check(cookie.CopyTo(&fetched), "GetInterfaceFromGlobal");
    });
}

double TimeTableFetch(const framework::CStreamCookie& cookie) {
    ComPtr<IGlobalInterfaceTable> table;
    Check(::TKFGetGlobalInterfaceTable(&table), "Getting the Global Interface Table");
    return BestTime([&] {
        ComPtr<IStream> fetched;
        Check(table->GetInterfaceFromGlobal(cookie.Get(), IID_PPV_ARGS(&fetched)), "GetInterfaceFromGlobal");
    });
}

double TimeTwoLocks() {
    CCritSec outer;
    CCritSec inner;
    return BestTime([&] {
        CAutoLock outerLock(&outer);
        CAutoLock innerLock(&inner);
    });
}

double TimeThreeScopes() {
    return BestTime([] {
        TK_PROFILE(kSource, L"TimeThreeScopes", L"");
        { TK_PROFILE(kSource, L"TimeThreeScopes", L"seeking"); }
        TK_PROFILE(kSource, L"TimeThreeScopes", L"reading");
    });
}

double TimeKernelEvent() {
    const base::CAutoHandle event(::CreateEventW(nullptr, TRUE, TRUE, nullptr));
    return BestTime([&] { ::WaitForSingleObject(event.Get(), 0); });
}

void BenchSmallRead(CReport& report, CFilterSource& ours, const CBenchFile& file) {
    const ComPtr<IStream> source = OpenFile(file);
    ComPtr<IStream> buffered;
    Check(::TKFCreateBufferedStream(source.Get(), &buffered), "TKFCreateBufferedStream");
    framework::CStreamCookie cookie;
    Check(cookie.Attach(buffered.Get()), "RegisterInterfaceInGlobal");
    BYTE packet[kPacketBytes];
    ReadBytes(*buffered.Get(), packet, kPacketBytes);
    LONGLONG position = 0;
    const auto [whole, seek, seekAndRead] = BestTimes([&] { ours.ReadAt(0, kPacketBytes, packet); },
                                                      [&] { SeekTo(*buffered.Get(), position ^= kPacketBytes); },
                                                      [&] {
                                                          SeekTo(*buffered.Get(), 0);
                                                          ReadBytes(*buffered.Get(), packet, kPacketBytes);
                                                      });
    std::atomic<bool> flag{true};
    const double gate = BestTime([&] { static_cast<void>(flag.load(std::memory_order_acquire)); });
    const double locks = TimeTwoLocks();
    const double fetch = TimeFetch(cookie);
    const double scopes = TimeThreeScopes();

    report.BeginSteps("A read of 188 bytes that the buffer has", whole);
    report.AddStep("flow gate: one flag", gate);
    report.AddStep("stream lock and queue lock", locks);
    report.AddStep("stream from its registration in the Global Interface Table", fetch);
    report.AddStep("seek inside the buffer", seek);
    report.AddStep("copy out of the buffer", seekAndRead - seek);
    report.AddStep("three timing scopes that are off", scopes);
    report.AddStep("the whole", whole);
    report.AddStep("for comparison: a flow gate that asks a kernel event", TimeKernelEvent());
    // The table makes an unmarshaler for each fetch of a stream that is valid in every apartment; the holder of the
    // registration knows that such a stream needs none.
    report.AddStep("for comparison: GetInterfaceFromGlobal of the same stream", TimeTableFetch(cookie));
}

// One buffer after the other through the whole file, so that each comes from the page cache and not from the
// processor's.
void BenchLargeRead(CReport& report, CFilterSource& ours, const CBenchFile& file) {
    CBareFile bareFile(file.Path());
    const ComPtr<IStream> source = OpenFile(file);
    const CPageBuffer target(kBufferBytes);
    const CPageBuffer buffer(kBufferBytes);
    CSequentialPositions forWhole(0, kBufferBytes);
    CSequentialPositions forRefill(1, kBufferBytes);
    CSequentialPositions forReadFile(2, kBufferBytes);
    const auto [whole, refill, readFile, copy] =
        BestTimes([&] { ours.ReadAt(forWhole.Next(), kBufferBytes, target.Get()); },
                  [&] {
                      SeekTo(*source.Get(), forRefill.Next());
                      ReadBytes(*source.Get(), buffer.Get(), kBufferBytes);
                  },
                  [&] { bareFile.ReadAt(forReadFile.Next(), kBufferBytes, target.Get()); },
                  [&] { g_copyBytes(target.Get(), buffer.Get(), kBufferBytes); });
    report.BeginSteps("A read of 128 KiB, which empties and refills the buffer", whole);
    report.AddStep("refill: 128 KiB from the file", refill);
    report.AddStep("copy of 128 KiB out of the buffer", copy);
    report.AddStep("the whole", whole);
    report.AddStep("for comparison: bare ReadFile", readFile);
}

void BenchRandomRead(CReport& report, CFilterSource& ours, const CBenchFile& file) {
    const ComPtr<IStream> source = OpenFile(file);
    const CPageBuffer buffer(kBufferBytes);
    CRandomPositions forWhole(0, kBufferBytes);
    CRandomPositions forSeek(1, kBufferBytes);
    CRandomPositions forRefill(2, kBufferBytes);
    const auto [whole, seek, seekAndRefill] =
        BestTimes([&] { ours.ReadAt(forWhole.Next(), kRandomReadBytes, buffer.Get()); },
                  [&] { SeekTo(*source.Get(), forSeek.Next()); },
                  [&] {
                      SeekTo(*source.Get(), forRefill.Next());
                      ReadBytes(*source.Get(), buffer.Get(), kBufferBytes);
                  });
    report.BeginSteps("A random read of 4 KiB", whole);
    report.AddStep("seek of the file", seek);
    report.AddStep("refill: 128 KiB from the file, always a whole buffer", seekAndRefill - seek);
    report.AddStep("the whole", whole);
}

}  // namespace

void BenchSteps(CReport& report, const CFilterLibrary& library, const CBenchFile& file) {
    CFilterSource ours(library.Factory());
    ours.Load(file.Path());
    BenchSmallRead(report, ours, file);
    BenchLargeRead(report, ours, file);
    BenchRandomRead(report, ours, file);
}

}  // namespace bench
