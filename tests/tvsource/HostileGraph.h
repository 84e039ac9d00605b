// A graph whose names no picture may stumble over: markup, quotation marks, the languages of both kinds of pictures,
// control characters, half a surrogate pair, wide letters and long ones.
#pragma once

#include "tvsource/graph/GraphModel.h"

inline const std::wstring kHostileName =
    L"<b>&amp; \"it's\" \\{|}\\N </text>]]>-->\x1\x7\n\t\x202E\xD800 \xFFFF\u97F3\u5DE5 \xD83D\xDE00";

inline tvsource::GraphModel HostileGraph() {
    const std::wstring longName(128, L'W');
    return {{{kHostileName, {}, {kHostileName, L"", longName}},
             {longName, {L"in", kHostileName}, {L"out"}},
             {L"", {L"in"}, {}},
             {L"\u05E9\u05DC\u05D5\u05DD \u0645\u0631\u062D\u0628\u0627", {L"\u97F3\u58F0\u5165\u529B"}, {L"circle"}}},
            {{0, 0, 1, 0, kHostileName},
             {0, 1, 3, 0, L"long way"},
             {0, 2, 1, 1, longName},
             {1, 0, 2, 0, L""},
             {3, 0, 3, 0, L"to itself"}}};
}
