#include "framework/streams/CControlFace.h"

#include "framework/streams/SourceControlOf.h"

namespace framework {

void CControlFace::Attach(IStream& behind) noexcept {
    m_behind = SourceControlOf(behind);
}

HRESULT CControlFace::Give(void** object) noexcept {
    if (!object)
        return E_POINTER;
    AddRef();
    *object = static_cast<ITKDSSourceControl*>(this);
    return S_OK;
}

}  // namespace framework
