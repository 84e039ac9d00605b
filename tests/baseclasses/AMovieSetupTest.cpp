// Registration with the filter mapper of old systems. The filter's own test has the newer mapper and the registry.
#include "baseclasses/AMovieSetup.h"
#include "tests/support/CTestObject.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

constexpr CLSID kClass{0x7E570001, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

// Writes down what it is told; the call of this number fails.
struct CJournalMapper final : CTestObject<IFilterMapper> {
    HRESULT Note(std::wstring what) {
        journal.push_back(std::move(what));
        return static_cast<int>(journal.size()) == failing ? failure : S_OK;
    }
    STDMETHODIMP RegisterFilter(CLSID clsid, LPCWSTR name, DWORD merit) override {
        EXPECT_EQ(kClass, clsid);
        return Note(L"filter " + std::wstring(name) + L" " + std::to_wstring(merit));
    }
    STDMETHODIMP RegisterFilterInstance(CLSID, LPCWSTR, CLSID*) override { return E_NOTIMPL; }
    STDMETHODIMP RegisterPin(CLSID clsid, LPCWSTR name, BOOL rendered, BOOL output, BOOL zero, BOOL many,
                             CLSID connectsTo, LPCWSTR connectsToPin) override {
        EXPECT_EQ(kClass, clsid);
        return Note(L"pin " + std::wstring(name) + L" " + std::to_wstring(rendered) + std::to_wstring(output) +
                    std::to_wstring(zero) + std::to_wstring(many) + L" " + std::to_wstring(connectsTo.Data1) +
                    (connectsToPin ? connectsToPin : L""));
    }
    STDMETHODIMP RegisterPinType(CLSID clsid, LPCWSTR name, CLSID major, CLSID sub) override {
        EXPECT_EQ(kClass, clsid);
        return Note(L"type " + std::wstring(name) + L" " + std::to_wstring(major.Data1) + L" " +
                    std::to_wstring(sub.Data1));
    }
    STDMETHODIMP UnregisterFilter(CLSID clsid) override { return Note(clsid == kClass ? L"gone" : L"another"); }
    STDMETHODIMP UnregisterFilterInstance(CLSID) override { return E_NOTIMPL; }
    STDMETHODIMP UnregisterPin(CLSID, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP EnumMatchingFilters(IEnumRegFilters**, DWORD, BOOL, CLSID, CLSID, BOOL, BOOL, CLSID, CLSID) override {
        return E_NOTIMPL;
    }

    std::vector<std::wstring> journal;
    int failing = 0;
    HRESULT failure = E_ACCESSDENIED;
};

TEST(AMovieSetupTest, TheOldMapperIsToldEachPinAndTypeUpToTheFirstFailure) {
    const CLSID one{1, 0, 0, {}}, two{2, 0, 0, {}}, three{3, 0, 0, {}};
    const AMOVIESETUP_MEDIATYPE types[] = {{&one, &two}, {&two, &three}};
    wchar_t in[] = L"in", out[] = L"out", peer[] = L"peer";
    const AMOVIESETUP_PIN pins[] = {{in, TRUE, FALSE, TRUE, FALSE, nullptr, nullptr, 1, types},
                                    {out, FALSE, TRUE, FALSE, TRUE, &three, peer, 2, types}};
    const AMOVIESETUP_FILTER setup{&kClass, L"test filter", 7, 2, pins};
    const std::vector<std::wstring> all{L"gone",        L"filter test filter 7", L"pin in 1010 0",
                                        L"type in 1 2", L"pin out 0101 3peer",   L"type out 1 2",
                                        L"type out 2 3"};
    for (int failing = 0; failing <= static_cast<int>(all.size()); ++failing) {
        SCOPED_TRACE(failing);
        CJournalMapper mapper;
        mapper.failing = failing;
        const bool stops = failing > 1;  // it is no failure if there was nothing to take away
        EXPECT_EQ(stops ? E_ACCESSDENIED : S_OK, AMovieSetupRegisterFilter(setup, &mapper, TRUE));
        EXPECT_EQ(std::vector(all.begin(), stops ? all.begin() + failing : all.end()), mapper.journal);
    }
    for (const auto& [answer, result] :
         {std::pair{E_ACCESSDENIED, E_ACCESSDENIED}, {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), S_OK}}) {
        CJournalMapper mapper;
        mapper.failing = 1;
        mapper.failure = answer;
        EXPECT_EQ(result, AMovieSetupRegisterFilter(setup, &mapper, FALSE));
        EXPECT_EQ(std::vector<std::wstring>{L"gone"}, mapper.journal);
    }
}

}  // namespace
