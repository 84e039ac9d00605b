#include "filter/CLoads.h"

#include "base/ComBoundary.h"
#include "baseclasses/CAutoLock.h"

#include <utility>

namespace filter {

CLoads::CLoad::CLoad(CLoads& loads, bool canBeGivenUp) noexcept : m_loads(loads), m_canBeGivenUp(canBeGivenUp) {
    CAutoLock lock(&m_loads.m_lock);
    m_number = ++m_loads.m_newest;
    m_next = std::exchange(m_loads.m_first, this);
}

CLoads::CLoad::~CLoad() {
    CAutoLock lock(&m_loads.m_lock);
    CLoad** at = &m_loads.m_first;
    while (*at != this)
        at = &(*at)->m_next;
    *at = m_next;
}

HRESULT CLoads::CLoad::BeginReading(Control control) noexcept {
    // A host may give a stream whose reads were given up with an older load.
    if (control)
        static_cast<void>(base::ComBoundary([&] { return control->AllowReads(); }));
    CAutoLock lock(&m_loads.m_lock);
    if (m_isGivenUp)
        return E_ABORT;
    m_canBeGivenUp = control != nullptr;
    m_control.Swap(control);
    return S_OK;
}

void CLoads::GiveUp(const CLoad* newer) noexcept {
    for (;;) {
        Control control;
        {
            CAutoLock lock(&m_lock);
            CLoad* const load = NextToGiveUp(newer);
            if (!load)
                return;
            load->m_isGivenUp = true;
            control = load->m_control;
        }
        if (control)
            static_cast<void>(base::ComBoundary([&] { return control->AbortReads(); }));
    }
}

CLoads::CLoad* CLoads::NextToGiveUp(const CLoad* newer) const noexcept {
    CLoad* load = m_first;
    while (load && ((newer && load->m_number >= newer->m_number) || !load->m_canBeGivenUp || load->m_isGivenUp))
        load = load->m_next;
    return load;
}

bool CLoads::IsWaiting(Control* control) const noexcept {
    CAutoLock lock(&m_lock);
    const CLoad* const load = NextToGiveUp(nullptr);
    if (load)
        *control = load->m_control;
    return load != nullptr;
}

}  // namespace filter
