#include "tvsource/graph/GraphModel.h"

#include "base/ForeignCalls.h"
#include "base/Utf8Text.h"
#include "baseclasses/MediaTypeCopies.h"
#include "console/Text.h"
#include "tvsource/graph/ConnectionText.h"
#include "tvsource/graph/Pins.h"

#include <wrl/client.h>

#include <algorithm>
#include <optional>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

template <class Item, class Enumerator>
std::vector<ComPtr<Item>> ItemsOf(Enumerator* enumerator, std::size_t most) {
    std::vector<ComPtr<Item>> items;
    ComPtr<Item> item;
    while (enumerator && items.size() < most && enumerator->Next(1, item.ReleaseAndGetAddressOf(), nullptr) == S_OK &&
           item)
        items.push_back(item);
    return items;
}

bool AreOne(IUnknown* one, IUnknown* other) {
    ComPtr<IUnknown> first, second;
    return one && other && SUCCEEDED(one->QueryInterface(IID_PPV_ARGS(&first))) &&
           SUCCEEDED(other->QueryInterface(IID_PPV_ARGS(&second))) && first.Get() == second.Get();
}

// A pin, and what it says of itself.
struct Pin {
    explicit Pin(ComPtr<IPin> object) : pin(std::move(object)) {
        PIN_INFO info{};
        if (FAILED(pin->QueryPinInfo(&info)))
            return;
        *filter.GetAddressOf() = info.pFilter;
        name = NameOf(pin.Get());
        direction = info.dir;
    }

    ComPtr<IPin> pin;
    ComPtr<IBaseFilter> filter;
    std::wstring name;
    PIN_DIRECTION direction = PINDIR_INPUT;
};

struct Filter {
    ComPtr<IBaseFilter> filter;
    std::vector<Pin> inputs, outputs;
};

// The output pin that `peer` is, or that it stands for: a stand-in answers the filter and the name of another pin.
std::optional<GraphLink> OutputOf(const std::vector<Filter>& filters, const Pin& peer) {
    for (const bool byName : {false, true}) {
        for (std::size_t from = 0; from < filters.size(); ++from) {
            const std::vector<Pin>& outputs = filters[from].outputs;
            const auto found = std::find_if(outputs.begin(), outputs.end(), [&](const Pin& pin) {
                return byName ? pin.name == peer.name && peer.direction == PINDIR_OUTPUT &&
                                    AreOne(filters[from].filter.Get(), peer.filter.Get())
                              : AreOne(pin.pin.Get(), peer.pin.Get());
            });
            if (found != outputs.end())
                return GraphLink{from, static_cast<std::size_t>(found - outputs.begin()), 0, 0, {}};
        }
    }
    return std::nullopt;
}

std::wstring TypeOf(IPin* pin) {
    AM_MEDIA_TYPE type{};
    if (FAILED(pin->ConnectionMediaType(&type)))
        return {};
    std::wstring text = console::Printable(ConnectionText(type));
    FreeMediaType(type);
    return text;
}

std::vector<Filter> FiltersOf(IFilterGraph* graph) {
    ComPtr<IEnumFilters> enumerator;
    static_cast<void>(base::Receive(enumerator, graph, &IFilterGraph::EnumFilters));
    std::vector<Filter> filters;
    for (const ComPtr<IBaseFilter>& filter : ItemsOf<IBaseFilter>(enumerator.Get(), kMostFilters)) {
        filters.push_back({filter, {}, {}});
        ComPtr<IEnumPins> pins;
        static_cast<void>(base::Receive(pins, filter.Get(), &IBaseFilter::EnumPins));
        for (const ComPtr<IPin>& pin : ItemsOf<IPin>(pins.Get(), kMostPins)) {
            Pin known(pin);
            auto& list = known.direction == PINDIR_OUTPUT ? filters.back().outputs : filters.back().inputs;
            list.push_back(std::move(known));
        }
    }
    std::reverse(filters.begin(), filters.end());  // a graph names the newest first
    return filters;
}

std::vector<std::wstring> NamesOf(const std::vector<Pin>& pins) {
    std::vector<std::wstring> names;
    for (const Pin& pin : pins)
        names.push_back(pin.name);
    return names;
}

std::vector<std::wstring> TextsOf(const console::Json& json) {
    std::vector<std::wstring> texts;
    for (const console::Json& text : json)
        texts.push_back(base::WideOfUtf8(text.get<std::string>()));
    return texts;
}

}  // namespace

GraphModel ReadGraph(IFilterGraph* graph) {
    const std::vector<Filter> filters = FiltersOf(graph);
    GraphModel model;
    for (std::size_t to = 0; to < filters.size(); ++to) {
        const Filter& filter = filters[to];
        model.filters.push_back({NameOf(filter.filter.Get()), NamesOf(filter.inputs), NamesOf(filter.outputs)});
        for (std::size_t input = 0; input < filter.inputs.size(); ++input) {
            IPin* const pin = filter.inputs[input].pin.Get();
            ComPtr<IPin> peer;
            if (FAILED(base::Receive(peer, pin, &IPin::ConnectedTo)))
                continue;
            if (std::optional<GraphLink> link = OutputOf(filters, Pin(peer))) {
                link->to = to;
                link->input = input;
                link->type = TypeOf(pin);
                model.links.push_back(*std::move(link));
            }
        }
    }
    return model;
}

console::Json JsonOfGraph(const GraphModel& graph) {
    console::Json filters = console::Json::array(), links = console::Json::array();
    for (const GraphFilter& filter : graph.filters)
        filters.push_back({{"name", console::JsonText(filter.name)},
                           {"inputs", console::JsonTexts(filter.inputs)},
                           {"outputs", console::JsonTexts(filter.outputs)}});
    for (const GraphLink& link : graph.links)
        links.push_back({{"from", {{"filter", link.from}, {"output", link.output}}},
                         {"to", {{"filter", link.to}, {"input", link.input}}},
                         {"type", console::JsonText(link.type)}});
    return {{"filters", filters}, {"links", links}};
}

GraphModel GraphOfJson(const console::Json& json) {
    GraphModel graph;
    for (const console::Json& filter : json.at("filters"))
        graph.filters.push_back({base::WideOfUtf8(filter.at("name").get<std::string>()), TextsOf(filter.at("inputs")),
                                 TextsOf(filter.at("outputs"))});
    for (const console::Json& link : json.at("links")) {
        const console::Json &from = link.at("from"), &to = link.at("to");
        graph.links.push_back({from.at("filter").get<std::size_t>(), from.at("output").get<std::size_t>(),
                               to.at("filter").get<std::size_t>(), to.at("input").get<std::size_t>(),
                               base::WideOfUtf8(link.at("type").get<std::string>())});
        // Of what it made out itself, the library checks the places.
        static_cast<void>(json.at("filters").at(graph.links.back().from).at("outputs").at(graph.links.back().output));
        static_cast<void>(json.at("filters").at(graph.links.back().to).at("inputs").at(graph.links.back().input));
    }
    return graph;
}

}  // namespace tvsource
