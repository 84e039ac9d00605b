// A COM class that exists in this process only, while the object lives: CoCreateInstance of its CLSID from the
// multithreaded apartment, with any context that takes in-process servers, calls the lambda.
//
// Threads: the lambda is called on any thread; it does not throw, as its caller is the platform. The object is made and
// destroyed on one thread, which is in the multithreaded apartment. What the lambda refers to must outlive the object.
#pragma once

#include "tests/support/CTestApartment.h"
#include "tests/support/CTestObject.h"

#include <functional>
#include <utility>

class CRegisteredComClass final {
public:
    using Creator = std::function<HRESULT(REFIID iid, void** object)>;

    CRegisteredComClass(REFCLSID clsid, Creator create) {
        m_factory.create = std::move(create);
        EXPECT_EQ(S_OK,
                  ::CoRegisterClassObject(clsid, &m_factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie));
    }
    CRegisteredComClass(const CRegisteredComClass&) = delete;
    CRegisteredComClass& operator=(const CRegisteredComClass&) = delete;
    ~CRegisteredComClass() { ::CoRevokeClassObject(m_cookie); }

private:
    struct CFactory final : CTestObject<IClassFactory> {
        STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
            *object = nullptr;
            return outer ? CLASS_E_NOAGGREGATION : create(iid, object);
        }
        STDMETHODIMP LockServer(BOOL) override { return S_OK; }

        Creator create;
    };

    CFactory m_factory;
    DWORD m_cookie = 0;
};
