#include "baseclasses/CBaseObject.h"

#include <atomic>

namespace {
constinit std::atomic<LONG> objectsActive{0};
}

CBaseObject::CBaseObject(const wchar_t*) noexcept {
    ++objectsActive;
}

CBaseObject::~CBaseObject() {
    --objectsActive;
}

LONG CBaseObject::ObjectsActive() noexcept {
    return objectsActive;
}
