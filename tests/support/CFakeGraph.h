// A filter graph that does nothing but write down the events that its filters raise.
//
//   CFakeGraph graph;
//   filter->JoinFilterGraph(&graph, L"source");
//   ...
//   EXPECT_EQ(graph.TakeEvents(), ...);
//   filter->JoinFilterGraph(nullptr, nullptr);
//
// Threads: any.  Lifetime: the test's, not the reference count's.
#pragma once

#include <windows.h>

#include <strmif.h>

#include <iosfwd>
#include <mutex>
#include <vector>

struct GraphEvent {
    long code = 0;
    LONG_PTR parameter1 = 0;
    LONG_PTR parameter2 = 0;

    bool operator==(const GraphEvent&) const = default;
};
std::ostream& operator<<(std::ostream& out, const GraphEvent& event);

class CFakeGraph final : public IFilterGraph, public IMediaEventSink {
public:
    CFakeGraph() = default;
    CFakeGraph(const CFakeGraph&) = delete;
    CFakeGraph& operator=(const CFakeGraph&) = delete;
    virtual ~CFakeGraph() = default;

    // The events since the last call.
    [[nodiscard]] std::vector<GraphEvent> TakeEvents();

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    // IMediaEventSink
    STDMETHODIMP Notify(long code, LONG_PTR parameter1, LONG_PTR parameter2) override;

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
