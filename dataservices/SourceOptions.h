// What a host may set before it opens sources, see ITKDSSourceOptions.
//
// Units: milliseconds and bytes.  Threads: any for reading.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/http/HttpLimits.h"
#include "dataservices/store/CRangeSource.h"

#include <windows.h>

#include <oaidl.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace dataservices {

struct SourceOptions {
    struct Header {
        std::wstring name, value;
    };

    std::wstring userAgent;  // empty: the layer's own
    std::wstring referer;
    std::wstring cookies;
    std::vector<Header> headers;
    std::wstring proxy;  // empty: as the system says; kNoProxy; or "host:port"
    DWORD connectMs = http::kConnectMs;
    DWORD answerMs = http::kFirstByteMs;
    DWORD silenceMs = http::kNextByteMs;
    DWORD openMs = http::kOpenMs;
    DWORD readMs = http::kReadMs;
    DWORD retries = static_cast<DWORD>(store::CRangeSource::Settings{}.mostTries);
    DWORD storeBytes = static_cast<DWORD>(store::CRangeSource::Settings{}.storeBytes);
    bool storesShares = true;

    // Whether `headers` has one of this name.
    [[nodiscard]] bool HasHeader(std::wstring_view name) const noexcept;
};

inline constexpr wchar_t kNoProxy[] = L"direct";

// What holds for one object, and for all that is reached through it. Never null.
using SharedOptions = std::shared_ptr<const SourceOptions>;

// Results: those of ITKDSSourceOptions. Nothing is changed on failure.
[[nodiscard]] HRESULT SetOption(SourceOptions& options, std::wstring_view name, const VARIANT& value);
// `*value` comes in empty.
[[nodiscard]] HRESULT GetOption(const SourceOptions& options, std::wstring_view name, VARIANT* value);

}  // namespace dataservices
