// The memory that writers and the service share, when it is full, wraps around, or holds nonsense.
#include "diagnostics/RecordRing.h"
#include "tests/support/Await.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

using namespace TKRuntimeLogger::RecordRing;

namespace {

constexpr std::uint32_t kCapacity = 4096;

struct Memory {
    alignas(64) std::byte bytes[sizeof(Header) + kCapacity]{};
    std::byte guard[64]{};  // never written to

    Header& Head() { return *reinterpret_cast<Header*>(bytes); }
    ~Memory() {
        for (const std::byte b : guard)
            EXPECT_EQ(std::byte{0}, b);
    }
};

CWriter::Result Write(CWriter& writer, std::int32_t line, std::u16string_view message) {
    RecordHead head{};
    head.kind = Log;
    head.line = line;
    return writer.Write(head, {{u"c", 1}, {nullptr, 0}, {u"", 0}, {message.data(), std::uint32_t(message.size())}});
}

using Taken = std::vector<std::pair<std::int32_t, std::u16string>>;

Taken ReadAll(CReader& reader, bool expected = true) {
    Taken taken;
    EXPECT_EQ(expected, reader.ReadAll(7, [&](const CReader::CRecord& record) {
        std::u16string message(record.Length(3), u'\0');
        record.CopyText(3, message.data());
        taken.emplace_back(record.Head().line, message);
    }));
    return taken;
}

TEST(RecordRingTest, RecordsOfAllLengthsWrapAroundWhole) {
    Memory memory;
    CWriter writer(memory.bytes, kCapacity, 5);
    EXPECT_EQ(5u, writer.HeartbeatMs());
    CReader reader(memory.bytes, sizeof memory.bytes);
    std::u16string message;
    for (int i = 0; i < 1900; ++i) {
        message += static_cast<char16_t>(u'a' + i % 26);
        ASSERT_EQ(CWriter::Result::Written, Write(writer, i, message));
        const std::uint32_t position = writer.Written();
        EXPECT_FALSE(writer.IsTaken(position));
        ASSERT_EQ((Taken{{i, message}}), ReadAll(reader));
        EXPECT_TRUE(writer.IsTaken(position));
    }
    EXPECT_EQ(7u, writer.HeartbeatMs());
    EXPECT_EQ(CWriter::Result::TooBig, Write(writer, 0, std::u16string(2010, u'x')));
    memory.Head().taken = 0x80000000 + writer.Written();
    EXPECT_TRUE(writer.IsTaken(writer.Written())) << "half a round of the positions ago";
}

TEST(RecordRingTest, AFullOneRefusesUntilItIsRead) {
    Memory memory;
    CWriter writer(memory.bytes, kCapacity, 0);
    CReader reader(memory.bytes, sizeof memory.bytes);
    for (int round = 0; round < 3; ++round) {
        std::int32_t written = 0;
        while (Write(writer, written, u"message") == CWriter::Result::Written)
            ++written;
        EXPECT_EQ(CWriter::Result::Full, Write(writer, 0, u"message"));
        EXPECT_EQ(static_cast<std::size_t>(written), ReadAll(reader).size());
        EXPECT_LT(30, written);
    }
}

TEST(RecordRingTest, AWriterDoesNotBelieveAReader) {
    Memory memory;
    CWriter writer(memory.bytes, kCapacity, 0);
    for (const std::uint32_t claim : {8u, 0x80000000u, 0xFFFFFFFFu - kCapacity}) {
        memory.Head().taken = claim;
        EXPECT_EQ(CWriter::Result::Broken, Write(writer, 0, u"message"));
    }
    memory.Head().taken = 0;
    memory.Head().capacity = 1u << 31;
    EXPECT_EQ(CWriter::Result::Written, Write(writer, 0, u"message"));
}

TEST(RecordRingTest, AReaderTakesNoRingForOneThatIsNone) {
    Memory memory;
    EXPECT_FALSE(CReader::IsRing(memory.bytes, sizeof memory.bytes)) << "zeros";
    const CWriter writer(memory.bytes, kCapacity, 0);
    EXPECT_TRUE(CReader::IsRing(memory.bytes, sizeof memory.bytes));
    EXPECT_FALSE(CReader::IsRing(memory.bytes, sizeof(Header) - 1));
    EXPECT_FALSE(CReader::IsRing(memory.bytes, sizeof memory.bytes - 1));
    for (const std::uint32_t capacity : {0u, 1u, 4095u, 8192u, 0x80000000u, 0xFFFFFFFFu}) {
        memory.Head().capacity = capacity;
        EXPECT_FALSE(CReader::IsRing(memory.bytes, sizeof memory.bytes)) << capacity;
        CReader reader(memory.bytes, sizeof memory.bytes);
        memory.Head().written = 88;
        EXPECT_EQ(Taken{}, ReadAll(reader, false));
    }
}

TEST(RecordRingTest, AReaderBelievesNoField) {
    const auto expectRefused = [](auto&& spoil) {
        Memory memory;
        CWriter writer(memory.bytes, kCapacity, 0);
        CReader reader(memory.bytes, sizeof memory.bytes);
        ASSERT_EQ(CWriter::Result::Written, Write(writer, 0, u"message"));
        spoil(memory.Head(), *reinterpret_cast<RecordHead*>(memory.bytes + sizeof(Header)));
        EXPECT_EQ(Taken{}, ReadAll(reader, false));
    };
    for (const std::uint32_t bytes : {0u, 8u, 80u, 88u, 103u, 112u, 4096u, 0xFFFFFFF8u})
        expectRefused([=](Header&, RecordHead& head) { head.bytes = bytes; });
    for (const std::uint32_t kind : {0u, 4u, 0xFFFFFFFFu})
        expectRefused([=](Header&, RecordHead& head) { head.kind = kind; });
    for (const std::uint32_t length : {16u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu}) {
        for (std::size_t i = 0; i < kTexts; ++i)
            expectRefused([=](Header&, RecordHead& head) { head.lengths[i] = length; });
        expectRefused([=](Header&, RecordHead& head) { std::fill_n(head.lengths, kTexts, length); });
    }
    for (const std::uint32_t written : {8u, 87u, kCapacity + 8, 0xFFFFFFFFu})
        expectRefused([=](Header& header, RecordHead&) { header.written = written; });
}

TEST(RecordRingTest, AnyBytesAreReadToAnEnd) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        Memory memory;
        const CWriter writer(memory.bytes, kCapacity, 0);
        CReader reader(memory.bytes, sizeof memory.bytes);
        auto* const words = reinterpret_cast<std::uint32_t*>(memory.bytes + sizeof(Header));
        for (std::uint32_t at = 0; at < kCapacity / 4;) {
            words[at] = 88 + random() % 6 * 8;  // often right
            words[at + 1] = random() % 4;
            for (std::uint32_t i = 18; i < 22 && at + i < kCapacity / 4; ++i)
                words[at + i] = random() % 16 ? random() % 5 : random();
            at += std::max(24u, words[at] / 4);
            if (at + 2 > kCapacity / 4)
                break;
        }
        memory.Head().written = random() % (kCapacity + 100);
        std::size_t taken = 0;
        static_cast<void>(reader.ReadAll(0, [&](const CReader::CRecord& record) {
            std::u16string text;
            for (std::size_t i = 0; i < kTexts; ++i) {
                text.resize(record.Length(i));
                record.CopyText(i, text.data());
            }
            ++taken;
        }));
        ASSERT_GE(kCapacity / sizeof(RecordHead), taken);
    }
}

TEST(RecordRingTest, AWriterAndAReaderAtOnce) {
    constexpr int kRecords = 100'000;
    Memory memory;
    CWriter writer(memory.bytes, kCapacity, 0);
    CReader reader(memory.bytes, sizeof memory.bytes);
    const std::jthread writing([&](const std::stop_token& stop) {
        for (int i = 0; i < kRecords && !stop.stop_requested();) {
            const std::u16string message(static_cast<std::size_t>(i % 99), static_cast<char16_t>(i));
            if (Write(writer, i, message) == CWriter::Result::Written)
                ++i;
            else
                std::this_thread::yield();
        }
    });
    const base::CDeadline limit(kLongMs);
    for (int expected = 0; expected < kRecords;) {
        ASSERT_FALSE(limit.IsOver()) << expected << " records";
        for (const auto& [line, message] : ReadAll(reader)) {
            ASSERT_EQ(expected, line);
            ASSERT_EQ(std::u16string(static_cast<std::size_t>(expected % 99), static_cast<char16_t>(expected)),
                      message);
            ++expected;
        }
        std::this_thread::yield();
    }
}

}  // namespace
