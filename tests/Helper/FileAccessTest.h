// What the tests of this folder share: a data-service layer, a logger, and a thread that uses both.
#pragma once

#include "Helper/FileAccess.h"
#include "diagnostics/CBstr.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/Helper/CFakeDirectories.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <functional>

using Microsoft::WRL::ComPtr;
using Texts = std::vector<std::wstring>;
using Fault = CFakeDirectories::Fault;

// A function of the library at work, logged under `function`.
struct FileAccessTest : ::testing::Test {
    // Runs `body` on a thread that logs. Afterwards nothing of the layer is alive.
    HRESULT Run(const std::function<HRESULT()>& body) {
        HRESULT hr = E_PENDING;
        OnNewThread([&] { hr = body(); });
        EXPECT_EQ(0u, layer.References());
        EXPECT_EQ(0, layer.service.LiveObjects());
        return hr;
    }

    // The records since the last call of this function, without what they have in common.
    Texts TakeLog() {
        Texts lines;
        const auto records = logger->Records();
        for (; m_taken < records.size(); ++m_taken) {
            const LoggedRecord& record = records[m_taken];
            EXPECT_EQ(TKRuntimeLogger::kError, record.severity);
            EXPECT_EQ(L"TvFileSourceAsync", record.category);
            EXPECT_EQ(LR"(..\..\Helper\FileAccess)", record.file);
            lines.push_back(record.function + L": " + record.message);
        }
        return lines;
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
    CFakeDirectories layer;

private:
    static std::wstring Describe(const wchar_t* format, HRESULT hr) {
        return TKRuntimeLogger::FormatLogString(format, hr, TKRuntimeLogger::HResultText(hr).c_str());
    }
    size_t m_taken = 0;
};
