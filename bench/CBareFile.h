// ReadFile and nothing else: what a read costs at least. The file pointer is moved only when it stands elsewhere.
#pragma once

#include "base/CAutoDestructor.h"
#include "bench/CContender.h"

namespace bench {

class CBareFile final : public CContender {
public:
    explicit CBareFile(const wchar_t* path);

    void ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) override;

private:
    base::CAutoHandle m_file;
    LONGLONG m_position = 0;
};

}  // namespace bench
