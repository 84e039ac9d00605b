// Each allocation of an operation fails in turn, wherever it is made, with a logger and without one. Records have no
// memory at all.
#include "tests/support/CImportHook.h"
#include "tests/support/CInnerFilter.h"
#include "tests/support/FilterTest.h"

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

namespace {

// How many allocations still succeed, of all threads together; negative: all.
std::atomic<int> g_left{-1};

bool FailsNow() noexcept {
    int left = g_left;
    while (left >= 0 && !g_left.compare_exchange_weak(left, left - 1)) {
    }
    return left == 0;
}

std::atomic<bool> g_noTexts{false};  // only log records allocate such texts here

BSTR WINAPI AllocateText(const OLECHAR* text) {
    return g_noTexts ? nullptr : ::SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text)));
}

}  // namespace

// Memory that it gives is freed as usual.
void* operator new(std::size_t bytes) {
    void* const memory = FailsNow() ? nullptr : std::malloc(bytes ? bytes : 1);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

namespace {

const AM_MEDIA_TYPE kAvi{MEDIATYPE_Stream, MEDIASUBTYPE_Avi, FALSE, FALSE, 0, GUID_NULL, nullptr, 0, nullptr};

struct Source {
    std::string bytes;
    GUID offered, current;  // subtypes
    bool operator==(const Source&) const = default;
};

Source SourceOf(CInnerFilter& filter) {
    CMediaType offered, current;
    wchar_t* name = nullptr;
    EXPECT_EQ(S_OK, filter.Pin().GetMediaType(0, &offered));
    EXPECT_EQ(S_OK, filter->GetCurFile(&name, &current));
    ::CoTaskMemFree(name);
    return {SyncRead(filter.Pin(), 0, 4).second, offered.subtype, current.subtype};
}

// Counts how often a failing allocation fails the operation. A failed operation must leave everything as it was.
int Failures(const std::function<HRESULT(CInnerFilter&)>& operation, const Source& after) {
    Stream before("0123456789");
    {
        CInnerFilter filter;  // timing sites take memory only once
        EXPECT_EQ(S_OK, operation(filter));
    }
    int failures = 0;
    for (int step = 0; step < 1000; ++step) {
        SCOPED_TRACE(step);
        CInnerFilter filter;
        EXPECT_EQ(S_OK, filter->OpenStream(&before, &kAvi));
        g_noTexts = true;
        g_left = step;
        const HRESULT hr = operation(filter);
        const bool isDone = g_left.exchange(-1) >= 0;
        g_noTexts = false;
        if (isDone) {
            EXPECT_EQ(S_OK, hr);
            return failures;
        }
        HRESULT opened = S_OK;
        static_cast<void>(filter->GetOpenResult(&opened));
        EXPECT_TRUE(SUCCEEDED(hr) || hr == E_OUTOFMEMORY || opened == E_OUTOFMEMORY) << std::hex << hr;
        EXPECT_EQ(SUCCEEDED(hr) ? after : (Source{"0123", MEDIASUBTYPE_Avi, MEDIASUBTYPE_Avi}), SourceOf(filter));
        failures += FAILED(hr);
    }
    ADD_FAILURE() << "there is no end of it";
    return failures;
}

// Logging takes memory, too, and more of it; but it fails no operation.
TEST(OutOfMemoryTest, AnOperationThatFailsChangesNothing) {
    const CImportHook text("SysAllocString", &AllocateText);
    const std::string wave("RIFF\x24\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0data\0\0\0\0",
                           44);
    const CTempFile file(wave);
    Stream stream(wave);
    const Source after{"RIFF", MEDIASUBTYPE_WAVE, MEDIASUBTYPE_WAVE};
    const AM_MEDIA_TYPE* const byContent = nullptr;
    for (const auto& [isName, type] :
         {std::pair{true, &kWave}, {true, byContent}, {false, &kWave}, {false, byContent}}) {
        SCOPED_TRACE(isName ? "a name" : "a stream");
        const auto failures = [&, isName = isName, type = type] {
            return Failures(
                [&](CInnerFilter& filter) {
                    return isName ? filter->Load(file.Path().c_str(), type) : filter->OpenStream(&stream, type);
                },
                after);
        };
        int silent = 0, logged = 0;
        {
            const CPublishedLogger logger;
            OnNewThread([&] { logged = failures(); });
            EXPECT_LT(0u, logger->Records().size());
        }
        OnNewThread([&] { silent = failures(); });
        EXPECT_LT(0, silent);
        EXPECT_EQ(silent, logged);
    }
}

TEST(OutOfMemoryTest, ALoadThatCannotBeginLeavesNoOlderOpenResult) {
    const CTempFile file;
    OnNewThread([&] {
        CInnerFilter filter;
        EXPECT_EQ(S_OK, filter->Load(file.Path().c_str(), &kAvi));
        g_left = 0;
        const HRESULT hr = filter->Load(file.Path().c_str(), &kAvi);
        g_left = -1;
        EXPECT_EQ(E_OUTOFMEMORY, hr);
        HRESULT opened = S_OK;
        EXPECT_EQ(E_UNEXPECTED, filter->GetOpenResult(&opened));
    });
}

}  // namespace
