// Takes one picture out of a running graph: what is shown at a time of the source.
//
// Units: 100 ns.  Threads: one; the pictures come on a thread of the graph.  Lifetime: beside a graph, and no longer.
#pragma once

#include "tvsource/graph/CPlayGraph.h"
#include "tvsource/graph/Picture.h"

namespace tvsource {

class CFrameTaker;

class CFrameGrabber final {
public:
    // `at`: from 0 on.  Throws CCommandError: no memory.
    CFrameGrabber(CPlayGraph& graph, LONGLONG at);
    CFrameGrabber(const CFrameGrabber&) = delete;
    CFrameGrabber& operator=(const CFrameGrabber&) = delete;
    ~CFrameGrabber();

    // The renderer for CPlayGraph::TryParsers: takes the pictures of the parser's first video stream. Other streams go
    // nowhere.
    [[nodiscard]] HRESULT Render(IPin* pin, const StreamFormat& format);

    // Moves the graph to the time, if it can be moved, and runs it until the picture is there, the source ends, or
    // `interrupt` is signalled.
    [[nodiscard]] CPlayGraph::Result Run(HANDLE interrupt, const CPlayGraph::Progress& progress);

    // The picture that was found. Empty: the source ended before, or the picture is in no form that is known.
    [[nodiscard]] const std::optional<Picture>& Found() const noexcept;

private:
    [[nodiscard]] HRESULT RenderAs(IPin* pin, const GUID& subtype);

    CPlayGraph& m_graph;
    const LONGLONG m_at;
    Microsoft::WRL::ComPtr<CFrameTaker> m_taker;
    Microsoft::WRL::ComPtr<IPin> m_input;  // of the filter that hands the pictures out
};

}  // namespace tvsource
