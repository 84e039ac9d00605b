// A COM class that exists in this process only, while the object lives: CoCreateInstance of its CLSID, with any context
// that takes in-process servers, calls the lambda.
//
//   const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
//   ASSERT_EQ(S_OK, registered.Result());
//
// The platform finds such a class only from the apartment in which it was registered. It is therefore registered in the
// apartment of the calling thread, if that is a single-threaded one, and always in the multithreaded one, which serves
// the worker threads of the code under test and in which the object keeps a thread.
//
// Threads: the lambda is called on any thread; it does not throw, as its caller is the platform. The object is
// destroyed on the thread that made it, and what the lambda refers to must outlive it.
#pragma once

#include "tests/support/CTestApartment.h"
#include "tests/support/CTestObject.h"

#include <functional>
#include <future>
#include <thread>
#include <utility>

class CRegisteredComClass final {
public:
    using Creator = std::function<HRESULT(REFIID iid, void** object)>;

    CRegisteredComClass(REFCLSID clsid, Creator create) : m_factory(std::move(create)) {
        APTTYPE type = APTTYPE_CURRENT;
        APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
        ::CoGetApartmentType(&type, &qualifier);
        if (type == APTTYPE_STA || type == APTTYPE_MAINSTA)
            m_result = Register(clsid, &m_cookie);
        m_multithreaded = std::thread([this, clsid] {
            const CTestApartment apartment(COINIT_MULTITHREADED);
            DWORD cookie = 0;
            m_registered.set_value(Register(clsid, &cookie));
            m_end.get_future().wait();
            Revoke(cookie);
        });
        if (const HRESULT inMultithreaded = m_registered.get_future().get(); SUCCEEDED(m_result))
            m_result = inMultithreaded;
    }
    CRegisteredComClass(const CRegisteredComClass&) = delete;
    CRegisteredComClass& operator=(const CRegisteredComClass&) = delete;
    ~CRegisteredComClass() {
        Revoke(m_cookie);
        m_end.set_value();
        m_multithreaded.join();
    }

    // The first failure of registering it.
    [[nodiscard]] HRESULT Result() const noexcept { return m_result; }

private:
    struct CFactory final : CTestObject<IClassFactory> {
        explicit CFactory(Creator creator) : create(std::move(creator)) {}

        STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
            *object = nullptr;
            return outer ? CLASS_E_NOAGGREGATION : create(iid, object);
        }
        STDMETHODIMP LockServer(BOOL) override { return S_OK; }

        const Creator create;
    };

    HRESULT Register(REFCLSID clsid, DWORD* cookie) {
        return ::CoRegisterClassObject(clsid, &m_factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, cookie);
    }
    static void Revoke(DWORD cookie) {
        if (cookie)
            ::CoRevokeClassObject(cookie);
    }

    CFactory m_factory;
    HRESULT m_result = S_OK;
    DWORD m_cookie = 0;  // of the single-threaded apartment
    std::promise<HRESULT> m_registered;
    std::promise<void> m_end;
    std::thread m_multithreaded;
};
