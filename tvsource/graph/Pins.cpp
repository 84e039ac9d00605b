#include "tvsource/graph/Pins.h"

#include "base/ForeignCalls.h"
#include "console/CCommandError.h"
#include "console/Text.h"

#include <cwchar>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

template <std::size_t Size>
std::wstring TextOf(const wchar_t (&text)[Size]) {
    return console::Printable({text, ::wcsnlen(text, Size)});
}

}  // namespace

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter* filter, PIN_DIRECTION wanted) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> enumerator;
    console::Check(base::Receive(enumerator, filter, &IBaseFilter::EnumPins), L"Cannot ask a filter for its pins");
    ComPtr<IPin> pin;
    for (std::size_t i = 0; i < kMostPins && enumerator->Next(1, &pin, nullptr) == S_OK && pin; ++i) {
        PIN_DIRECTION direction{};
        if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted)
            pins.push_back(pin);
    }
    return pins;
}

ComPtr<IPin> PeerOf(IPin* pin) {
    ComPtr<IPin> peer;
    static_cast<void>(base::Receive(peer, pin, &IPin::ConnectedTo));
    return peer;
}

ComPtr<IBaseFilter> FilterOf(IPin* pin) {
    PIN_INFO info{};
    ComPtr<IBaseFilter> filter;
    if (SUCCEEDED(pin->QueryPinInfo(&info)))
        *filter.GetAddressOf() = info.pFilter;  // not Attach: some compilers' ComPtr takes a reference of its own there
    return filter;
}

std::wstring NameOf(IPin* pin) {
    PIN_INFO info{};
    if (SUCCEEDED(pin->QueryPinInfo(&info)) && info.pFilter)
        info.pFilter->Release();
    return TextOf(info.achName);
}

std::wstring NameOf(IBaseFilter* filter) {
    FILTER_INFO info{};
    if (!filter || FAILED(filter->QueryFilterInfo(&info)))
        return L"unknown";
    if (info.pGraph)
        info.pGraph->Release();
    return TextOf(info.achName);
}

std::vector<std::wstring> RouteFrom(IPin* pin) {
    std::vector<std::wstring> route;
    ComPtr<IPin> next = PeerOf(pin);
    while (next && route.size() < kMostFilters) {
        const ComPtr<IBaseFilter> filter = FilterOf(next.Get());
        route.push_back(NameOf(filter.Get()));
        next.Reset();
        if (filter) {
            const auto outputs = PinsOf(filter.Get(), PINDIR_OUTPUT);
            if (!outputs.empty())
                next = PeerOf(outputs.front().Get());
        }
    }
    return route;
}

}  // namespace tvsource
