// Keeps a thread in the multithreaded apartment of COM.
#pragma once

#include "bench/BenchCheck.h"

#include <objbase.h>

class CApartment final {
public:
    CApartment() {
        if (const HRESULT hr = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); hr != S_FALSE)
            Check(hr, "CoInitializeEx");
    }
    CApartment(const CApartment&) = delete;
    CApartment& operator=(const CApartment&) = delete;
    ~CApartment() { ::CoUninitialize(); }
};
