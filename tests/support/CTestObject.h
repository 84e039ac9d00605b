// The IUnknown of a test's own COM object: answers its interfaces and counts its references.
//
// Threads: any.  Lifetime: the test's, not the reference count's; References() tells how many references the code under
// test still has. It has no marshaler: used from another apartment, its calls arrive through a proxy.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

template <class First, class... Others>
class CTestObject : public First, public Others... {
public:
    virtual ~CTestObject() = default;

    [[nodiscard]] ULONG References() const { return m_references; }

    // Scripts: the interface that it refuses, and what it answers and writes then.
    IID refused{};
    HRESULT refusal = E_NOINTERFACE;
    void* refusalLeaves = nullptr;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (!object)
            return E_POINTER;
        if (iid == refused)
            return Refuse(object);
        *object = iid == __uuidof(IUnknown) ? static_cast<First*>(this) : nullptr;
        (Answer<First>(iid, object), ..., Answer<Others>(iid, object));
        return *object ? this->AddRef(), S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override { return --m_references; }

protected:
    HRESULT Refuse(void** object) const { return *object = refusalLeaves, refusal; }

private:
    template <class Interface>
    void Answer(REFIID iid, void** object) {
        if (iid == __uuidof(Interface))
            *object = static_cast<Interface*>(this);
    }

    std::atomic<ULONG> m_references{0};
};
