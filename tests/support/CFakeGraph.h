// A filter graph that does nothing but write down the events that its filters raise.
//
//   CFakeGraph graph;
//   filter->JoinFilterGraph(&graph, L"source");
//   ...
//   EXPECT_EQ(graph.TakeEvents(), ...);
//   filter->JoinFilterGraph(nullptr, nullptr);
//
// Threads: any.  Lifetime: the test's.
#pragma once

#include "tests/support/CTestObject.h"

#include <strmif.h>

#include <mutex>
#include <ostream>
#include <utility>
#include <vector>

struct GraphEvent {
    long code = 0;
    LONG_PTR parameter1 = 0, parameter2 = 0;

    bool operator==(const GraphEvent&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const GraphEvent& event) {
        return out << "event " << event.code << " (" << event.parameter1 << ", " << event.parameter2 << ")";
    }
};

class CFakeGraph final : public CTestObject<IFilterGraph, IMediaEventSink> {
public:
    // The events since the last call.
    [[nodiscard]] std::vector<GraphEvent> TakeEvents() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_events, {});
    }

    // IMediaEventSink
    STDMETHODIMP Notify(long code, LONG_PTR parameter1, LONG_PTR parameter2) override {
        const std::lock_guard lock(m_mutex);
        m_events.push_back({code, parameter1, parameter2});
        return S_OK;
    }

    // IFilterGraph
    STDMETHODIMP AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    STDMETHODIMP EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    STDMETHODIMP FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
    STDMETHODIMP ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP Reconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP Disconnect(IPin*) override { return E_NOTIMPL; }
    STDMETHODIMP SetDefaultSyncSource() override { return E_NOTIMPL; }

private:
    std::mutex m_mutex;
    std::vector<GraphEvent> m_events;  // guarded by m_mutex
};
