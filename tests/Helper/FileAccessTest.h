// What the tests of this folder share: a data-service layer, a logger, and a thread that uses both.
#pragma once

#include "Helper/FileAccess.h"
#include "base/CBstr.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CFakeDataLayer.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CScriptedStream.h"

#include <gtest/gtest.h>

#include <functional>
#include <span>

using Microsoft::WRL::ComPtr;
using Texts = std::vector<std::wstring>;
using Fault = CFakeDataLayer::Fault;
inline constexpr HRESULT kFault = CFakeDataLayer::kFault;

struct FileAccessTest : ::testing::Test {
    // A function must always overwrite `*to`: with null, or with what it opened.
    template <class Object>
    static HRESULT Open(const std::function<HRESULT(Object** to)>& call) {
        ComPtr<Object> object;
        *object.GetAddressOf() = reinterpret_cast<Object*>(1);
        const HRESULT hr = call(object.GetAddressOf());
        EXPECT_EQ(SUCCEEDED(hr), object != nullptr);
        return hr;
    }
    // Runs `body` on a thread that logs. Afterwards nothing of the layer is alive.
    HRESULT Run(const std::function<HRESULT()>& body) {
        HRESULT hr = E_PENDING;
        OnNewThread([&] { hr = body(); });
        EXPECT_EQ(0u, layer.References());
        EXPECT_EQ(0u, stream.References());
        return hr;
    }

    // The records since the last call of this function, without what they have in common.
    Texts TakeLog() {
        Texts lines;
        const auto records = logger->Records();
        for (const LoggedRecord& record : std::span(records).subspan(std::exchange(m_taken, records.size()))) {
            EXPECT_EQ(TKRuntimeLogger::kError, record.severity);
            EXPECT_EQ(LR"(TvFileSourceAsync ..\..\Helper\FileAccess)", record.category + L" " + record.file);
            lines.push_back(record.function + L": " + record.message);
        }
        return lines;
    }
    // Since the last look, the function logged the failing call, if there was one, and its own end with a failure.
    void ExpectLog(const std::wstring& function, const wchar_t* call, HRESULT failure, HRESULT result) {
        Texts log;
        if (call && FAILED(failure))
            log.push_back(Failed(function, failure, call));
        if (FAILED(result))
            log.push_back(Ended(function, result));
        EXPECT_EQ(log, TakeLog());
    }
    bool WasTimed(const std::wstring& function, const wchar_t* part = L"") const {
        OnNewThread([] { TKRuntimeLogger::GetProfilesCollector()->ReportAll(); });
        return std::ranges::any_of(logger->Profiles(), [&](const LoggedProfile& profile) {
            return profile.category == L"PROFILE" && profile.file == L"FileAccess" &&
                   profile.function == L"FileAccess::" + function && profile.message == part;
        });
    }

    // The records of a checked call, of a checked pointer and of an exit-scope guard.
    static std::wstring Failed(const std::wstring& function, HRESULT hr, const std::wstring& call) {
        return Error(function, L"hr=0x" + Describe(L"%08X (\"%s\"), from call ", hr) + call);
    }
    static std::wstring Error(const std::wstring& function, const std::wstring& text) {
        return L"FileAccess::" + function + L": ERROR: " + text;
    }
    static std::wstring Ended(const std::wstring& function, HRESULT hr) {
        return L"FileAccess::" + function + L": FileAccess::" + function + L" failed on exit scope: HRESULT 0x" +
               Describe(L"%08x (\"%s\")", hr);
    }

    CPublishedLogger logger;
    CFakeDataLayer layer;
    CScriptedStream stream;

private:
    static std::wstring Describe(const wchar_t* format, HRESULT hr) {
        return TKRuntimeLogger::FormatLogString(format, hr, TKRuntimeLogger::HResultText(hr).c_str());
    }
    size_t m_taken = 0;
};
