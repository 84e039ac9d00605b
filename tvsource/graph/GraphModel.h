// What stands in a filter graph and what is connected with what, as plain data: for pictures and for --json.
//
// Threads: as for plain values; ReadGraph as the graph.
#pragma once

#include "console/Json.h"

#include <windows.h>

#include <objbase.h>
#include <strmif.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tvsource {

struct GraphFilter {
    std::wstring name;
    std::vector<std::wstring> inputs, outputs;  // the names of its pins
};

// The indices stand for a filter and one of its pins.
struct GraphLink {
    std::size_t from = 0, output = 0, to = 0, input = 0;
    std::wstring type;  // of the media, in words; may be empty
};

struct GraphModel {
    std::vector<GraphFilter> filters;  // in the order in which they came into the graph
    std::vector<GraphLink> links;
};

// Names come out as people may see them (Printable). A filter that fails to answer has a name or pins less, and a
// connection of which only one end speaks is left out; nothing fails for that.
[[nodiscard]] GraphModel ReadGraph(IFilterGraph* graph);

// {"filters":[{"name":..,"inputs":[..],"outputs":[..]}],
//  "links":[{"from":{"filter":0,"output":0},"to":{"filter":1,"input":0},"type":..}]}
[[nodiscard]] console::Json JsonOfGraph(const GraphModel& graph);

// Throws Json::exception: it isn't such an object, or an index stands for nothing.
[[nodiscard]] GraphModel GraphOfJson(const console::Json& json);

}  // namespace tvsource
