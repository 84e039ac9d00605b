// A COM class that exists in this process only, while the object lives: CoCreateInstance of its CLSID, with any context
// that takes in-process servers, calls the lambda.
//
//   const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, [&](REFIID iid, void** object) {
//       return service.Factory()->QueryInterface(iid, object);
//   });
//   ASSERT_EQ(S_OK, registered.Result());
//
// The platform finds such a class only from the apartment in which it was registered. It is therefore registered in the
// apartment of the calling thread, if it is in a single-threaded one, and always in the multithreaded one, which serves
// the worker threads of the code under test; to that end the object keeps a thread there. Other single-threaded
// apartments don't find the class.
//
// Threads: the lambda is called on any thread; it does not throw, as its caller is the platform. The object is
// destroyed on the thread that made it, and what the lambda refers to must outlive it.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <functional>
#include <future>
#include <thread>

class CRegisteredComClass final {
public:
    using Creator = std::function<HRESULT(REFIID iid, void** object)>;

    CRegisteredComClass(REFCLSID clsid, Creator create);
    CRegisteredComClass(const CRegisteredComClass&) = delete;
    CRegisteredComClass& operator=(const CRegisteredComClass&) = delete;
    ~CRegisteredComClass();

    // The first failure of registering it.
    [[nodiscard]] HRESULT Result() const noexcept { return m_result; }

private:
    // IClassFactory's life is that of its owner: the platform lets go of it when it is revoked.
    class CFactory final : public IClassFactory {
    public:
        explicit CFactory(Creator create) : m_create(std::move(create)) {}

        STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override;
        STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
        STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }
        STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override;
        STDMETHODIMP LockServer(BOOL) noexcept override { return S_OK; }

    private:
        const Creator m_create;
    };

    CFactory m_factory;
    HRESULT m_result = S_OK;
    DWORD m_cookieHere = 0;
    std::promise<void> m_end;
    std::thread m_multithreaded;
};
