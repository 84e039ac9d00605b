#include "bench/CFilterSource.h"

#include "TvFileSourceAsync.h"
#include "bench/BenchCheck.h"

namespace bench {

using Microsoft::WRL::ComPtr;

CFilterSource::CFilterSource(IClassFactory& factory) {
    Check(factory.CreateInstance(nullptr, IID_PPV_ARGS(&m_filter)), "CreateInstance");
    ComPtr<IDataFlowControl> flow;
    if (SUCCEEDED(m_filter.As(&flow)))
        Check(flow->EnableDataFlow(), "EnableDataFlow");
}

// The stock filter has its pin only once a file is loaded.
void CFilterSource::Load(const wchar_t* path, const AM_MEDIA_TYPE* type) {
    ComPtr<IFileSourceFilter> source;
    Check(m_filter.As(&source), "QueryInterface for IFileSourceFilter");
    Check(source->Load(path, type), "Load");
    ComPtr<IEnumPins> pins;
    Check(m_filter->EnumPins(&pins), "EnumPins");
    Check(pins->Next(1, m_pin.ReleaseAndGetAddressOf(), nullptr), "IEnumPins::Next");
    Check(m_pin.As(&m_reader), "QueryInterface for IAsyncReader");
}

void CFilterSource::ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) {
    Check(m_reader->SyncRead(position, bytes, buffer), "SyncRead");
}

ComPtr<IStream> CFilterSource::Stream() const {
    ComPtr<IStream> stream;
    Check(m_pin.As(&stream), "QueryInterface for IStream");
    return stream;
}

}  // namespace bench
