#include "tests/support/CRegisteredComClass.h"

#include <utility>

namespace {

[[nodiscard]] bool IsInSingleThreadedApartment() {
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    return SUCCEEDED(::CoGetApartmentType(&type, &qualifier)) && (type == APTTYPE_STA || type == APTTYPE_MAINSTA);
}

}  // namespace

CRegisteredComClass::CRegisteredComClass(REFCLSID clsid, Creator create) : m_factory(std::move(create)) {
    if (IsInSingleThreadedApartment())
        m_result = ::CoRegisterClassObject(clsid, &m_factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookieHere);

    std::promise<HRESULT> registered;
    auto result = registered.get_future();
    m_multithreaded = std::thread([this, clsid, &registered, end = m_end.get_future()] {
        DWORD cookie = 0;
        HRESULT hr = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        const bool isInitialized = SUCCEEDED(hr);
        if (isInitialized)
            hr = ::CoRegisterClassObject(clsid, &m_factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
        registered.set_value(hr);
        end.wait();
        if (SUCCEEDED(hr))
            ::CoRevokeClassObject(cookie);
        if (isInitialized)
            ::CoUninitialize();
    });
    const HRESULT inMultithreaded = result.get();
    if (SUCCEEDED(m_result))
        m_result = inMultithreaded;
}

CRegisteredComClass::~CRegisteredComClass() {
    if (m_cookieHere)
        ::CoRevokeClassObject(m_cookieHere);
    m_end.set_value();
    m_multithreaded.join();
}

HRESULT CRegisteredComClass::CFactory::QueryInterface(REFIID iid, void** object) noexcept {
    if (!object)
        return E_POINTER;
    const bool isAnswered = iid == __uuidof(IUnknown) || iid == __uuidof(IClassFactory);
    *object = isAnswered ? this : nullptr;
    return isAnswered ? S_OK : E_NOINTERFACE;
}

HRESULT CRegisteredComClass::CFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept {
    *object = nullptr;
    return outer ? CLASS_E_NOAGGREGATION : m_create(iid, object);
}
