// The COM apartment that a test is about, for as long as this object lives.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <gtest/gtest.h>

class CTestApartment final {
public:
    explicit CTestApartment(DWORD flags) { EXPECT_HRESULT_SUCCEEDED(::CoInitializeEx(nullptr, flags)); }
    CTestApartment(const CTestApartment&) = delete;
    CTestApartment& operator=(const CTestApartment&) = delete;
    ~CTestApartment() { ::CoUninitialize(); }
};
