// What an exception can tell about a failure, and what a failing function leaves for its caller to fetch.
#include "diagnostics/CBstr.h"
#include "diagnostics/CComException.h"
#include "diagnostics/ComErrors.h"
#include "tests/support/CTestObject.h"

#include <gtest/gtest.h>

#include <optional>

using Microsoft::WRL::ComPtr;

namespace {

// An error info object of which each text is asked for in the same way.
struct CScriptedErrorInfo final : CTestObject<IErrorInfo> {
    enum class Answer { Text, Empty, Null, Failure, Exception };

    STDMETHODIMP GetGUID(GUID* iid) override { return *iid = __uuidof(IStream), Result(); }
    STDMETHODIMP GetSource(BSTR* text) override { return Give(L"source", text); }
    STDMETHODIMP GetDescription(BSTR* text) override { return Give(L"description", text); }
    STDMETHODIMP GetHelpFile(BSTR* text) override { return Give(L"help", text); }
    STDMETHODIMP GetHelpContext(DWORD* context) override { return *context = 7, Result(); }

    HRESULT Result() {
        return ++calls, answer == Answer::Exception ? throw 42 : answer == Answer::Failure ? E_FAIL : S_OK;
    }
    // A failing call leaves behind what is no string.
    HRESULT Give(const wchar_t* text, BSTR* out) {
        *out = reinterpret_cast<BSTR>(1);
        const HRESULT hr = Result();
        if (SUCCEEDED(hr))
            *out = answer == Answer::Null ? nullptr : CBstr(answer == Answer::Empty ? L"" : text).Detach();
        return hr;
    }

    Answer answer = Answer::Text;
    int calls = 0;
};

ComPtr<IErrorInfo> TakeErrorInfo() {
    ComPtr<IErrorInfo> info;
    ::GetErrorInfo(0, &info);
    return info;
}

TEST(ComErrors, FrameworkCodesAreThrownAndReportedWithTheirTexts) {
    const std::pair<unsigned long, const wchar_t*> kCodes[] = {
        {0x80040003, L"TK: Cannot seek in stream!"},
        {0x8004FFFF, L"TK: Catastraphic Failure - you better reboot your computer ;)"},
        {0x80040007, L""}};
    for (const auto& [code, text] : kCodes) {
        const auto hr = static_cast<HRESULT>(code);
        try {
            ThrowComError(hr);
        } catch (const CComException& exception) {
            EXPECT_EQ(hr, exception.GetResult());
            EXPECT_EQ(*text ? text : exception.GetSystemMessage(), exception.GetDescription());
            EXPECT_EQ(E_FAIL, exception.RestoreErrorInfo());
        }
        EXPECT_EQ(hr, ReportComError(hr));
        const CComException seen(hr, TakeErrorInfo().Get());
        EXPECT_EQ(text, seen.GetDescription());
        EXPECT_TRUE(__uuidof(IDispatch) == seen.GetInterfaceId());
    }
}

TEST(CComException, TheSystemsTextComesWithoutItsLineBreakAndIsReplacedWhenThereIsNone) {
    wchar_t text[256]{};
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(E_OUTOFMEMORY), 0x400,
                                          text, 256, nullptr);
    ASSERT_GT(length, 2u);
    EXPECT_EQ(std::wstring(text, length - 2), CComException(E_OUTOFMEMORY, nullptr).GetSystemMessage());
    // This one's text has a placeholder, and nothing to put there.
    EXPECT_STREQ("Unknown error 0x800700C1", CComException(HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT), nullptr).what());
}

TEST(CComException, AnErrorInfoIsAskedOnceSharedByCopiesAndMayHaveNothingToSay) {
    using Answer = CScriptedErrorInfo::Answer;
    const struct {
        Answer answer;
        const wchar_t *description, *source, *helpFile;
        DWORD number;
    } kAnswers[] = {{Answer::Text, L"description", L"source", L"help", 7},
                    {Answer::Empty, L"", L"", L"", 7},
                    {Answer::Null, L"Unknown error 0xA0BCDEF1", L"", L"", 7},
                    {Answer::Failure, L"Unknown error 0xA0BCDEF1", L"", L"", 0},
                    {Answer::Exception, L"Unknown error 0xA0BCDEF1", L"", L"", 0}};
    for (const auto& row : kAnswers) {
        SCOPED_TRACE(&row - kAnswers);
        CScriptedErrorInfo info;
        info.answer = row.answer;
        std::optional<CComException> original(std::in_place, static_cast<HRESULT>(0xA0BCDEF1), &info);
        EXPECT_EQ(0, info.calls);
        EXPECT_STREQ("Unknown error 0xA0BCDEF1", original->what());
        const CComException copy(*original);
        original.reset();
        EXPECT_EQ(row.description, copy.GetDescription());
        EXPECT_EQ(row.source, copy.GetSource());
        EXPECT_EQ(row.helpFile, copy.GetHelpFile());
        EXPECT_EQ(row.number, copy.GetHelpContext());
        EXPECT_TRUE((row.number ? __uuidof(IStream) : GUID{}) == copy.GetInterfaceId());
        EXPECT_EQ(5, info.calls);
        EXPECT_EQ(S_OK, copy.RestoreErrorInfo());
        EXPECT_EQ(&info, TakeErrorInfo().Get());
        EXPECT_EQ(1u, info.References());
    }
}

}  // namespace
