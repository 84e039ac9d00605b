#include "Helper/FileAccess.h"

#include "Helper/DataServiceCalls.h"
#include "Helper/FileAccessLog.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "framework/streams/CMemoryStream.h"
#include "framework/values/CopyVariantToComPointer.h"

#include <algorithm>
#include <array>
#include <limits>

using Microsoft::WRL::ComPtr;

namespace FileAccess {

namespace {

constexpr wchar_t kCreateSmall[] = L"FileAccess::CreateSmallFileStream";
constexpr wchar_t kReadAll[] = L"FileAccess::TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant";
constexpr wchar_t kGetMetaData[] = L"FileAccess::GetObjectMetaDataFromUri";

// Copies up to `size` bytes from where `source` stands to where `target` stands.
HRESULT CopyBytes(IStream& source, IStream& target, LONGLONG size) {
    HRESULT hr = S_OK;
    std::array<BYTE, 0x8000> block;
    // An empty stream is read once, too: it may fail.
    do {
        const ULONG wanted = static_cast<ULONG>(std::min<LONGLONG>(block.size(), size));
        ULONG got = 0;
        TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, source.Read(block.data(), wanted, &got),
                         L"pStream->Read(tempbuf,(ULONG)min(32*1024,llSize),&ulRead)");
        got = std::min(got, wanted);  // the source may claim more than it was asked for
        if (got == 0)
            break;
        ULONG written = 0;
        TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, target.Write(block.data(), got, &written),
                         L"pTempStream->Write(tempbuf,ulRead,&ulWritten)");
        size -= got;
    } while (size > 0);
    return S_OK;
}

HRESULT CopySmallStream(IStream& source, ULONGLONG maximumSize, IStream** ppStream) {
    HRESULT hr = S_OK;
    STATSTG stat{};
    TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, source.Stat(&stat, STATFLAG_NONAME),
                     L"pStream->Stat(&statstg,STATFLAG_NONAME)");
    // A size with the top bit set is no size, whatever the maximum.
    if (stat.cbSize.QuadPart > std::min<ULONGLONG>(maximumSize, std::numeric_limits<LONGLONG>::max()))
        return E_FAIL;
    const LONGLONG size = static_cast<LONGLONG>(stat.cbSize.QuadPart);

    ComPtr<IStream> copy;
    TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, ::TKFCreateMemoryStream(nullptr, size, copy.GetAddressOf()),
                     L"::TKFCreateMemoryStream(NULL, llSize, &pTempStream)");
    // The copy's size grows with what is written.
    TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, copy->SetSize(ULARGE_INTEGER{}), L"pTempStream->SetSize(uliInitialSize)");
    hr = CopyBytes(source, *copy.Get(), size);
    if (FAILED(hr))
        return hr;
    ULARGE_INTEGER position{};
    TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, copy->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, &position),
                     L"pTempStream->Seek(liZero,STREAM_SEEK_SET,&uliDummy)");
    TK_CHECK_CALL_AS(kLog, kCreateSmall, hr, HandOut(copy, ppStream), L"pTempStream.CopyTo(ppStream)");
    return hr;
}

HRESULT FetchMetaData(const wchar_t* wszUri, DWORD dwFlags, ITKDSMetaData** ppMetaData) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSUriAccessFactory> factory;
    TK_CHECK_CALL_AS(kLog, kGetMetaData, hr, base::CreateObject(CLSID_TKDSUriAccessFactory, factory),
                     L"pUriAccessFactory.CoCreateInstance(__uuidof(TKDSUriAccessFactory))");
    framework::CVariant variant;
    TK_CHECK_CALL_AS(
        kLog, kGetMetaData, hr, OpenUriAs(*factory.Get(), wszUri, TKDS_ACCESSOR_GETOBJECTMETADATA, variant.Put()),
        L"pUriAccessFactory->OpenUriAs(CComBSTR(wszUri),CComBSTR(TKDS_ACCESSOR_GETOBJECTMETADATA),&Variant)");
    ComPtr<ITKDSGetObjectMetaData> accessor;
    TK_CHECK_CALL_AS(kLog, kGetMetaData, hr, CopyVariantToComPointer(variant, accessor.GetAddressOf()),
                     L"CopyVariantToComPointer(Variant,&pGetObjectMetaData)");
    ComPtr<ITKDSMetaData> pMetaData;
    TK_CHECK_CALL_AS(
        kLog, kGetMetaData, hr,
        base::ReceiveAny(pMetaData, accessor.Get(), &ITKDSGetObjectMetaData::GetAllObjectMetaData, dwFlags),
        L"pGetObjectMetaData->GetObjectMetaData(dwFlags,&pMetaData)");
    TK_CHECK_POINTER(kLog, kGetMetaData, hr, pMetaData);
    TK_CHECK_CALL_AS(kLog, kGetMetaData, hr, HandOut(pMetaData, ppMetaData), L"pMetaData.CopyTo(ppMetaData)");
    return hr;
}

}  // namespace

HRESULT CreateSmallFileStream(IStream* pStream, IStream** ppStream, ULONGLONG maximumSize) noexcept {
    TK_PROFILE(kTiming, kCreateSmall, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kCreateSmall, hr);
    if (ppStream)
        *ppStream = nullptr;
    TK_CHECK_POINTER(kLog, kCreateSmall, hr, pStream);
    TK_CHECK_RETVAL(kLog, kCreateSmall, hr, ppStream);
    hr = base::ComBoundary([&] { return CopySmallStream(*pStream, maximumSize, ppStream); });
    return hr;
}

HRESULT TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(IStream* pStream, void* pBuffer, ULONG cb,
                                                          ULONG* pulRead) noexcept {
    TK_PROFILE(kTiming, kReadAll, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kReadAll, hr);
    if (pulRead)
        *pulRead = 0;
    TK_CHECK_POINTER(kLog, kReadAll, hr, pStream);
    TK_CHECK_POINTER(kLog, kReadAll, hr, pBuffer);
    TK_CHECK_RETVAL(kLog, kReadAll, hr, pulRead);

    ULONG got = 0;
    do {
        TK_PROFILE(kTiming, kReadAll, L"Actual Reading");
        const ULONG left = cb - *pulRead;
        got = 0;
        hr = base::ComBoundary([&] { return pStream->Read(static_cast<BYTE*>(pBuffer) + *pulRead, left, &got); });
        if (FAILED(hr)) {
            TKRuntimeLogger::LogFailedCall(kLog, __LINE__, kReadAll, hr,
                                           L"pStream->Read(pcBuffer,ulBytesLeft,&ulRead)");
            if (*pulRead > 0)
                hr = S_FALSE;
            break;
        }
        got = std::min(got, left);  // a count above what was asked for would lead past the buffer
        *pulRead += got;
    } while (got > 0 && *pulRead < cb);
    return hr;
}

HRESULT GetObjectMetaDataFromUri(const wchar_t* wszUri, DWORD dwFlags, ITKDSMetaData** ppMetaData) noexcept {
    TK_PROFILE(kTiming, kGetMetaData, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kGetMetaData, hr);
    if (ppMetaData)
        *ppMetaData = nullptr;
    hr = base::ComBoundary([&] { return FetchMetaData(wszUri, dwFlags, ppMetaData); });
    return hr;
}

}  // namespace FileAccess
