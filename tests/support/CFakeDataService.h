// A data service that hands out streams, and misbehaves as a test says.
//
//   CFakeDataService service;
//   service.createStream = [&](const std::wstring& uri, IStream** stream) { return source.CopyTo(stream); };
//   const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
//
// Each function below replaces one call; it may fail, throw, or succeed and give nothing. Where there is none, the call
// does what a healthy service does (createStream: E_NOTIMPL).
//
// Threads: called on any thread; set the functions before that.  Lifetime: the objects that it hands out refer to it,
// so it outlives them; LiveObjects tells whether any is left.
#pragma once

#include <windows.h>

#include <objidl.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "TKDataServices.h"

class CFakeDataService final {
public:
    std::function<HRESULT(const std::wstring& uri, IStream** stream)> createStream;
    std::function<HRESULT(VARIANT* accessor)> openUriAs;
    bool isReadable = true;  // whether the accessor answers the interface for reading, and for writing
    bool isWritable = true;

    struct Call {
        std::wstring method;  // its name in the interface
        std::wstring uri;
        std::wstring accessorId;  // of OpenUriAs
        unsigned long access = 0;
        unsigned long share = 0;

        bool operator==(const Call&) const = default;
    };

    CFakeDataService() = default;
    CFakeDataService(const CFakeDataService&) = delete;
    CFakeDataService& operator=(const CFakeDataService&) = delete;

    [[nodiscard]] Microsoft::WRL::ComPtr<ITKDSUriAccessFactory> Factory();
    // For CRegisteredComClass under CLSID_TKDSUriAccessFactory: each instance is a factory of this service.
    [[nodiscard]] std::function<HRESULT(REFIID, void**)> Creator();
    // A healthy accessor, for openUriAs to hand out in its own way.
    [[nodiscard]] Microsoft::WRL::ComPtr<IUnknown> Accessor(const std::wstring& uri);

    [[nodiscard]] std::vector<Call> Calls() const;
    [[nodiscard]] long LiveObjects() const { return m_liveObjects; }

private:
    template <class... Interfaces>
    class CCounted;
    class CFactory;
    class CAccessor;

    void Record(Call call);

    mutable std::mutex m_mutex;  // guards m_calls
    std::vector<Call> m_calls;
    std::atomic<long> m_liveObjects{0};
};
