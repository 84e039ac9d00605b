// A fixture whose tests must leave no object of the base classes alive.
#pragma once

#include "baseclasses/CBaseObject.h"

#include <gtest/gtest.h>

class LeakCheck : public ::testing::Test {
protected:
    ~LeakCheck() override { EXPECT_EQ(m_before, CBaseObject::ObjectsActive()) << "objects alive after the test"; }

private:
    const LONG m_before = CBaseObject::ObjectsActive();
};

// What a COM object's count is now.
template <class T>
ULONG References(T* object) {
    object->AddRef();
    return object->Release();
}
