// IAMNetworkStatus, from what a source says of itself. There are no packets here and no reception of varying quality: a
// byte comes rightly or not at all. And there is no type library, so the methods can't be called by name.
//
// Threads: any.  Lifetime: the filter's.
#pragma once

#include "TKDataServices.h"

#include <windows.h>

#include <strmif.h>

#include <qnetwork.h>

namespace filter {

class CNetworkStatus : public IAMNetworkStatus {
public:
    // IDispatch
    STDMETHODIMP GetTypeInfoCount(UINT* count) override;
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }

    // IAMNetworkStatus
    // E_UNEXPECTED: there is no source.  E_PENDING: a name is being opened.  E_NOINTERFACE: the source doesn't tell how
    // it stands, as local files don't.
    STDMETHODIMP get_ReceivedPackets(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_RecoveredPackets(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_LostPackets(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_ReceptionQuality(LONG*) override { return E_NOTIMPL; }
    // How many reads waited for longer than 300 ms.
    STDMETHODIMP get_BufferingCount(LONG* count) override;
    // True: of unknown length.
    STDMETHODIMP get_IsBroadcast(VARIANT_BOOL* isBroadcast) override;
    // Of what readers wait for and what is here in front of them, the part that is here, in percent; 100 when nobody
    // waits.
    STDMETHODIMP get_BufferingProgress(LONG* percent) override;

protected:
    // Failures as above, or the source's own.
    [[nodiscard]] virtual HRESULT GetSourceStatus(TKDS_SOURCE_STATUS* status) = 0;

    ~CNetworkStatus() = default;
};

}  // namespace filter
