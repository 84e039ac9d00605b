// The COM apartment that a test is about, for as long as this object lives.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <gtest/gtest.h>

class CTestApartment final {
public:
    explicit CTestApartment(DWORD flags) : m_entered(::CoInitializeEx(nullptr, flags)) {
        EXPECT_HRESULT_SUCCEEDED(m_entered);
    }
    CTestApartment(const CTestApartment&) = delete;
    CTestApartment& operator=(const CTestApartment&) = delete;
    ~CTestApartment() {
        if (SUCCEEDED(m_entered))
            ::CoUninitialize();
    }

private:
    const HRESULT m_entered;
};
