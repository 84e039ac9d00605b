#include "dataservices/http/HttpResults.h"

namespace dataservices::http {

HRESULT ResultOfNetworkError(DWORD error) noexcept {
    switch (error) {
        case ERROR_WINHTTP_NAME_NOT_RESOLVED:
        case ERROR_WINHTTP_CANNOT_CONNECT:
        case ERROR_WINHTTP_TIMEOUT:
        case ERROR_WINHTTP_SECURE_FAILURE:
            return HRESULT_FROM_WIN32(error);
        case WSAETIMEDOUT:  // of the socket, as it reaches us in a chunked answer
            return kHttpTimeout;
        case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
        case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
        case ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED:
        case ERROR_WINHTTP_SECURE_INVALID_CA:
        case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
        case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
        case ERROR_WINHTTP_SECURE_INVALID_CERT:
        case ERROR_WINHTTP_SECURE_CERT_REVOKED:
        case ERROR_WINHTTP_SECURE_CERT_WRONG_USAGE:
            return HRESULT_FROM_WIN32(ERROR_WINHTTP_SECURE_FAILURE);
        case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:
        case ERROR_WINHTTP_HEADER_COUNT_EXCEEDED:
        case ERROR_WINHTTP_HEADER_SIZE_OVERFLOW:
        case ERROR_WINHTTP_CHUNKED_ENCODING_HEADER_SIZE_OVERFLOW:
            return kHttpInvalidResponse;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            return E_OUTOFMEMORY;
        default:
            return kHttpConnectionError;
    }
}

bool MayPass(HRESULT hr) noexcept {
    switch (hr) {
        case HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED):
        case HRESULT_FROM_WIN32(ERROR_WINHTTP_CANNOT_CONNECT):
        case kHttpTimeout:
        case kHttpConnectionError:
        case kHttpInvalidResponse:
            return true;
        default: {
            const bool isStatus = (static_cast<ULONG>(hr) & 0xFFFF0000) == TKDS_HTTP_STATUS_BASE;
            const DWORD status = static_cast<ULONG>(hr) & 0xFFFF;
            return isStatus && (status == HTTP_STATUS_REQUEST_TIMEOUT || status == 429 || status >= 500);
        }
    }
}

}  // namespace dataservices::http
