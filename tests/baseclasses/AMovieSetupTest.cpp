// What is written into the registry, and told to either filter mapper.
#include "baseclasses/AMovieSetup.h"
#include "tests/support/CTestObject.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

constexpr CLSID kClass{0x7E570001, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
constexpr wchar_t kKey[] = L"CLSID\\{7E570001-0000-0000-0000-000000000000}";

// A text as it is stored, with its terminator.
std::wstring Stored(const std::wstring& key, const wchar_t* name) {
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return L"<none>";
    wchar_t text[100]{};
    DWORD bytes = sizeof text, type = REG_NONE;
    const LSTATUS status = ::RegQueryValueExW(opened, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
    ::RegCloseKey(opened);
    return status == ERROR_SUCCESS && type == REG_SZ ? std::wstring(text, bytes / sizeof(wchar_t)) : L"<none>";
}
std::wstring Terminated(const wchar_t* text) {
    return std::wstring(text) + L'\0';
}

TEST(AMovieSetupTest, AServersTextsAreWrittenWholeAndTakenBack) {
    for (const wchar_t* const path : {L"C:\\first\\longer path\\a.dll", L"C:\\b.dll"}) {
        EXPECT_EQ(S_OK, AMovieSetupRegisterServer(kClass, L"test filter", path, TRUE));
        EXPECT_EQ(Terminated(L"test filter"), Stored(kKey, nullptr));
        EXPECT_EQ(Terminated(path), Stored(kKey + std::wstring(L"\\InprocServer32"), nullptr));
        EXPECT_EQ(Terminated(L"Both"), Stored(kKey + std::wstring(L"\\InprocServer32"), L"ThreadingModel"));
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(S_OK, AMovieSetupRegisterServer(kClass, nullptr, nullptr, FALSE));
        EXPECT_EQ(L"<none>", Stored(kKey, nullptr));
    }
}

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
        const bool stops = failing > 1;  // that there was nothing to take away is no failure
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
