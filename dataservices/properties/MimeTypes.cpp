#include "dataservices/properties/MimeTypes.h"

#include "base/ModuleFolder.h"
#include "mime/CMimeLibrary.h"

#include <oleauto.h>
#include <wrl/client.h>

namespace dataservices {

namespace {

// Keeps the thread's error info while a stream is read. Detection goes on without what it can't read, so the error info
// of a failing read is left to the caller only where all of it fails.
class CErrorInfoOfOthers final {
public:
    CErrorInfoOfOthers() noexcept { ::GetErrorInfo(0, &m_info); }
    CErrorInfoOfOthers(const CErrorInfoOfOthers&) = delete;
    CErrorInfoOfOthers& operator=(const CErrorInfoOfOthers&) = delete;

    [[nodiscard]] HRESULT PutBackUnlessFailed(HRESULT hr) const noexcept {
        if (SUCCEEDED(hr))
            ::SetErrorInfo(0, m_info.Get());
        return hr;
    }

private:
    Microsoft::WRL::ComPtr<IErrorInfo> m_info;
};

}  // namespace

HRESULT DetectMimeType(IStream* stream, std::wstring* mimeType) {
    mimeType->clear();
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    if (!dictionary)
        return S_FALSE;
    const CErrorInfoOfOthers errorInfo;
    HRESULT result = S_OK;
    const std::vector<std::wstring> types = library.Detect(*dictionary, stream, result);
    if (types.empty())
        return errorInfo.PutBackUnlessFailed(FAILED(result) ? result : S_FALSE);
    *mimeType = types.front();
    return errorInfo.PutBackUnlessFailed(S_OK);
}

std::vector<std::wstring> KnownMimeTypes() {
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    return dictionary ? mime::TakeTexts(dictionary->KnownTypes()) : std::vector<std::wstring>{};
}

}  // namespace dataservices
