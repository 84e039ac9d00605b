#include "tvsource/graph/GraphPicture.h"

#include "base/Utf8Text.h"
#include "console/Markup.h"
#include "console/Text.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>

namespace tvsource {

namespace {

// In pixels. A cell is the room for one letter; letters of 13 pixels in a font of equal widths take about as much.
constexpr int kCell = 8, kRow = 20, kPad = 12, kMargin = 24, kBend = 60, kBetween = 24;
constexpr int kTitleCells = 100;  // in a line

struct Range {
    char32_t first, last;
};
// Letters and signs of two cells. What stands beyond the first plane may be anything; it gets the room.
constexpr Range kWide[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3}, {0xE000, 0xFAFF},
                           {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}, {0x10000, 0x10FFFF}};

// Of the first letter of a text: how many units of UTF-16 it has and how many cells it takes.
struct Letter {
    std::size_t units;
    int cells;
};
Letter FirstLetter(std::wstring_view text) {
    char32_t code = text[0];
    const bool isPair = text.size() > 1 && base::IsHighSurrogate(text[0]) && base::IsLowSurrogate(text[1]);
    if (isPair)
        code = 0x10000 + ((code & 0x3FF) << 10) + (static_cast<char32_t>(text[1]) & 0x3FF);
    const bool isWide =
        std::any_of(std::begin(kWide), std::end(kWide), [&](auto& r) { return code >= r.first && code <= r.last; });
    return {isPair ? 2u : 1u, isWide ? 2 : 1};
}

int CellsOf(std::wstring_view text) {
    int cells = 0;
    for (Letter letter{}; !text.empty(); text.remove_prefix(letter.units)) {
        letter = FirstLetter(text);
        cells += letter.cells;
    }
    return cells;
}

int WidthOf(std::wstring_view text) {
    return CellsOf(text) * kCell;
}

std::vector<std::wstring> LinesOf(std::wstring_view text) {
    std::vector<std::wstring> lines(1);
    int cells = 0;
    for (Letter letter{}; !text.empty(); text.remove_prefix(letter.units)) {
        letter = FirstLetter(text);
        cells += letter.cells;
        if (cells > kTitleCells) {
            cells = letter.cells;
            lines.emplace_back();
        }
        lines.back() += text.substr(0, letter.units);
    }
    return lines;
}

struct Box {
    std::size_t column = 0;
    int x = 0, y = 0, width = 0, height = 0;
};

// Where everything stands.
class CLayout final {
public:
    CLayout(const GraphModel& graph, int top) : m_graph(graph), m_boxes(graph.filters.size()) {
        FindColumns();
        FindSizes();
        int x = kMargin;
        for (std::size_t column = 0; column < m_boxes.size(); ++column)
            x = PlaceColumn(column, x, top);
        FindLanes();
        m_width += kMargin;
        m_height = std::max(m_height, top) + kMargin;
    }

    [[nodiscard]] const Box& BoxOf(std::size_t filter) const { return m_boxes[filter]; }
    // Where a link goes along below the boxes of the columns that it leaves out. Empty: it goes to the next column, or
    // back.
    [[nodiscard]] std::optional<int> LaneOf(std::size_t link) const { return m_lanes[link]; }
    // Where the boxes begin of the column behind the filter's.
    [[nodiscard]] int NextColumn(std::size_t filter) const {
        const auto next = std::find_if(m_boxes.begin(), m_boxes.end(),
                                       [&](const Box& box) { return box.column == m_boxes[filter].column + 1; });
        return next->x;
    }
    [[nodiscard]] int Width() const noexcept { return m_width; }
    [[nodiscard]] int Height() const noexcept { return m_height; }
    // The middle of a pin's line.
    [[nodiscard]] int PinY(std::size_t filter, std::size_t pin) const {
        return m_boxes[filter].y + kRow * (static_cast<int>(pin) + 2) - kRow / 4;
    }

private:
    // The longest way from a source decides. A circle, which no graph that plays has, ends after as many rounds as
    // there are filters.
    void FindColumns() {
        for (std::size_t round = 0; round < m_boxes.size(); ++round) {
            for (const GraphLink& link : m_graph.links) {
                const std::size_t behind = m_boxes[link.from].column + 1;
                if (behind < m_boxes.size())
                    m_boxes[link.to].column = std::max(m_boxes[link.to].column, behind);
            }
        }
    }

    void FindSizes() {
        for (std::size_t i = 0; i < m_boxes.size(); ++i) {
            const GraphFilter& filter = m_graph.filters[i];
            const int inputs = Widest(filter.inputs), outputs = Widest(filter.outputs);
            m_boxes[i].width = std::max(WidthOf(filter.name), inputs + outputs + kPad) + 2 * kPad;
            const std::size_t rows = std::max(filter.inputs.size(), filter.outputs.size());
            m_boxes[i].height = kRow * static_cast<int>(rows + 1) + kPad;
        }
    }
    static int Widest(const std::vector<std::wstring>& texts) {
        return std::accumulate(texts.begin(), texts.end(), 0,
                               [](int most, auto& text) { return std::max(most, WidthOf(text)); });
    }

    // Where the next column begins. Boxes stand as high as what they get their data from, if there is room.
    int PlaceColumn(std::size_t column, int x, int top) {
        std::vector<std::pair<int, std::size_t>> filters;  // the height that it would have, and which
        for (std::size_t i = 0; i < m_boxes.size(); ++i) {
            if (m_boxes[i].column == column)
                filters.emplace_back(WishedY(i, top), i);
        }
        std::sort(filters.begin(), filters.end());
        int y = top, width = 0, label = 0;
        for (const auto& [wished, i] : filters) {
            Box& box = m_boxes[i];
            box.x = x;
            box.y = std::max(y, wished);
            y = box.y + box.height + kBetween;
            width = std::max(width, box.width);
            for (const GraphLink& link : m_graph.links)
                label = std::max(label, link.from == i ? WidthOf(link.type) + kBend + kPad : 0);
            m_height = std::max(m_height, box.y + box.height);
        }
        for (const auto& [wished, i] : filters)
            m_boxes[i].width = width;  // lines begin at one side, so that labels cover no box
        m_width = std::max(m_width, x + width + label);
        return x + width + label;
    }
    [[nodiscard]] int WishedY(std::size_t filter, int top) const {
        int y = top;
        for (const GraphLink& link : m_graph.links) {
            if (link.to == filter && m_boxes[link.from].column < m_boxes[filter].column)
                y = std::max(y, PinY(link.from, link.output) - kRow * (static_cast<int>(link.input) + 2) + kRow / 4);
        }
        return y;
    }

    void FindLanes() {
        int lanes = 0;
        for (const GraphLink& link : m_graph.links) {
            const std::size_t from = m_boxes[link.from].column, to = m_boxes[link.to].column;
            int bottom = 0;
            for (const Box& box : m_boxes)
                bottom = std::max(bottom, box.column > from && box.column < to ? box.y + box.height : 0);
            m_lanes.push_back(bottom > 0 ? std::optional(bottom + kPad * ++lanes) : std::nullopt);
            m_height = std::max(m_height, m_lanes.back().value_or(0));
        }
    }

    const GraphModel& m_graph;
    std::vector<Box> m_boxes;
    std::vector<std::optional<int>> m_lanes;  // by link
    int m_width = 0, m_height = 0;
};

std::string Number(const char* name, int value) {
    return std::string(" ") + name + "=\"" + std::to_string(value) + '"';
}

// `y`: the middle of its line.
std::string Text(int x, int y, const std::wstring& text, const char* more = "") {
    if (text.empty())
        return {};
    return "<text" + Number("x", x) + Number("y", y + kRow / 4) + Number("textLength", WidthOf(text)) + more +
           " lengthAdjust=\"spacingAndGlyphs\">" + console::MarkupText(text) + "</text>\n";
}

std::string Dot(int x, int y) {
    return "<circle" + Number("cx", x) + Number("cy", y) + " r=\"4\" fill=\"currentColor\"/>\n";
}

std::string SvgOfFilter(const CLayout& layout, const GraphFilter& filter, std::size_t index) {
    const Box& box = layout.BoxOf(index);
    std::string svg = "<g class=\"filter\"><rect" + Number("x", box.x) + Number("y", box.y) +
                      Number("width", box.width) + Number("height", box.height) +
                      " rx=\"6\" fill=\"currentColor\" fill-opacity=\"0.08\" stroke=\"currentColor\"/>\n";
    svg += Text(box.x + kPad, box.y + kRow / 2 + kPad / 4, filter.name, " font-weight=\"bold\"");
    for (std::size_t pin = 0; pin < filter.inputs.size(); ++pin)
        svg += Dot(box.x, layout.PinY(index, pin)) + Text(box.x + kPad, layout.PinY(index, pin), filter.inputs[pin]);
    for (std::size_t pin = 0; pin < filter.outputs.size(); ++pin) {
        const int right = box.x + box.width, width = WidthOf(filter.outputs[pin]);
        svg += Dot(right, layout.PinY(index, pin)) +
               Text(right - kPad - width, layout.PinY(index, pin), filter.outputs[pin]);
    }
    return svg + "</g>\n";
}

// Straight below its label, then bent to where it goes.
std::string SvgOfLink(const CLayout& layout, const GraphLink& link, std::optional<int> lane) {
    const Box &from = layout.BoxOf(link.from), &to = layout.BoxOf(link.to);
    const int x = from.x + from.width, y = layout.PinY(link.from, link.output), toY = layout.PinY(link.to, link.input);
    const int side = kBend * 2 / 3;
    std::string path;
    const auto add = [&](const char* letter, int left, int top) {
        path.append(letter).append(std::to_string(left)).append(1, ' ').append(std::to_string(top)).append(1, ' ');
    };
    const auto curve = [&](int left, int top, int right, int bottom) {
        add("L", left, top);
        add("C", left + side, top);
        add("", right - side, bottom);
        add("", right, bottom);
    };
    add("M", x, y);
    if (lane) {
        const int next = layout.NextColumn(link.from);
        curve(next - kBend, y, next, *lane);
        curve(to.x - kBend, *lane, to.x, toY);
    } else {
        curve(x + WidthOf(link.type) + kPad, y, to.x, toY);
    }
    return "<g class=\"link\"><path fill=\"none\" stroke=\"currentColor\" d=\"" + path + "\"/>\n" +
           Text(x + kPad, y - kRow / 2, link.type) + "</g>\n";
}

// In a label of Graphviz's, between quotation marks.
std::string DotText(const std::wstring& text) {
    std::wstring escaped;
    for (const wchar_t c : console::Printable(text)) {
        if (c == L'&')
            escaped += L"&amp;";
        else
            escaped +=
                (std::wstring_view(L"\\\"{}|<>").find(c) != std::wstring_view::npos ? L"\\" : L"") + std::wstring(1, c);
    }
    return base::Utf8OfWide(escaped);
}

std::string DotPins(const std::vector<std::wstring>& pins, char kind) {
    std::string text;
    for (std::size_t i = 0; i < pins.size(); ++i) {
        text.append(i > 0 ? "|<" : "<").append(1, kind).append(std::to_string(i));
        text.append("> ").append(DotText(pins[i]));
    }
    return text;
}

GraphModel Harmless(GraphModel graph) {
    for (GraphFilter& filter : graph.filters) {
        filter.name = console::Printable(filter.name);
        for (auto* pins : {&filter.inputs, &filter.outputs})
            std::transform(pins->begin(), pins->end(), pins->begin(),
                           [](auto& name) { return console::Printable(name); });
    }
    for (GraphLink& link : graph.links)
        link.type = console::Printable(link.type);
    return graph;
}

}  // namespace

std::string DotOfGraph(const GraphModel& graph, const std::wstring& title) {
    std::string dot = "digraph graph_that_plays {\n  rankdir=LR;\n  label=\"" + DotText(title) +
                      "\";\n  node [shape=record, fontname=\"monospace\"];\n  edge [fontname=\"monospace\"];\n";
    for (std::size_t i = 0; i < graph.filters.size(); ++i) {
        const GraphFilter& filter = graph.filters[i];
        dot += "  f" + std::to_string(i) + " [label=\"" + DotText(filter.name) + "|{{" + DotPins(filter.inputs, 'i') +
               "}|{" + DotPins(filter.outputs, 'o') + "}}\"];\n";
    }
    for (const GraphLink& link : graph.links)
        dot += "  f" + std::to_string(link.from) + ":o" + std::to_string(link.output) + ":e -> f" +
               std::to_string(link.to) + ":i" + std::to_string(link.input) + ":w [label=\"" + DotText(link.type) +
               "\"];\n";
    return dot + "}\n";
}

std::string SvgOfGraph(const GraphModel& given, const std::wstring& title, SvgPlace place) {
    const GraphModel graph = Harmless(given);
    const std::vector<std::wstring> lines = LinesOf(console::Printable(title));
    const CLayout layout(graph, kMargin + kRow * static_cast<int>(lines.size()) + kPad);
    int width = layout.Width();
    for (const std::wstring& line : lines)
        width = std::max(width, WidthOf(line) + 2 * kMargin);
    const std::string size = std::to_string(width) + ' ' + std::to_string(layout.Height());
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"graph\" viewBox=\"0 0 " + size + '"' +
                      Number("width", width) + Number("height", layout.Height()) +
                      " role=\"img\" font-family=\"Consolas, 'DejaVu Sans Mono', monospace\" font-size=\"13\""
                      " fill=\"currentColor\">\n<title>" +
                      console::MarkupText(console::Printable(title)) + "</title>\n";
    if (place == SvgPlace::File)
        svg = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + svg +
              "<style>svg { color: #222; background: #fff } "
              "@media (prefers-color-scheme: dark) { svg { color: #ddd; background: #222 } }</style>\n";
    for (std::size_t i = 0; i < lines.size(); ++i)
        svg += Text(kMargin, kMargin + kRow * static_cast<int>(i), lines[i]);
    for (std::size_t i = 0; i < graph.links.size(); ++i)
        svg += SvgOfLink(layout, graph.links[i], layout.LaneOf(i));
    for (std::size_t i = 0; i < graph.filters.size(); ++i)
        svg += SvgOfFilter(layout, graph.filters[i], i);
    return svg + "</svg>\n";
}

}  // namespace tvsource
