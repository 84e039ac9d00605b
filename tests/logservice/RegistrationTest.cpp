// What the service writes into the registry, and that nothing of it is left.
#include "base/CAutoDestructor.h"
#include "tests/support/CProgram.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

namespace {

constexpr wchar_t kInterface[] = L"Interface\\{14AB8D36-E802-4597-A36E-50157516D2E1}";

// The keys right below one, in one view, by their paths.
void CollectKeys(const std::wstring& path, REGSAM view, std::set<std::wstring>& keys) {
    base::CAutoRegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | view, key.Put()) != ERROR_SUCCESS)
        return;
    wchar_t name[256]{};
    for (DWORD i = 0, size = 256;
         ::RegEnumKeyExW(key.Get(), i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++i, size = 256)
        keys.insert(path + L"\\" + name);
}

std::set<std::wstring> ClassKeys(REGSAM view) {
    std::set<std::wstring> keys;
    for (const wchar_t* folder : {L"Interface", L"TypeLib", L"AppID"})
        CollectKeys(std::wstring(L"SOFTWARE\\Classes\\") + folder, view, keys);
    return keys;
}

struct Value {
    std::wstring key;
    const wchar_t* name;
    std::wstring text;
    REGSAM view;

    Value(std::wstring path, const wchar_t* valueName, std::wstring valueText, REGSAM keyView)
        : key(L"SOFTWARE\\Classes\\" + path), name(valueName), text(std::move(valueText)), view(keyView) {}

    [[nodiscard]] bool Stands() const {
        base::CAutoRegistryKey opened;
        wchar_t found[512]{};
        DWORD bytes = sizeof found;
        return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ | view, opened.Put()) == ERROR_SUCCESS &&
               ::RegGetValueW(opened.Get(), nullptr, name, RRF_RT_REG_SZ, nullptr, found, &bytes) == ERROR_SUCCESS &&
               found == text;
    }
    void Write() const {
        base::CAutoRegistryKey made;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE | view,
                                                   nullptr, made.Put(), nullptr));
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetValueExW(made.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
    }
};

constexpr wchar_t kApplication[] = L"{3F5D1B7C-9E0A-4C55-8D0B-6A1C27E4F9B2}";

DWORD RotFlags(REGSAM view) {
    base::CAutoRegistryKey key;
    DWORD flags = 0, bytes = sizeof flags;
    const std::wstring path = std::wstring(L"SOFTWARE\\Classes\\AppID\\") + kApplication;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | view, key.Put()) == ERROR_SUCCESS)
        ::RegGetValueW(key.Get(), nullptr, L"ROTFlags", RRF_RT_REG_DWORD, nullptr, &flags, &bytes);
    return flags;
}

constexpr REGSAM kViews[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};

unsigned RunService(const wchar_t* what) {
    return CProgram(BuiltProgram(L"TKRuntimeLogger.exe"), {what}).Wait();
}

// Nothing is registered before a test, whatever ran before it.
struct LogServiceRegistrationTest : ::testing::Test {
    void SetUp() override { ASSERT_EQ(0u, RunService(L"--unregister")); }
};

TEST_F(LogServiceRegistrationTest, ServesBothBitnessesAndLeavesNothing) {
    const std::set<std::wstring> before[] = {ClassKeys(kViews[0]), ClassKeys(kViews[1])};
    const std::wstring program = BuiltProgram(L"TKRuntimeLogger.exe");
    const std::wstring library = L"TypeLib\\{8C0E7B0A-5B7E-4E1C-9A53-3D8D1F2A6C47}\\1.0\\0\\";
    for (int turn = 0; turn < 2; ++turn) {
        SCOPED_TRACE(turn);
        EXPECT_EQ(0u, RunService(L"--register"));
        EXPECT_EQ(0u, RunService(L"--register"));
        for (const REGSAM view : kViews) {
            EXPECT_TRUE(Value(std::wstring(kInterface) + L"\\ProxyStubClsid32", nullptr,
                              L"{00020424-0000-0000-C000-000000000046}", view)
                            .Stands());
            EXPECT_TRUE(Value(library + L"win64", nullptr, program + L"\\1", view).Stands());
            EXPECT_TRUE(Value(library + L"win32", nullptr, program + L"\\2", view).Stands());
            EXPECT_TRUE(Value(L"AppID\\TKRuntimeLogger.exe", L"AppID", kApplication, view).Stands());
            EXPECT_EQ(1u, RotFlags(view)) << "clients of other rights are let in";
        }
        EXPECT_EQ(0u, RunService(L"--unregister"));
        EXPECT_EQ(0u, RunService(L"--unregister"));
        EXPECT_EQ(before[0], ClassKeys(kViews[0]));
        EXPECT_EQ(before[1], ClassKeys(kViews[1]));
    }
}

TEST_F(LogServiceRegistrationTest, OfAProgramThatIsGoneIsNone) {
    const auto saysItIsnt = [] {
        CProgram service(BuiltProgram(L"TKRuntimeLogger.exe"), {L"--for", L"0"});
        EXPECT_EQ(0u, service.Wait());
        return service.Err().find("it isn't registered") != std::string::npos;
    };
    EXPECT_TRUE(saysItIsnt());
    EXPECT_EQ(0u, RunService(L"--register"));
    EXPECT_FALSE(saysItIsnt());
    Value(L"TypeLib\\{8C0E7B0A-5B7E-4E1C-9A53-3D8D1F2A6C47}\\1.0\\0\\win32", nullptr, L"C:\\gone.exe\\2", kViews[1])
        .Write();
    EXPECT_TRUE(saysItIsnt());
    EXPECT_EQ(0u, RunService(L"--register"));
    EXPECT_FALSE(saysItIsnt()) << "the same again mends it";
    EXPECT_EQ(0u, RunService(L"--unregister"));
}

TEST_F(LogServiceRegistrationTest, AnotherCopyThatIsThereStays) {
    const std::filesystem::path own = BuiltProgram(L"TKRuntimeLogger.exe");
    const std::filesystem::path copy = own.parent_path() / L"TKRuntimeLogger copy.exe";
    std::filesystem::copy_file(own, copy, std::filesystem::copy_options::overwrite_existing);
    const std::set<std::wstring> before[] = {ClassKeys(kViews[0]), ClassKeys(kViews[1])};
    const auto unregister = [&](const std::filesystem::path& program) {
        CProgram service(program.wstring(), {L"--unregister"});
        EXPECT_EQ(0u, service.Wait());
        return service.Err();
    };
    EXPECT_EQ(0u, CProgram(copy.wstring(), {L"--register"}).Wait());
    const std::set<std::wstring> registered[] = {ClassKeys(kViews[0]), ClassKeys(kViews[1])};
    const std::string said = unregister(own);
    EXPECT_NE(std::string::npos, said.find("TKRuntimeLogger copy.exe is registered")) << said;
    EXPECT_EQ(1, std::count(said.begin(), said.end(), '\n')) << said;
    EXPECT_EQ(registered[0], ClassKeys(kViews[0]));
    EXPECT_EQ(registered[1], ClassKeys(kViews[1]));
    for (const REGSAM view : kViews)
        EXPECT_EQ(1u, RotFlags(view));

    // Another spelling is no other copy.
    const std::wstring spelled = (copy.parent_path() / L"." / copy.filename()).wstring();
    for (const REGSAM view : kViews)
        Value(L"TypeLib\\{8C0E7B0A-5B7E-4E1C-9A53-3D8D1F2A6C47}\\1.0\\0\\win32", nullptr, spelled + L"\\2", view)
            .Write();
    EXPECT_EQ("", unregister(copy));
    EXPECT_EQ(before[0], ClassKeys(kViews[0]));
    EXPECT_EQ(before[1], ClassKeys(kViews[1]));

    // Nor is one that is gone.
    EXPECT_EQ(0u, CProgram(copy.wstring(), {L"--register"}).Wait());
    EXPECT_TRUE(std::filesystem::remove(copy));
    EXPECT_EQ("", unregister(own));
    EXPECT_EQ(before[0], ClassKeys(kViews[0]));
    EXPECT_EQ(before[1], ClassKeys(kViews[1]));
}

TEST_F(LogServiceRegistrationTest, AnotherMarshallerOfAnInterfaceStays) {
    const Value other(std::wstring(kInterface) + L"\\ProxyStubClsid32", nullptr,
                      L"{11111111-2222-3333-4444-555555555555}", KEY_WOW64_64KEY);
    other.Write();
    EXPECT_EQ(0u, RunService(L"--register"));
    EXPECT_TRUE(other.Stands());
    EXPECT_EQ(0u, RunService(L"--unregister"));
    EXPECT_TRUE(other.Stands());
    for (const std::wstring& key : {other.key, L"SOFTWARE\\Classes\\" + std::wstring(kInterface)})
        EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), KEY_WOW64_64KEY, 0));
}

}  // namespace
