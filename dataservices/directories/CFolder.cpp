#include "dataservices/directories/CFolder.h"

#include "base/CAutoDestructor.h"
#include "dataservices/Accessors.h"
#include "dataservices/FilePath.h"

namespace dataservices {

namespace {

[[nodiscard]] base::CAutoFind FindFirst(const std::wstring& pattern, WIN32_FIND_DATAW* data) {
    return base::CAutoFind(
        ::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, data, FindExSearchNameMatch, nullptr, 0));
}

[[nodiscard]] HRESULT ListNames(const std::wstring& folder, std::vector<std::wstring>* names) {
    WIN32_FIND_DATAW data{};
    const base::CAutoFind search = FindFirst(JoinPath(folder, L"*"), &data);
    if (!search) {
        const DWORD error = ::GetLastError();  // an empty root has no entries at all, not even "." and ".."
        return error == ERROR_FILE_NOT_FOUND ? S_OK : ResultOfFileError(error);
    }
    do {
        if (IsFileName(data.cFileName))
            names->emplace_back(data.cFileName);
    } while (::FindNextFileW(search.Get(), &data));
    const DWORD error = ::GetLastError();
    return error == ERROR_NO_MORE_FILES ? S_OK : ResultOfFileError(error);
}

}  // namespace

HRESULT CFolder::GetEntryCount(long* count) noexcept {
    return ComMethod<ITKDSDirectory>(count, [&] {
        std::vector<std::wstring> names;
        const HRESULT hr = ListNames(m_path, &names);
        if (SUCCEEDED(hr))
            *count = m_list.Replace(std::move(names));
        return hr;
    });
}

HRESULT CFolder::GetEntryId(long index, BSTR* entryId) noexcept {
    return ComMethod<ITKDSDirectory>(entryId, [&] { return m_list.Give(index, entryId); });
}

HRESULT CFolder::GetEntryName(BSTR entryId, BSTR* name) noexcept {
    return ComMethod<ITKDSDirectory>(name, [&] {
        std::wstring found;
        const HRESULT hr = FindEntry(entryId, &found);
        return FAILED(hr) ? hr : GiveText(found, name);
    });
}

HRESULT CFolder::HasEntry(BSTR entryId) noexcept {
    return ComMethod<ITKDSDirectory>([&] {
        std::wstring found;
        const HRESULT hr = FindEntry(entryId, &found);
        return hr == kNotFound ? S_FALSE : hr;
    });
}

HRESULT CFolder::OpenEntryAs(BSTR entryId, BSTR accessorId, VARIANT* accessor) noexcept {
    return ComMethod<ITKDSDirectory>(accessor, [&]() -> HRESULT {
        std::wstring found;
        if (const HRESULT hr = FindEntry(entryId, &found); FAILED(hr))
            return hr;
        const std::wstring entry = JoinPath(m_path, found);
        Place place;
        if (const HRESULT hr = FindPath({entry, ReadablePath(entry)}, &place); FAILED(hr))
            return hr;
        return OpenPlaceAs(place, TextOf(accessorId), m_options, accessor);
    });
}

// The name as the file system has it.
HRESULT CFolder::FindEntry(BSTR entryId, std::wstring* name) const {
    const std::wstring id = TextOf(entryId);
    if (!IsFileName(id))
        return kNotFound;
    WIN32_FIND_DATAW data{};
    const base::CAutoFind search = FindFirst(JoinPath(m_path, id), &data);
    if (!search)
        return ResultOfFileError(::GetLastError());
    // As a search pattern, a name also finds other entries: one that lacks the dot at its end, or whose short name it
    // is.
    *name = data.cFileName;
    const bool isIt = ::CompareStringOrdinal(id.c_str(), -1, data.cFileName, -1, TRUE) == CSTR_EQUAL;
    return isIt ? S_OK : kNotFound;
}

}  // namespace dataservices
