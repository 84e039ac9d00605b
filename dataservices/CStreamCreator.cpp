#include "dataservices/CStreamCreator.h"

#include "dataservices/OpenStream.h"
#include "dataservices/com/ComMethod.h"

namespace dataservices {

namespace {

constexpr unsigned long kReadAndWrite = TKDS_ACCESS_READ | TKDS_ACCESS_WRITE;
constexpr unsigned long kAllShares = TKDS_SHARE_READ | TKDS_SHARE_WRITE;

}  // namespace

HRESULT CStreamCreator::QueryInterface(REFIID iid, void** object) noexcept {
    if (object && iid == __uuidof(ITKDSCreateWritableStream) && !std::holds_alternative<FilePlace>(m_place)) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    return CTwoInterfaceObject::QueryInterface(iid, object);
}

HRESULT CStreamCreator::CreateStreamEx2(TKDS_STREAM_CREATION creation, IStream** stream) noexcept {
    return Open<ITKDSCreateStream>(creation == SC_UseDefault, TKDS_ACCESS_READ, TKDS_SHARE_READ, stream);
}

HRESULT CStreamCreator::CreateStream(unsigned long access, unsigned long share, IStream** stream) noexcept {
    return Open<ITKDSCreateStream>(access == TKDS_ACCESS_READ, access, share, stream);
}

HRESULT CStreamCreator::CreateWritableStreamEx2(TKDS_STREAM_CREATION creation, IStream** stream) noexcept {
    return Open<ITKDSCreateWritableStream>(creation == SC_UseDefault, kReadAndWrite, TKDS_SHARE_READ, stream);
}

HRESULT CStreamCreator::CreateWritableStream(unsigned long access, unsigned long share, IStream** stream) noexcept {
    return Open<ITKDSCreateWritableStream>((access | TKDS_ACCESS_READ) == kReadAndWrite, access, share, stream);
}

template <class Interface>
HRESULT CStreamCreator::Open(bool isValid, unsigned long access, unsigned long share, IStream** stream) noexcept {
    return ComMethod<Interface>(stream, [&]() -> HRESULT {
        return isValid && (share & ~kAllShares) == 0 ? OpenStream(m_place, access, share, m_options, stream)
                                                     : E_INVALIDARG;
    });
}

}  // namespace dataservices
