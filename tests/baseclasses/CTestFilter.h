// A filter with pins that do what a test tells them, and a journal of what the base classes asked of them.
#pragma once

#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CBasePin.h"

#include <memory>
#include <string>
#include <vector>

using Journal = std::vector<std::string>;

// {7E570000-0000-0000-0000-000000000000}
inline constexpr CLSID CLSID_TestFilter{0x7E570000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

// A complete media type; types of different numbers differ in their subtypes only.
CMediaType TestType(unsigned char number);
// The number of a TestType.
unsigned char NumberOf(const AM_MEDIA_TYPE& type);

class CTestPin final : public CBasePin {
public:
    CTestPin(CBaseFilter* filter, CCritSec* lock, const wchar_t* name, PIN_DIRECTION direction, Journal& journal);

    HRESULT CheckConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* receiver) override;
    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT Active() override;
    HRESULT Inactive() override;
    HRESULT Run(REFERENCE_TIME start) override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    using CBasePin::m_dRate;
    using CBasePin::m_pQSink;
    using CBasePin::m_tStart;
    using CBasePin::m_tStop;
    void TryMyTypesFirst() { m_bTryMyTypesFirst = true; }

    // What is offered, in this order; and what is accepted.
    std::vector<unsigned char> offered;
    std::vector<unsigned char> accepted;
    // The answer to a type that is not accepted.
    HRESULT refusal = S_FALSE;
    // Any other code than S_OK is the answer of that method.
    HRESULT checkConnectResult = S_OK;
    HRESULT setMediaTypeResult = S_OK;
    HRESULT completeConnectResult = S_OK;
    HRESULT activeResult = S_OK;
    HRESULT inactiveResult = S_OK;
    HRESULT runResult = S_OK;

    // Calls of CheckConnect less those of BreakConnect.
    int heldConnections = 0;

private:
    HRESULT Note(const char* what, HRESULT result);

    Journal& m_journal;
};

class CTestFilter final : public CBaseFilter {
public:
    explicit CTestFilter(IUnknown* outer = nullptr, HRESULT* phr = nullptr);

    CTestPin& AddPin(const wchar_t* name, PIN_DIRECTION direction);
    void RemovePins() { m_pins.clear(); }

    [[nodiscard]] int GetPinCount() override;
    [[nodiscard]] CBasePin* GetPin(int n) override;
    [[nodiscard]] const AMOVIESETUP_FILTER* GetSetupData() override { return setupData; }

    CTestPin& Pin(int n) { return *m_pins.at(static_cast<size_t>(n)); }

    Journal journal;
    const AMOVIESETUP_FILTER* setupData = nullptr;

private:
    CCritSec m_lock;
    std::vector<std::unique_ptr<CTestPin>> m_pins;
};
