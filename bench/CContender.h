// Something that reads bytes of the benchmark's file: our filter, the stock file source, ReadFile, or WinHTTP.
#pragma once

#include <windows.h>

namespace bench {

class CContender {
public:
    CContender() = default;
    CContender(const CContender&) = delete;
    CContender& operator=(const CContender&) = delete;
    virtual ~CContender() = default;

    // Reads exactly `bytes` at `position`.  Throws std::runtime_error when it can't.
    virtual void ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) = 0;
};

}  // namespace bench
