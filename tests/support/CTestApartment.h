// The COM apartment that a test is about, for as long as this object lives: the test fails if it can't be entered.
#pragma once

#include "base/CApartment.h"

#include <gtest/gtest.h>

class CTestApartment final {
public:
    explicit CTestApartment(DWORD kind) : m_apartment(kind) { EXPECT_HRESULT_SUCCEEDED(m_apartment.Result()); }

private:
    const base::CApartment m_apartment;
};
