// The service's end of channels, and writers that are hostile or close.
#include "TKRuntimeLogger.h"
#include "base/Times.h"
#include "logview/CRingReader.h"
#include "tests/support/CTempFile.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <variant>

using namespace TKRuntimeLogger::RecordRing;

namespace {

constexpr std::uint32_t kCapacity = 4096;

struct RingReaderTest : ::testing::Test {
    std::shared_ptr<logview::CRecordQueue> queue = std::make_shared<logview::CRecordQueue>(1000, 1 << 20);
    logview::CRingReaders readers{queue};
    const DWORD process = ::GetCurrentProcessId();

    // A section as a writer makes it.
    struct Section {
        explicit Section(const std::wstring& name, DWORD kind = PAGE_READWRITE, HANDLE file = INVALID_HANDLE_VALUE)
            : handle(::CreateFileMappingW(file, nullptr, kind, 0, sizeof(Header) + kCapacity, name.c_str())),
              memory(::MapViewOfFile(handle.Get(), FILE_MAP_WRITE, 0, 0, 0)) {}
        ~Section() { ::UnmapViewOfFile(memory); }
        base::CAutoHandle handle;
        void* memory;
    };
    static std::wstring Name(const wchar_t* end) {
        return kTKRuntimeLoggerSectionPrefix + std::to_wstring(::GetCurrentProcessId()) + L"-" + end;
    }
};

TEST_F(RingReaderTest, EveryKindArrivesAsItWasWritten) {
    const Section section(Name(L"1"));
    CWriter writer(section.memory, kCapacity, 0);
    ASSERT_EQ(S_OK, readers.Open(process, Name(L"1")));
    RecordHead head{};
    head.kind = Log;
    head.severity = -7;
    head.processId = 2;
    head.threadId = 3;
    head.line = -4;
    head.value = 5;
    head.flag = 1;
    head.count[0] = 6;
    head.count[1] = 1;
    head.first = 0.25;
    head.maximum = 0.5;
    head.total = 0.75;
    const Text texts[] = {{L"cat", 3}, {nullptr, 0}, {L"", 0}, {L"a\0b", 3}};
    for (const Kind kind : {Log, Profile, Explicit}) {
        head.kind = kind;
        EXPECT_EQ(CWriter::Result::Written, writer.Write(head, texts));
    }
    head.time[0] = 5;
    head.time[1] = static_cast<std::uint32_t>(base::NowInTicks() >> 32) - 1;
    EXPECT_EQ(CWriter::Result::Written, writer.Write(head, texts));
    const ULONGLONG written = base::NowInTicks();
    head.time[0] = static_cast<std::uint32_t>(written);
    head.time[1] = static_cast<std::uint32_t>(written >> 32);
    EXPECT_EQ(CWriter::Result::Written, writer.Write(head, texts));
    const ULONGLONG before = base::NowInTicks();
    readers.Poll();
    const ULONGLONG after = base::NowInTicks();
    const auto taken = queue->Take(0);
    ASSERT_EQ(5u, taken.size());
    const auto& log = std::get<logview::LogRecord>(taken[0].record);
    const std::wstring none;
    EXPECT_EQ((std::tuple{-7l, std::wstring(L"cat"), 2ul, 3ul, none, -4l, none, std::wstring(L"a\0b", 3)}),
              (std::tuple{log.severity, log.category, log.processId, log.threadId, log.file, log.line, log.function,
                          log.message}));
    EXPECT_FALSE(log.explicitValues);
    const auto& profile = std::get<logview::ProfileRecord>(taken[1].record);
    EXPECT_EQ(0x100000006u, profile.count);
    EXPECT_EQ(0.25, profile.firstDuration);
    EXPECT_EQ(0.5, profile.maximumDuration);
    EXPECT_EQ(0.75, profile.totalDuration);
    const auto& flagged = std::get<logview::LogRecord>(taken[2].record);
    ASSERT_TRUE(flagged.explicitValues);
    EXPECT_EQ(5u, flagged.explicitValues->value);
    EXPECT_TRUE(flagged.explicitValues->flag);
    for (const std::size_t i : {0u, 3u})
        EXPECT_TRUE(before <= taken[i].time && taken[i].time <= after) << "a time that can't be is that of the taking";
    EXPECT_EQ(written, taken[4].time);
}

TEST_F(RingReaderTest, WhatIsThereAtTheEndIsTakenAndTheWriterIsTold) {
    const Section section(Name(L"last"));
    CWriter writer(section.memory, kCapacity, 0);
    {
        logview::CRingReaders ending(queue);
        ASSERT_EQ(S_OK, ending.Open(process, Name(L"last")));
        ending.Poll();
        RecordHead head{};
        head.kind = Log;
        const Text texts[] = {{L"cat", 3}, {L"", 0}, {L"", 0}, {L"last", 4}};
        EXPECT_EQ(CWriter::Result::Written, writer.Write(head, texts));
        EXPECT_FALSE(writer.IsReaderClosed());
    }
    EXPECT_TRUE(writer.IsReaderClosed());
    EXPECT_EQ(1u, queue->Take(0).size());
}

TEST_F(RingReaderTest, OnlyChannelsAreOpened) {
    const Section other(L"Local\\Other"), ring(Name(L"2"));
    EXPECT_EQ(E_INVALIDARG, readers.Open(process, L"Local\\Other"));
    EXPECT_EQ(E_INVALIDARG, readers.Open(process, Name(L"2\\x")));
    EXPECT_EQ(E_INVALIDARG, readers.Open(process, L""));
    EXPECT_EQ(E_INVALIDARG, readers.Open(process, Name(L"2"))) << "zeros";
    EXPECT_HRESULT_FAILED(readers.Open(process, Name(L"none")));
    const CWriter writer(ring.memory, kCapacity, 0);
    EXPECT_EQ(E_INVALIDARG, readers.Open(process + 4, Name(L"2"))) << "another process's";
    const Section reserved(Name(L"3"), PAGE_READWRITE | SEC_RESERVE);
    EXPECT_EQ(E_INVALIDARG, readers.Open(process, Name(L"3"))) << "not all of it is there";
    {
        const CTempFile file;
        const base::CAutoHandle handle(
            ::CreateFileW(file.Path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        const Section ofFile(Name(L"6"), PAGE_READWRITE, handle.Get());
        ASSERT_TRUE(ofFile.memory);
        const CWriter toFile(ofFile.memory, kCapacity, 0);
        EXPECT_EQ(E_INVALIDARG, readers.Open(process, Name(L"6"))) << "a disk may go away";
    }
    EXPECT_EQ(0u, readers.Count());
    EXPECT_EQ(S_OK, readers.Open(process, Name(L"2")));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS), readers.Open(process, Name(L"2")));
    EXPECT_FALSE(writer.IsReaderClosed()) << "the first stays";
    EXPECT_EQ(1u, readers.Count());
}

TEST_F(RingReaderTest, AWriterThatClosesOrWritesNonsenseIsForgotten) {
    {
        const Section closed(Name(L"4")), broken(Name(L"5"));
        CWriter writer(closed.memory, kCapacity, 0);
        const CWriter other(broken.memory, kCapacity, 0);
        ASSERT_EQ(S_OK, readers.Open(process, Name(L"4")));
        ASSERT_EQ(S_OK, readers.Open(process, Name(L"5")));
        readers.Poll();
        EXPECT_EQ(2u, readers.Count());
        static_cast<Header*>(broken.memory)->written = 8;
        RecordHead head{};
        head.kind = Log;
        EXPECT_EQ(CWriter::Result::Written,
                  writer.Write(head, {{nullptr, 0}, {nullptr, 0}, {nullptr, 0}, {L"last", 4}}));
        writer.Close();
        readers.Poll();
        EXPECT_TRUE(other.IsReaderClosed());
    }
    EXPECT_EQ(0u, readers.Count());
    EXPECT_EQ(1u, queue->Take(0).size());
    EXPECT_EQ(1u, queue->Lost());
}

}  // namespace
