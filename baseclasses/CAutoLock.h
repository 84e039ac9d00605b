// Holds a CCritSec from here to the end of the block.
#pragma once

#include "baseclasses/CCritSec.h"

class CAutoLock final {
public:
    // `lock` is not null and outlives this object.
    explicit CAutoLock(CCritSec* lock) noexcept : m_lock(lock) { m_lock->Lock(); }
    ~CAutoLock() { m_lock->Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

private:
    CCritSec* const m_lock;
};
