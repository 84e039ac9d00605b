// A filter graph that does nothing but write down the events that its filters raise.
//
// Threads: any.  Lifetime: the test's.
#pragma once

#include "tests/support/CTestObject.h"

#include <strmif.h>

#include <functional>
#include <mutex>
#include <tuple>
#include <utility>
#include <vector>

using GraphEvent = std::tuple<long, LONG_PTR, LONG_PTR>;  // its code and parameters

class CFakeGraph final : public CTestObject<IFilterGraph, IMediaEventSink> {
public:
    // The events since the last call.
    [[nodiscard]] std::vector<GraphEvent> TakeEvents() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_events, {});
    }

    std::function<void(long code, LONG_PTR parameter1)> onEvent;  // called without a lock; set before the events

    // IMediaEventSink
    STDMETHODIMP Notify(long code, LONG_PTR parameter1, LONG_PTR parameter2) override {
        {
            const std::lock_guard lock(m_mutex);
            m_events.emplace_back(code, parameter1, parameter2);
        }
        if (onEvent)
            onEvent(code, parameter1);
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
