// Pictures of a graph. Any names may stand in it; they are made harmless here.
//
// Errors: std::bad_alloc.
#pragma once

#include "tvsource/graph/GraphModel.h"

#include <string>

namespace tvsource {

// For Graphviz and what else reads its language.
[[nodiscard]] std::string DotOfGraph(const GraphModel& graph, const std::wstring& title);

// Who shows the picture: a program that opens the file, which gets its colours with it, or an HTML page, whose text
// colour it takes.
enum class SvgPlace { File, Page };

// In columns from the left to the right: a filter stands in the column behind those of all that it gets data from,
// and a line that leaves columns out goes below what is there.
// Nothing outside is referred to, and every text has the length that there is room for, whatever the font.
[[nodiscard]] std::string SvgOfGraph(const GraphModel& graph, const std::wstring& title, SvgPlace place);

}  // namespace tvsource
