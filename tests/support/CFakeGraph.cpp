#include "tests/support/CFakeGraph.h"

#include <ostream>
#include <utility>

std::ostream& operator<<(std::ostream& out, const GraphEvent& event) {
    return out << "event " << event.code << " (" << event.parameter1 << ", " << event.parameter2 << ")";
}

std::vector<GraphEvent> CFakeGraph::TakeEvents() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_events, {});
}

STDMETHODIMP CFakeGraph::QueryInterface(REFIID iid, void** object) {
    *object = nullptr;
    if (iid == __uuidof(IUnknown) || iid == __uuidof(IFilterGraph))
        *object = static_cast<IFilterGraph*>(this);
    else if (iid == __uuidof(IMediaEventSink))
        *object = static_cast<IMediaEventSink*>(this);
    return *object ? S_OK : E_NOINTERFACE;
}

STDMETHODIMP CFakeGraph::Notify(long code, LONG_PTR parameter1, LONG_PTR parameter2) {
    const std::lock_guard lock(m_mutex);
    m_events.push_back({code, parameter1, parameter2});
    return S_OK;
}
