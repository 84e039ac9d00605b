#include "baseclasses/CBaseObject.h"

#include <atomic>

namespace {
constinit std::atomic<LONG> g_objectsActive{0};
}

CBaseObject::CBaseObject(const wchar_t*) noexcept {
    ++g_objectsActive;
}

CBaseObject::~CBaseObject() {
    --g_objectsActive;
}

LONG CBaseObject::ObjectsActive() noexcept {
    return g_objectsActive;
}
