// What an exception can tell about a failure, and what a failing function leaves for its caller to fetch.
#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "diagnostics/CComException.h"
#include "diagnostics/CDefaultComErrorDescriptionContainer.h"
#include "diagnostics/ComErrors.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/Results.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

using Microsoft::WRL::ComPtr;

namespace {

// Each of its texts is asked for in the same way.
struct CScriptedErrorInfo final : CTestObject<IErrorInfo> {
    enum class Answer { Text, Empty, Null, Failure, Exception };

    STDMETHODIMP GetGUID(GUID* iid) override {
        *iid = __uuidof(IStream);
        return Result();
    }
    STDMETHODIMP GetSource(BSTR* text) override { return Give(L"source", text); }
    STDMETHODIMP GetDescription(BSTR* text) override { return Give(L"description", text); }
    STDMETHODIMP GetHelpFile(BSTR* text) override { return Give(L"help", text); }
    STDMETHODIMP GetHelpContext(DWORD* context) override {
        *context = 7;
        return Result();
    }

    HRESULT Result() {
        ++calls;
        if (answer == Answer::Exception)
            throw std::runtime_error("a stranger's");
        return answer == Answer::Failure ? E_UNEXPECTED : S_OK;
    }
    // A failing call leaves behind something that is no string.
    HRESULT Give(const wchar_t* text, BSTR* out) {
        *out = reinterpret_cast<BSTR>(1);
        const HRESULT hr = Result();
        if (FAILED(hr))
            return hr;
        *out = answer == Answer::Null ? nullptr : base::CBstr(answer == Answer::Empty ? L"" : text).Detach();
        return hr;
    }

    Answer answer = Answer::Text;
    int calls = 0;
};

// The system's message table, replaced.
const wchar_t* g_systemText = nullptr;

DWORD WINAPI ScriptedFormatMessage(DWORD flags, LPCVOID, DWORD, DWORD language, LPWSTR buffer, DWORD, va_list*) {
    EXPECT_EQ(0x1100u, flags);
    EXPECT_EQ(0x400u, language);
    if (!g_systemText)
        return 0;
    const std::size_t bytes = (std::wcslen(g_systemText) + 1) * sizeof(wchar_t);
    *reinterpret_cast<void**>(buffer) = std::memcpy(::LocalAlloc(LMEM_FIXED, bytes), g_systemText, bytes);
    return static_cast<DWORD>(std::wcslen(g_systemText));
}

ComPtr<IErrorInfo> TakeErrorInfo() {
    ComPtr<IErrorInfo> info;
    ::GetErrorInfo(0, &info);
    return info;
}

}  // namespace

TEST(ComErrors, FrameworkCodesHaveTheirTexts) {
    const struct {
        unsigned long code;
        const wchar_t* text;
    } kCodes[] = {
        {0x80040001, L"TK: Element was not found."},
        {0x80040003, L"TK: Cannot seek in stream!"},
        {0x8004FFFF, L"TK: Catastraphic Failure - you better reboot your computer ;)"},
        {0x80040007, L""},
        {0, L""},
    };
    for (const auto& row : kCodes) {
        SCOPED_TRACE(row.code);
        const auto hr = static_cast<HRESULT>(row.code);
        EXPECT_EQ(row.text, CDefaultComErrorDescriptionContainer::Instance().GetDescription(hr));
        try {
            ThrowComError(hr);
        } catch (const CComException& exception) {
            EXPECT_EQ(hr, exception.GetResult());
            EXPECT_EQ(*row.text ? row.text : exception.GetSystemMessage(), exception.GetDescription());
            EXPECT_EQ(E_FAIL, exception.RestoreErrorInfo());
        }
        for (const bool named : {true, false}) {
            EXPECT_EQ(hr, named ? ReportComError(hr, __uuidof(IStream)) : ReportComError(hr));
            const CComException seen(hr, TakeErrorInfo().Get());
            EXPECT_EQ(row.text, seen.GetDescription());
            EXPECT_TRUE((named ? __uuidof(IStream) : __uuidof(IDispatch)) == seen.GetInterfaceId());
        }
    }
}

TEST(ComErrors, TheCodeAndTheErrorInfoOfAnExceptionGetPastAComBoundary) {
    EXPECT_EQ(kCantSeek, base::ComBoundary([]() -> HRESULT { ThrowComError(kCantSeek); }));
    EXPECT_EQ(L"TK: Cannot seek in stream!", CComException(kCantSeek, TakeErrorInfo().Get()).GetDescription());
    SetComErrorInfo(E_FAIL, __uuidof(IStream), L"older", 0, nullptr, nullptr);
    EXPECT_EQ(E_ABORT, base::ComBoundary([]() -> HRESULT { ThrowComError(E_ABORT); }));
    EXPECT_TRUE(TakeErrorInfo()) << "without a text there is nothing to report";
    SetComErrorInfo(kCantSeek, __uuidof(IStream), L"what", 0, nullptr, nullptr);
    const ComPtr<IErrorInfo> info = TakeErrorInfo();
    EXPECT_EQ(kCantSeek, base::ComBoundary([&]() -> HRESULT { throw CComException(kCantSeek, info.Get()); }));
    EXPECT_EQ(info.Get(), TakeErrorInfo().Get());
}

TEST(ComErrors, EveryDetailReachesWhoeverFetchesTheErrorInfo) {
    EXPECT_EQ(E_ABORT, SetComErrorInfo(E_ABORT, __uuidof(IStream), L"what", 42, L"a.chm", L"who"));
    const CComException given(E_ABORT, L"what", 42, L"a.chm", L"who"), fetched(E_ABORT, TakeErrorInfo().Get());
    EXPECT_TRUE(__uuidof(IStream) == fetched.GetInterfaceId());
    for (const CComException* seen : {&given, &fetched}) {
        EXPECT_EQ(L"what", seen->GetDescription());
        EXPECT_EQ(42u, seen->GetHelpContext());
        EXPECT_EQ(L"a.chm", seen->GetHelpFile());
        EXPECT_EQ(L"who", seen->GetSource());
    }
}

TEST(CComException, ASystemTextCountsOnlyWithItsLineBreak) {
    const struct {
        const wchar_t *text, *message;
    } kTexts[] = {{L"text\r\n", L"text"},
                  {L"text\n", L"text"},
                  {L"two\r\nlines\r\n\r\n", L"two\r\nlines\r\n"},
                  {L"no line break", L"Unknown error 0x80040003"},
                  {L"\n", L"Unknown error 0x80040003"},
                  {L"\r\n", L""},
                  {nullptr, L"Unknown error 0x80040003"}};
    const CImportHook hook("FormatMessageW", &ScriptedFormatMessage);
    for (const auto& row : kTexts) {
        SCOPED_TRACE(&row - kTexts);
        g_systemText = row.text;
        const CComException exception(kCantSeek, nullptr, 0, nullptr, nullptr);
        const std::wstring message = row.message;
        EXPECT_EQ(std::string(message.begin(), message.end()), exception.what());
        EXPECT_EQ(message, exception.GetSystemMessage());
        EXPECT_EQ(message, exception.GetDescription());
    }
    g_systemText = nullptr;
    EXPECT_STREQ("Unknown error 0x5", CComException(5, nullptr).what()) << "no leading zeros";
    g_systemText = L"\u042F\n";
    OnNewThread([] {
        ::SetThreadLocale(MAKELCID(MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT), SORT_DEFAULT));
        EXPECT_STREQ("\xDF", CComException(E_FAIL, nullptr).what());
    });
}

TEST(CComException, AnErrorInfoThatHasNothingToSayLeavesTheSystemMessage) {
    using Answer = CScriptedErrorInfo::Answer;
    const struct {
        Answer answer;
        const wchar_t *description, *source, *helpFile;
        bool numbers;
    } kAnswers[] = {
        {Answer::Text, L"description", L"source", L"help", true},
        {Answer::Empty, L"", L"", L"", true},
        {Answer::Null, L"Unknown error 0x80040003", L"", L"", true},
        {Answer::Failure, L"Unknown error 0x80040003", L"", L"", false},
        {Answer::Exception, L"Unknown error 0x80040003", L"", L"", false},
    };
    for (const auto& row : kAnswers) {
        SCOPED_TRACE(&row - kAnswers);
        CScriptedErrorInfo info;
        info.answer = row.answer;
        const CComException exception(kCantSeek, &info);
        EXPECT_EQ(row.description, exception.GetDescription());
        EXPECT_EQ(row.source, exception.GetSource());
        EXPECT_EQ(row.helpFile, exception.GetHelpFile());
        EXPECT_EQ(row.numbers ? 7u : 0u, exception.GetHelpContext());
        EXPECT_TRUE((row.numbers ? __uuidof(IStream) : GUID{}) == exception.GetInterfaceId());
        EXPECT_STREQ("Unknown error 0x80040003", exception.what());
    }
}

TEST(CComException, CopiesShareTheErrorInfo) {
    CScriptedErrorInfo info;
    {
        CComException assigned(E_FAIL, nullptr);
        {
            const CComException original(kCantSeek, &info);
            EXPECT_EQ(0, info.calls);
            EXPECT_STREQ("Unknown error 0x80040003", original.what());
            const CComException copy(original);
            assigned = copy;
            EXPECT_EQ(3u, info.References());
        }
        EXPECT_EQ(1u, info.References());
        EXPECT_EQ(L"description", assigned.GetDescription());
        EXPECT_EQ(kCantSeek, assigned.GetResult());
        EXPECT_EQ(5, info.calls);
        EXPECT_EQ(S_OK, assigned.RestoreErrorInfo());
        EXPECT_EQ(&info, TakeErrorInfo().Get());
    }
    EXPECT_EQ(0u, info.References());
}
