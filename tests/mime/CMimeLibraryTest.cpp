// The built MIME dictionary, as a component loads and uses it.
#include "mime/CMimeLibrary.h"

#include "tests/support/CScriptedStream.h"
#include "tests/support/ProcessUse.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string ContentOfMp3() {
    std::ifstream file(TV_TEST_MEDIA "/tone.mp3", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What a DLL may leave behind in its process.
struct Resources {
    int handles = Handles();
    DWORD nextTlsSlot = ::TlsAlloc();
    DWORD nextFlsSlot = ::FlsAlloc(nullptr);

    Resources() {
        ::TlsFree(nextTlsSlot);
        ::FlsFree(nextFlsSlot);
    }
};

TEST(CMimeLibraryTest, LoadedAndFreedForEachDetectionItLeavesNothingBehind) {
    const std::string content = ContentOfMp3();
    const auto detect = [&](int times) {
        for (int i = 0; i < times; ++i) {
            CScriptedStream whole(content);
            ASSERT_EQ(L"audio/mpeg", mime::TakeTexts(mime::CMimeLibrary(L"").Dictionary()->Detect(&whole)).at(0));
            CScriptedStream broken(content);
            broken.On(CScriptedStream::ReadCall, 0, {.result = STG_E_READFAULT});
            ASSERT_EQ(nullptr, mime::CMimeLibrary(L"").Dictionary()->Detect(&broken));
        }
    };
    detect(10);
    const Resources before;
    detect(500);
    const Resources after;
    // The platform may keep a handle of its own; a leak shows hundreds of times.
    EXPECT_GE(before.handles + 10, after.handles);
    EXPECT_EQ(before.nextTlsSlot, after.nextTlsSlot);
    EXPECT_EQ(before.nextFlsSlot, after.nextFlsSlot);
    EXPECT_EQ(nullptr, ::GetModuleHandleW(kTvMetadataLibrary));
}

// Calls the operation in the slot the way that a caller of another compiler does: by its place alone.
template <class Result, class... Arguments>
Result CallSlot(void* object, size_t slot, Arguments... arguments) {
    using Slot = void (*)();
    const Slot* const table = *static_cast<Slot**>(object);
    return reinterpret_cast<Result(STDMETHODCALLTYPE*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

TEST(MimeDictionaryTest, OperationsStandInTheirSlots) {
    const mime::CMimeLibrary library(L"");
    void* const dictionary = library.Dictionary();
    HRESULT result = S_OK;
    EXPECT_EQ(nullptr, library.Export<DetectMimeTypesFn>(kDetectMimeTypesExport)(nullptr, &result));
    EXPECT_EQ(E_POINTER, result);
    const auto first = [](void* list) {
        const long count = CallSlot<long>(list, 0);
        EXPECT_FALSE(CallSlot<const wchar_t*>(list, 1, -1L) || CallSlot<const wchar_t*>(list, 1, count));
        const std::wstring text = count > 0 ? CallSlot<const wchar_t*>(list, 1, 0L) : L"";
        CallSlot<void>(list, 2);
        return text;
    };
    CScriptedStream stream(ContentOfMp3());
    EXPECT_EQ(L"audio/mpeg", first(CallSlot<void*>(dictionary, 0, static_cast<IStream*>(&stream))));
    EXPECT_EQ(nullptr, CallSlot<void*>(dictionary, 0, static_cast<IStream*>(nullptr)));
    EXPECT_EQ(L"audio/basic", first(CallSlot<void*>(dictionary, 1, L"au")));
    EXPECT_STREQ(L".au", CallSlot<const wchar_t*>(dictionary, 2, L"audio/basic"));
    EXPECT_EQ(L"audio/basic", first(CallSlot<void*>(dictionary, 3, L"audio/x-au")));
    EXPECT_STREQ(L"audio/basic", CallSlot<const wchar_t*>(dictionary, 4, L"audio/x-au"));
    EXPECT_EQ(L"audio/mp1", first(CallSlot<void*>(dictionary, 5)));
    EXPECT_TRUE(CallSlot<bool>(dictionary, 6, L"audio/basic") && !CallSlot<bool>(dictionary, 6, L"text/plain"));
    EXPECT_TRUE(CallSlot<bool>(dictionary, 7, L"audio/basic", L"audio/x-au"));
    EXPECT_FALSE(CallSlot<bool>(dictionary, 7, L"audio/basic", L"audio/mpeg"));
}

}  // namespace
