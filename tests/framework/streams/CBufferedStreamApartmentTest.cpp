// A buffered stream in an apartment other than its source's.
#include "framework/streams/CBufferedStream.h"

#include "diagnostics/CAutoDestructor.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

// Serves calls from other apartments until `done` is signalled.
void PumpUntil(HANDLE done) {
    while (::MsgWaitForMultipleObjects(1, &done, FALSE, 30'000, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            ::DispatchMessageW(&message);
    }
}

TEST(CBufferedStreamApartmentTest, MadeInASingleThreadedApartmentItReadsFromTheMultithreadedOne) {
    const CTestApartment sta(COINIT_APARTMENTTHREADED);
    const DWORD staThread = ::GetCurrentThreadId();
    CScriptedStream source("0123456789abcdef");
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, 4));

    const CAutoHandle done(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread mta([&] {
        {
            const CTestApartment apartment(COINIT_MULTITHREADED);
            char bytes[10]{};
            ULONG count = 0xDEAD;
            // The very pointer of the other apartment: the buffered stream needs no marshalling.
            EXPECT_EQ(S_OK, stream->Read(bytes, 10, &count));
            EXPECT_EQ("0123456789", std::string(bytes, count));
            EXPECT_EQ(staThread, source.LastThread());

            LARGE_INTEGER move;
            move.QuadPart = -3;
            ULARGE_INTEGER position{};
            EXPECT_EQ(S_OK, stream->Seek(move, STREAM_SEEK_END, &position));
            EXPECT_EQ(13u, position.QuadPart);
            EXPECT_EQ(S_FALSE, stream->Read(bytes, 10, &count));
            EXPECT_EQ("def", std::string(bytes, count));

            STATSTG stat{};
            EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
            EXPECT_EQ(16u, stat.cbSize.QuadPart);
        }
        ::SetEvent(done.Get());
    });
    PumpUntil(done.Get());
    mta.join();

    char byte = 0;
    ULONG count = 0xDEAD;
    EXPECT_EQ(S_OK, stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, &count));
    EXPECT_EQ('0', byte);
    stream.Reset();
    EXPECT_EQ(0u, source.References());
}

TEST(CBufferedStreamApartmentTest, ItsInterfacePointerPassesBetweenApartmentsUnchanged) {
    const CTestApartment sta(COINIT_APARTMENTTHREADED);
    CScriptedStream source("0123");
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, 4));
    ComPtr<IStream> parcel;
    ASSERT_EQ(S_OK, ::CoMarshalInterThreadInterfaceInStream(__uuidof(IStream), stream.Get(), &parcel));
    std::thread([&] {
        const CTestApartment mta(COINIT_MULTITHREADED);
        ComPtr<IStream> received;
        void* pointer = nullptr;
        EXPECT_EQ(S_OK, ::CoUnmarshalInterface(parcel.Get(), __uuidof(IStream), &pointer));
        *received.GetAddressOf() = static_cast<IStream*>(pointer);
        EXPECT_EQ(stream.Get(), received.Get());
    }).join();
}

}  // namespace
