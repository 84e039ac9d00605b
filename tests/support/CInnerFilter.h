// A filter made from the library, for tests of its pin: sources come to the pin as they are, without the read buffer
// that the filter puts in front of them, and the pin's own operations are in reach. The data flows.
//
// Its graph writes down the events that it raises.  Threads: one that is in an apartment.
#pragma once

#include "filter/CCustomFileSourceFilter.h"
#include "filter/CCustomFileSourcePin.h"
#include "tests/support/CFakeGraph.h"

#include <wrl/client.h>

#include <gtest/gtest.h>

class CInnerFilter final {
public:
    CInnerFilter() {
        EXPECT_EQ(S_OK, m_filter->JoinFilterGraph(&graph, L"source"));
        EXPECT_EQ(S_OK, m_filter->EnableDataFlow());
    }
    ~CInnerFilter() { EXPECT_EQ(S_OK, m_filter->JoinFilterGraph(nullptr, nullptr)); }

    CCustomFileSourceFilter* operator->() const { return m_filter.Get(); }
    [[nodiscard]] CCustomFileSourcePin& Pin() const { return static_cast<CCustomFileSourcePin&>(*m_filter->GetPin(0)); }

    CFakeGraph graph;

private:
    const Microsoft::WRL::ComPtr<CCustomFileSourceFilter> m_filter =
        static_cast<CCustomFileSourceFilter*>(CCustomFileSourceFilter::CreateInstance(nullptr, nullptr));
};
