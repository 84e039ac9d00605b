// A filter with pins that do what a test tells them, and a journal of what the base classes asked of them.
#pragma once

#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CBasePin.h"
#include "baseclasses/CEnumerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using Journal = std::vector<std::string>;

inline constexpr CLSID CLSID_TestFilter{0x7E570000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};

// A complete media type; types of different numbers differ in their subtypes only.
inline CMediaType TestType(unsigned char number) {
    CMediaType type(&MEDIATYPE_Stream);
    type.subtype.Data4[7] = number;
    type.SetFormatType(&FORMAT_VideoInfo);
    return type;
}
inline unsigned char NumberOf(const AM_MEDIA_TYPE& type) {
    return type.subtype.Data4[7];
}

// A list of types as some third-party code implements it: Next writes the count without a look at the pointer.
class CUncheckedTypes final : public CEnumerator<IEnumMediaTypes> {
public:
    explicit CUncheckedTypes(IEnumMediaTypes* types) : m_types(types) {}
    STDMETHODIMP Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override {
        EXPECT_NE(nullptr, fetched);
        return m_types->Next(count, types, fetched);
    }
    STDMETHODIMP Skip(ULONG count) override { return m_types->Skip(count); }
    STDMETHODIMP Reset() override { return m_types->Reset(); }
    STDMETHODIMP Clone(IEnumMediaTypes** clone) override { return m_types->Clone(clone); }

private:
    const Microsoft::WRL::ComPtr<IEnumMediaTypes> m_types;
};

class CTestPin final : public CBasePin {
public:
    CTestPin(CBaseFilter* filter, CCritSec* lock, const wchar_t* name, PIN_DIRECTION direction, Journal& journal)
        : CBasePin(L"test pin", filter, lock, nullptr, name, direction), m_journal(journal) {}

    HRESULT CheckConnect(IPin* pin) override {
        ++heldConnections;
        return checkConnectResult == S_OK ? CBasePin::CheckConnect(pin) : checkConnectResult;
    }
    HRESULT BreakConnect() override { return --heldConnections, S_OK; }
    HRESULT CompleteConnect(IPin*) override { return onComplete(), completeConnectResult; }
    HRESULT SetMediaType(const CMediaType* type) override {
        return FAILED(setMediaTypeResult) ? setMediaTypeResult : CBasePin::SetMediaType(type);
    }
    HRESULT CheckMediaType(const CMediaType* type) override {
        const unsigned char number = NumberOf(*type);
        return Note("check " + std::to_string(number), std::ranges::count(accepted, number) != 0 ? S_OK : refusal);
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        onGetMediaType(position);
        const bool isThere = position >= 0 && static_cast<size_t>(position) < offered.size();
        if (!isThere)
            return VFW_S_NO_MORE_ITEMS;
        AM_MEDIA_TYPE made = TestType(offered[static_cast<size_t>(position)]);
        made.pUnk = unknown;
        return type->Set(made);
    }
    HRESULT Active() override { return Note("active", activeResult); }
    HRESULT Inactive() override { return Note("inactive", inactiveResult); }
    HRESULT Run(REFERENCE_TIME start) override { return Note("run " + std::to_string(start), runResult); }
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** types) override {
        if (listResult != S_OK)
            return *types = reinterpret_cast<IEnumMediaTypes*>(16), listResult;
        Microsoft::WRL::ComPtr<IEnumMediaTypes> own;
        const HRESULT hr = CBasePin::EnumMediaTypes(&own);
        *types = new CUncheckedTypes(own.Get());
        return hr;
    }
    STDMETHODIMP BeginFlush() override { return S_OK; }
    STDMETHODIMP EndFlush() override { return S_OK; }

    void TryMyTypesFirst(bool mine) { m_bTryMyTypesFirst = mine; }

    std::vector<unsigned char> offered{1}, accepted{1};
    // The answer to a type that is not accepted.
    HRESULT refusal = S_FALSE;
    // Any other code than S_OK is the answer of that method.
    HRESULT checkConnectResult = S_OK, setMediaTypeResult = S_OK, completeConnectResult = S_OK;
    HRESULT listResult = S_OK;  // a failure leaves rubbish in the place of the list
    HRESULT activeResult = S_OK, inactiveResult = S_OK, runResult = S_OK;
    // Called while a connection is completed.
    std::function<void()> onComplete = [] {};
    // Called while a type of the list is asked for, and what such a type refers to.
    std::function<void(int position)> onGetMediaType = [](int) {};
    IUnknown* unknown = nullptr;
    // Calls of CheckConnect less those of BreakConnect.
    int heldConnections = 0;

private:
    HRESULT Note(const std::string& what, HRESULT result) { return m_journal.push_back(what), result; }

    Journal& m_journal;
};

class CTestFilter final : public CBaseFilter {
public:
    explicit CTestFilter(IUnknown* outer = nullptr) : CBaseFilter(L"test filter", outer, &m_lock, CLSID_TestFilter) {}

    CTestPin& AddPin(const wchar_t* name, PIN_DIRECTION direction) {
        m_pins.push_back(std::make_unique<CTestPin>(this, &m_lock, name, direction, journal));
        return *m_pins.back();
    }
    void RemovePins() { m_pins.clear(); }
    CTestPin& Pin(int n) { return *m_pins.at(static_cast<size_t>(n)); }

    [[nodiscard]] int GetPinCount() override { return static_cast<int>(m_pins.size()); }
    [[nodiscard]] CBasePin* GetPin(int n) override {
        return n >= 0 && n < GetPinCount() && n != lost ? &Pin(n) : nullptr;
    }

    Journal journal;
    int lost = -1;  // the number of a pin that is counted and isn't there

private:
    CCritSec m_lock;
    std::vector<std::unique_ptr<CTestPin>> m_pins;
};

// A fixture whose tests must leave no object of the base classes alive.
class LeakCheck : public ::testing::Test {
protected:
    ~LeakCheck() override { EXPECT_EQ(m_before, CBaseObject::ObjectsActive()) << "objects alive after the test"; }

private:
    const LONG m_before = CBaseObject::ObjectsActive();
};

// The object answers IUnknown and `Interface`, which are one object, and nothing else.
template <class Interface>
void ExpectOnly(Interface* object) {
    void* out = &out;
    EXPECT_EQ(E_POINTER, object->QueryInterface(__uuidof(Interface), nullptr));
    EXPECT_EQ(E_NOINTERFACE, object->QueryInterface(__uuidof(IPersist), &out));
    EXPECT_EQ(nullptr, out);
    for (const IID& iid : {__uuidof(IUnknown), __uuidof(Interface)}) {
        EXPECT_EQ(S_OK, object->QueryInterface(iid, &out));
        EXPECT_EQ(object, out);
        object->Release();
    }
}

// What a COM object's count is now.
template <class T>
ULONG References(T* object) {
    object->AddRef();
    return object->Release();
}
