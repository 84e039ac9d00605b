#include "framework/streams/CopyInBlocks.h"

#include "base/ComBoundary.h"

#include <algorithm>
#include <array>

namespace framework {

HRESULT CopyInBlocks(ISequentialStream& source, ISequentialStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* readTotal,
                     ULARGE_INTEGER* writtenTotal, HRESULT* readResult) noexcept {
    HRESULT unwantedResult = S_OK;
    HRESULT& lastRead = readResult ? *readResult : unwantedResult;
    lastRead = S_OK;
    ULARGE_INTEGER unwanted[2];
    ULARGE_INTEGER& totalRead = readTotal ? *readTotal : unwanted[0];
    ULARGE_INTEGER& totalWritten = writtenTotal ? *writtenTotal : unwanted[1];
    totalRead.QuadPart = 0;
    totalWritten.QuadPart = 0;
    if (!target)
        return E_POINTER;

    return base::ComBoundary([&]() -> HRESULT {
        std::array<BYTE, 16384> block;
        ULONGLONG remaining = cb.QuadPart;
        while (remaining > 0) {
            const ULONG chunk = static_cast<ULONG>(std::min<ULONGLONG>(remaining, block.size()));
            ULONG got = 0;
            lastRead = source.Read(block.data(), chunk, &got);
            totalRead.QuadPart += got;
            remaining -= chunk;

            // Also with nothing to write: the target sees the end of the copy as a write of no bytes.
            ULONG written = 0;
            static_cast<void>(base::ComBoundary([&] { return target->Write(block.data(), got, &written); }));
            totalWritten.QuadPart += written;

            if (got != chunk)
                break;
        }
        return totalRead.QuadPart == totalWritten.QuadPart ? S_OK : STG_E_MEDIUMFULL;
    });
}

}  // namespace framework
