// The face by which a stream answers the source control of the stream that it stands in front of.
//
//   STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
//       return m_control.Answers(iid) ? m_control.Give(object) : CStreamBase::QueryInterface(iid, object);
//   }
//
// All calls go straight to the stream behind: they are made while another thread reads, so they must touch nothing of
// the stream in front.
// Threads: Attach before the stream is handed out; everything else any.
// Lifetime: a member of the stream in front, whose references its references are.
#pragma once

#include "TKDataServices.h"

#include <wrl/client.h>

namespace framework {

class CControlFace final : public ITKDSSourceControl {
public:
    explicit CControlFace(IUnknown& front) noexcept : m_front(front) {}
    CControlFace(const CControlFace&) = delete;
    CControlFace& operator=(const CControlFace&) = delete;

    // To be called once: whether `behind` has the interface is asked here and never again.
    void Attach(IStream& behind) noexcept;

    // Null where the stream behind doesn't have the interface.
    [[nodiscard]] ITKDSSourceControl* Get() const noexcept { return m_behind.Get(); }

    [[nodiscard]] bool Answers(REFIID iid) const noexcept { return m_behind && iid == __uuidof(ITKDSSourceControl); }
    // E_POINTER: `object` is null.
    [[nodiscard]] HRESULT Give(void** object) noexcept;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return m_front.QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return m_front.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return m_front.Release(); }

    // ITKDSSourceControl
    STDMETHODIMP AbortReads() override { return m_behind->AbortReads(); }
    STDMETHODIMP AllowReads() override { return m_behind->AllowReads(); }
    STDMETHODIMP Await(MIDL_uhyper position, MIDL_uhyper bytes, ULONG milliseconds, MIDL_uhyper* available) override {
        return m_behind->Await(position, bytes, milliseconds, available);
    }
    STDMETHODIMP GetStatus(TKDS_SOURCE_STATUS* status) override { return m_behind->GetStatus(status); }
    STDMETHODIMP GetRanges(ULONG capacity, TKDS_RANGE* ranges, ULONG* count) override {
        return m_behind->GetRanges(capacity, ranges, count);
    }
    STDMETHODIMP SetSilenceLimit(ULONG milliseconds) override { return m_behind->SetSilenceLimit(milliseconds); }

private:
    IUnknown& m_front;
    Microsoft::WRL::ComPtr<ITKDSSourceControl> m_behind;
};

}  // namespace framework
