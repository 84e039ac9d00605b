#include "logservice/Registration.h"

#include "TKRuntimeLogger.h"
#include "base/CAutoDestructor.h"
#include "base/ModuleFolder.h"

#include <objbase.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <string>
#include <utility>

namespace logservice {

namespace {

constexpr wchar_t kLibrary[] = L"{8C0E7B0A-5B7E-4E1C-9A53-3D8D1F2A6C47}";  // as in the IDL file
constexpr wchar_t kLibraryVersion[] = L"1.0";
constexpr wchar_t kApplication[] = L"{3F5D1B7C-9E0A-4C55-8D0B-6A1C27E4F9B2}";
constexpr wchar_t kProgram[] = L"TKRuntimeLogger.exe";
// PSOAInterface: the platform's marshaller for all that a type library describes.
constexpr wchar_t kTypeLibraryMarshaller[] = L"{00020424-0000-0000-C000-000000000046}";
constexpr const wchar_t* kBitnesses[] = {L"win64", L"win32"};
constexpr DWORD kAnyClient = 1;  // ROTREGFLAGS_ALLOWANYCLIENT

constexpr struct {
    const IID& id;
    const wchar_t* name;
} kInterfaces[] = {
    {__uuidof(ITKRuntimeLogger), L"ITKRuntimeLogger"},
    {__uuidof(ITKRuntimeLoggerQuestion), L"ITKRuntimeLoggerQuestion"},
    {__uuidof(ITKRuntimeLoggerDump), L"ITKRuntimeLoggerDump"},
    {__uuidof(ITKRuntimeLoggerChannel), L"ITKRuntimeLoggerChannel"},
};

std::wstring InterfaceKey(const IID& id) {
    wchar_t text[39]{};  // with braces and the end
    ::StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    return std::wstring(L"Interface\\") + text;
}

const std::wstring kLibraryKey = std::wstring(L"TypeLib\\") + kLibrary;
const std::wstring kApplicationKey = std::wstring(L"AppID\\") + kApplication;
const std::wstring kProgramKey = std::wstring(L"AppID\\") + kProgram;

// One of the two views of SOFTWARE\Classes. On a 32-bit system both are the same.
class CClasses final {
public:
    explicit CClasses(REGSAM view) : m_view(view) {}

    [[nodiscard]] LSTATUS Open(REGSAM access) noexcept {
        return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes", 0, access | m_view, m_classes.Put());
    }

    // `name` null: the key's own value.
    [[nodiscard]] LSTATUS Set(const std::wstring& path, const wchar_t* name, const std::wstring& text) noexcept {
        return Set(path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }
    [[nodiscard]] LSTATUS Set(const std::wstring& path, const wchar_t* name, DWORD number) noexcept {
        return Set(path, name, REG_DWORD, &number, sizeof number);
    }

    // Each key is opened with the view by itself: in a 32-bit program, a call that opens a key below another one would
    // look into the 32-bit view again.

    // Empty: there is none.
    [[nodiscard]] std::wstring Text(const std::wstring& path, const wchar_t* name = nullptr) const {
        std::wstring text(0x8000, L'\0');  // the longest path
        auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        base::CAutoRegistryKey key;
        if (::RegOpenKeyExW(m_classes.Get(), path.c_str(), 0, KEY_READ | m_view, key.Put()) != ERROR_SUCCESS)
            return {};
        const LSTATUS result = ::RegGetValueW(key.Get(), nullptr, name, RRF_RT_REG_SZ, nullptr, text.data(), &bytes);
        text.resize(result == ERROR_SUCCESS ? std::wcslen(text.c_str()) : 0);
        return text;
    }

    [[nodiscard]] LSTATUS Remove(const std::wstring& path) noexcept {
        base::CAutoRegistryKey key;
        LSTATUS result =
            ::RegOpenKeyExW(m_classes.Get(), path.c_str(), 0, KEY_READ | KEY_WRITE | DELETE | m_view, key.Put());
        if (result == ERROR_SUCCESS)
            result = ::RegDeleteTreeW(key.Get(), nullptr);  // what is in it
        if (result == ERROR_SUCCESS)
            result = ::RegDeleteKeyExW(m_classes.Get(), path.c_str(), m_view, 0);
        return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
    }

private:
    LSTATUS Set(const std::wstring& path, const wchar_t* name, DWORD type, const void* data,
                std::size_t bytes) noexcept {
        base::CAutoRegistryKey key;
        const LSTATUS result = ::RegCreateKeyExW(m_classes.Get(), path.c_str(), 0, nullptr, 0, KEY_SET_VALUE | m_view,
                                                 nullptr, key.Put(), nullptr);
        if (result != ERROR_SUCCESS)
            return result;
        return ::RegSetValueExW(key.Get(), name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes));
    }

    const REGSAM m_view;
    base::CAutoRegistryKey m_classes;
};

constexpr REGSAM kViews[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};

bool IsOurs(const CClasses& classes, const IID& interfaceId) {
    return classes.Text(InterfaceKey(interfaceId) + L"\\TypeLib") == kLibrary;
}

bool IsForeign(const CClasses& classes, const IID& interfaceId) {
    return !IsOurs(classes, interfaceId) && !classes.Text(InterfaceKey(interfaceId) + L"\\ProxyStubClsid32").empty();
}

LSTATUS RegisterInterface(CClasses& classes, const IID& id, const wchar_t* name) {
    const std::wstring key = InterfaceKey(id);
    if (IsForeign(classes, id))
        return ERROR_SUCCESS;
    // The library first: it marks the key as ours, also where a later step fails.
    if (const LSTATUS result = classes.Set(key + L"\\TypeLib", nullptr, kLibrary); result != ERROR_SUCCESS)
        return result;
    if (const LSTATUS result = classes.Set(key + L"\\TypeLib", L"Version", kLibraryVersion); result != ERROR_SUCCESS)
        return result;
    if (const LSTATUS result = classes.Set(key, nullptr, name); result != ERROR_SUCCESS)
        return result;
    return classes.Set(key + L"\\ProxyStubClsid32", nullptr, kTypeLibraryMarshaller);
}

// The numbers behind the file's name are those of the resources.
LSTATUS RegisterLibrary(CClasses& classes, const std::wstring& program) {
    const std::wstring version = kLibraryKey + L"\\" + kLibraryVersion;
    if (const LSTATUS result = classes.Set(version, nullptr, L"Tavel runtime logger"); result != ERROR_SUCCESS)
        return result;
    if (const LSTATUS result = classes.Set(version + L"\\FLAGS", nullptr, L"0"); result != ERROR_SUCCESS)
        return result;
    if (const LSTATUS result = classes.Set(version + L"\\0\\win64", nullptr, program + L"\\1"); result != ERROR_SUCCESS)
        return result;
    return classes.Set(version + L"\\0\\win32", nullptr, program + L"\\2");
}

// The file that the registry names for a bitness; empty: none.
std::wstring LibraryFile(const CClasses& classes, const wchar_t* bitness) {
    std::wstring file = classes.Text(kLibraryKey + L"\\" + kLibraryVersion + L"\\0\\" + bitness);
    file.resize(std::min(file.rfind(L'\\'), file.size()));
    return file;
}

bool IsThere(const std::wstring& file) {
    return ::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Whether the files that the registry names for both bitnesses are there; a program that was moved isn't.
bool IsLibraryThere(const CClasses& classes) {
    return std::all_of(std::begin(kBitnesses), std::end(kBitnesses),
                       [&](const wchar_t* bitness) { return IsThere(LibraryFile(classes, bitness)); });
}

// Also under another spelling, and by a short name or a link.
bool AreSameFile(const std::wstring& left, const std::wstring& right) {
    if (::CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_EQUAL)
        return true;
    BY_HANDLE_FILE_INFORMATION of[2]{};
    for (int i = 0; i < 2; ++i) {
        const base::CAutoHandle file(::CreateFileW((i == 0 ? left : right).c_str(), 0,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                   OPEN_EXISTING, 0, nullptr));
        if (!file || !::GetFileInformationByHandle(file.Get(), &of[i]))
            return false;
    }
    return of[0].dwVolumeSerialNumber == of[1].dwVolumeSerialNumber && of[0].nFileIndexHigh == of[1].nFileIndexHigh &&
           of[0].nFileIndexLow == of[1].nFileIndexLow;
}

// The program that is registered here, where it isn't this one and is there; empty otherwise.
std::wstring OtherProgram(const CClasses& classes, const std::wstring& program) {
    for (const wchar_t* const bitness : kBitnesses) {
        std::wstring file = LibraryFile(classes, bitness);
        if (IsThere(file) && !AreSameFile(file, program))
            return file;
    }
    return {};
}

LSTATUS RegisterApplication(CClasses& classes) {
    // A program of this name may be somebody else's.
    if (const std::wstring other = classes.Text(kProgramKey, L"AppID"); !other.empty() && other != kApplication)
        return ERROR_SUCCESS;
    if (const LSTATUS result = classes.Set(kApplicationKey, nullptr, L"Tavel runtime logger"); result != ERROR_SUCCESS)
        return result;
    if (const LSTATUS result = classes.Set(kApplicationKey, L"ROTFlags", kAnyClient); result != ERROR_SUCCESS)
        return result;
    return classes.Set(kProgramKey, L"AppID", kApplication);
}

LSTATUS RegisterIn(CClasses& classes, const std::wstring& program) {
    for (const auto& [id, name] : kInterfaces) {
        if (const LSTATUS result = RegisterInterface(classes, id, name); result != ERROR_SUCCESS)
            return result;
    }
    if (const LSTATUS result = RegisterLibrary(classes, program); result != ERROR_SUCCESS)
        return result;
    return RegisterApplication(classes);
}

// Goes on after a failure; the first one is the result.
LSTATUS UnregisterIn(CClasses& classes) {
    LSTATUS first = ERROR_SUCCESS;
    const auto remove = [&](const std::wstring& key) {
        const LSTATUS result = classes.Remove(key);
        first = first == ERROR_SUCCESS ? result : first;
    };
    for (const auto& [id, name] : kInterfaces) {
        if (IsOurs(classes, id))
            remove(InterfaceKey(id));
    }
    remove(kLibraryKey);
    remove(kApplicationKey);
    if (classes.Text(kProgramKey, L"AppID") == kApplication)
        remove(kProgramKey);
    return first;
}

}  // namespace

HRESULT Register() {
    const std::wstring program = base::ModulePath(nullptr);
    if (program.empty())
        return HRESULT_FROM_WIN32(::GetLastError());
    const bool wasRegistered = IsRegistered();
    for (const REGSAM view : kViews) {
        CClasses classes(view);
        LSTATUS result = classes.Open(KEY_READ | KEY_WRITE);
        if (result == ERROR_SUCCESS)
            result = RegisterIn(classes, program);
        if (result != ERROR_SUCCESS) {
            if (!wasRegistered)
                static_cast<void>(Unregister());
            return HRESULT_FROM_WIN32(result);
        }
    }
    return S_OK;
}

HRESULT Unregister(std::wstring* other) {
    const std::wstring program = base::ModulePath(nullptr);
    if (program.empty())
        return HRESULT_FROM_WIN32(::GetLastError());
    LSTATUS first = ERROR_SUCCESS;
    for (const REGSAM view : kViews) {
        CClasses classes(view);
        LSTATUS result = classes.Open(KEY_READ | KEY_WRITE | DELETE);
        if (result == ERROR_SUCCESS) {
            if (std::wstring stays = OtherProgram(classes, program); stays.empty())
                result = UnregisterIn(classes);
            else if (other)
                *other = std::move(stays);
        }
        first = first == ERROR_SUCCESS ? result : first;
    }
    return HRESULT_FROM_WIN32(first);
}

bool IsRegistered() {
    for (const REGSAM view : kViews) {
        CClasses classes(view);
        if (classes.Open(KEY_READ) != ERROR_SUCCESS)
            return false;
        for (const auto& [id, name] : kInterfaces) {
            if (!IsForeign(classes, id) && (!IsOurs(classes, id) || !IsLibraryThere(classes)))
                return false;
        }
    }
    return true;
}

}  // namespace logservice
