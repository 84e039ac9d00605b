#include "tests/support/CTestSample.h"

#include <vfwmsgs.h>

std::string CTestSample::Data() const {
    return {m_buffer.begin(), m_buffer.begin() + actualLength};
}

STDMETHODIMP CTestSample::QueryInterface(REFIID iid, void** object) {
    *object = nullptr;
    if (iid != __uuidof(IUnknown) && iid != __uuidof(IMediaSample))
        return E_NOINTERFACE;
    *object = static_cast<IMediaSample*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP CTestSample::GetPointer(BYTE** buffer) {
    *buffer = m_buffer.data();
    return getPointer;
}

STDMETHODIMP CTestSample::GetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) {
    *from = start;
    *to = stop;
    return getTime;
}

STDMETHODIMP CTestSample::SetActualDataLength(long length) {
    const auto scripted = setLength.find(m_lengthCalls++);
    if (scripted != setLength.end() && FAILED(scripted->second))
        return scripted->second;
    if (length < 0 || static_cast<std::size_t>(length) > m_buffer.size())
        return VFW_E_BUFFER_OVERFLOW;
    actualLength = length;
    return S_OK;
}
