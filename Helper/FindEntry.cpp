#include "Helper/FindEntry.h"

#include "Helper/DataServiceCalls.h"
#include "Helper/FileAccessLog.h"
#include "base/ForeignCalls.h"
#include "base/LongPath.h"
#include "framework/uri/CTKFUri.h"
#include "framework/values/CopyVariantToComPointer.h"

#include <shlwapi.h>

#include <string>

using Microsoft::WRL::ComPtr;

namespace FileAccess {

namespace {

constexpr wchar_t kFunction[] = L"FileAccess::CDirEntryWrapper::CreateFromURI";

// `parent` is null unless the layer knows the directory that the object is in.
HRESULT FindParent(ITKDSUriAccessFactory& factory, const wchar_t* uri, ComPtr<ITKDSGetParentInfoForUri>& parentInfo,
                   ComPtr<ITKDSDirectory>& parent) {
    HRESULT hr = S_OK;
    framework::CVariant variant;
    // Most objects of most layers have no parent: that is not worth a record.
    hr = OpenUriAs(factory, uri, TKDS_ACCESSOR_GETPARENTINFOFORURI, variant.Put());
    if (FAILED(hr))
        return hr;
    TK_CHECK_CALL_AS(kLog, kFunction, hr, CopyVariantToComPointer(variant, parentInfo.GetAddressOf()),
                     L"CopyVariantToComPointer(variant, &pGetParentInfoForUri)");
    TK_CHECK_CALL_AS(kLog, kFunction, hr,
                     base::ReceiveAny(parent, parentInfo.Get(), &ITKDSGetParentInfoForUri::GetParentDirectory),
                     L"pGetParentInfoForUri->GetParentDirectory(&pDirectory)");
    return hr;
}

HRESULT EntryOfParent(ITKDSGetParentInfoForUri& parentInfo, ITKDSDirectory* parent, CDirEntryWrapper** ppObj) {
    HRESULT hr = S_OK;
    base::CBstr entryId;
    TK_CHECK_CALL_AS(kLog, kFunction, hr, base::ReceiveAny(entryId, &parentInfo, &ITKDSGetParentInfoForUri::GetEntryId),
                     L"pGetParentInfoForUri->GetEntryId(&bstrEntryId)");
    TK_CHECK_CALL_AS(kLog, kFunction, hr, CDirEntryWrapper::CreateFromEntry(parent, entryId.Get(), ppObj),
                     L"CreateFromEntry(pDirectory, bstrEntryId, ppObj)");
    return hr;
}

// A file, on this machine or on a server of shares: its directory is named by the path as the platform writes it.
HRESULT EntryOfDirectory(ITKDSUriAccessFactory& factory, const std::wstring& path, CDirEntryWrapper** ppObj) {
    HRESULT hr = S_OK;
    const wchar_t* const fileName = ::PathFindFileNameW(path.c_str());
    const std::wstring directoryPath(path.c_str(), fileName);
    framework::CVariant variant;
    TK_CHECK_CALL_AS(kLog, kFunction, hr,
                     OpenUriAs(factory, directoryPath.c_str(), TKDS_ACCESSOR_DIRECTORY, variant.Put()),
                     L"pUriAccessFactory->OpenUriAs(CComBSTR(wszDir), CComBSTR(TKDS_ACCESSOR_DIRECTORY), &variant)");
    ComPtr<ITKDSDirectory> directory;
    TK_CHECK_CALL_AS(kLog, kFunction, hr, CopyVariantToComPointer(variant, directory.GetAddressOf()),
                     L"CopyVariantToComPointer(variant,&pDirectory)");
    TK_CHECK_CALL_AS(kLog, kFunction, hr, CDirEntryWrapper::CreateFromEntry(directory.Get(), fileName, ppObj),
                     L"CreateFromEntry(pDirectory, wszFileName, ppObj)");
    return hr;
}

// A last name of dots and blanks is no entry of any folder, since the platform takes it away: "C:\a\.." is "C:\".
std::wstring WithoutDots(const std::wstring& path) {
    const size_t nameEnd = path.find_last_not_of(L'\\') + 1;
    const size_t name = path.find_last_not_of(L". ", nameEnd - 1) + 1;
    const bool isDots = name < nameEnd && (name == 0 || path[name - 1] == L'\\' || path[name - 1] == L':');
    return isDots ? base::FullPathOf(path) : path;
}

// With or without the separator behind a share.
bool IsRoot(const std::wstring& path) {
    return ::PathIsRootW(path.c_str()) ||
           (path.ends_with(L'\\') && ::PathIsRootW(path.substr(0, path.size() - 1).c_str()));
}

// False for a root, and for a file URL that leads to no path (it has a port, say, or only its scheme). Their directory
// would be the path "", which is the current folder, and nothing there has their name.
bool IsInDirectory(const std::wstring& path) {
    const bool hasDirectory = ::PathFindFileNameW(path.c_str()) != path.c_str();
    const bool isPlainName = !path.empty() && path.find_first_of(L"\\/:") == path.npos;
    return !IsRoot(path) && (hasDirectory || isPlainName);
}

HRESULT EntryOfVirtualDirectory(const wchar_t* uri, CDirEntryWrapper** ppObj) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSVirtualDirectoryFactory> factory;
    TK_CHECK_CALL_AS(kLog, kFunction, hr, base::CreateObject(CLSID_TKDSVirtualDirectoryFactory, factory),
                     L"pVDFactory.CoCreateInstance(__uuidof(TKDSVirtualDirectoryFactory))");
    ComPtr<ITKDSVirtualDirectory> virtualDirectory;
    TK_CHECK_CALL_AS(
        kLog, kFunction, hr,
        base::Receive(virtualDirectory, factory.Get(), &ITKDSVirtualDirectoryFactory::CreateVirtualDirectory),
        L"pVDFactory->CreateVirtualDirectory(&pVirtualDirectory)");
    const base::CBstr uriText(uri);
    ComPtr<ITKDSVirtualDirectoryItem> item;
    TK_CHECK_CALL_AS(kLog, kFunction, hr,
                     base::Receive(item, factory.Get(),
                                   &ITKDSVirtualDirectoryFactory::CreateVirtualDirectoryItemFromUri, uriText.Get()),
                     L"pVDFactory->CreateVirtualDirectoryItemFromUri(CComBSTR(wszUri), &pVirtualDirectoryItem)");
    TK_CHECK_CALL_AS(
        kLog, kFunction, hr, virtualDirectory->AppendChildWithId(item.Get(), uriText.Get(), uriText.Get()),
        L"pVirtualDirectory->AppendChildWithId(pVirtualDirectoryItem, CComBSTR(wszUri), CComBSTR(wszUri))");
    ComPtr<ITKDSDirectory> directory;
    TK_CHECK_CALL_AS(kLog, kFunction, hr, base::QueryFor(*virtualDirectory.Get(), directory.GetAddressOf()),
                     L"pVirtualDirectory.QueryInterface(&pDirectory)");
    TK_CHECK_CALL_AS(kLog, kFunction, hr, CDirEntryWrapper::CreateFromEntry(directory.Get(), uri, ppObj),
                     L"CreateFromEntry(pDirectory, wszUri, ppObj)");
    return hr;
}

}  // namespace

HRESULT FindEntry(const wchar_t* wszUri, CDirEntryWrapper** ppObj) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSUriAccessFactory> factory;
    TK_CHECK_CALL_AS(kLog, kFunction, hr, base::CreateObject(CLSID_TKDSUriAccessFactory, factory),
                     L"pUriAccessFactory.CoCreateInstance(__uuidof(TKDSUriAccessFactory))");

    ComPtr<ITKDSGetParentInfoForUri> parentInfo;
    ComPtr<ITKDSDirectory> parent;
    if (SUCCEEDED(FindParent(*factory.Get(), wszUri, parentInfo, parent)) && parent)
        return EntryOfParent(*parentInfo.Get(), parent.Get(), ppObj);

    const auto pUri = CTKFUri::Parse(wszUri);
    TK_CHECK_POINTER(kLog, kFunction, hr, pUri);
    const std::wstring path = WithoutDots(pUri->GetFilePath());
    return IsInDirectory(path) ? EntryOfDirectory(*factory.Get(), path, ppObj) : EntryOfVirtualDirectory(wszUri, ppObj);
}

}  // namespace FileAccess
