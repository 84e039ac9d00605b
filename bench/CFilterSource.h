// A file source filter, ours or the stock one, read through its output pin.
#pragma once

#include "bench/CContender.h"

#include <unknwn.h>

#include <strmif.h>
#include <wrl/client.h>

namespace bench {

class CFilterSource final : public CContender {
public:
    // An idle filter. Data flow is enabled where the filter has a gate for it.
    explicit CFilterSource(IClassFactory& factory);

    // `type` may be null.
    void Load(const wchar_t* path, const AM_MEDIA_TYPE* type = nullptr);

    void ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) override;

    // The pin's IStream face.  Throws std::runtime_error: the pin has none.
    [[nodiscard]] Microsoft::WRL::ComPtr<IStream> Stream() const;

    [[nodiscard]] IBaseFilter* Filter() const noexcept { return m_filter.Get(); }
    [[nodiscard]] IPin* Pin() const noexcept { return m_pin.Get(); }  // once a source is loaded

private:
    Microsoft::WRL::ComPtr<IBaseFilter> m_filter;
    Microsoft::WRL::ComPtr<IPin> m_pin;
    Microsoft::WRL::ComPtr<IAsyncReader> m_reader;
};

}  // namespace bench
