// The store of what has come, against a plain array, and what it gives up first.
#include "dataservices/store/CRangeStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace dataservices::store;

namespace {

constexpr std::size_t kPage = CRangeStore::kPageBytes;

std::vector<Byte> Some(Position position, std::size_t count) {
    std::vector<Byte> bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<Byte>((position + i) * 2654435761u >> 13);
    return bytes;
}

void PutAt(CRangeStore& store, Position position, std::size_t count) {
    store.Put(position, Some(position, count));
}

bool Holds(CRangeStore& store, Position position, std::size_t count) {
    std::vector<Byte> target(count);
    return store.CopyTo(position, target) == count && target == Some(position, count);
}

TEST(RangeStoreTest, GivesWhatWasPutThereAcrossPages) {
    CRangeStore store(1 << 20);
    EXPECT_EQ(5u, store.EndFrom(5));
    PutAt(store, kPage - 10, 3 * kPage);
    PutAt(store, 10 * kPage, 1);
    EXPECT_TRUE(Holds(store, kPage - 10, 3 * kPage));
    std::vector<Byte> target(4 * kPage);
    EXPECT_EQ(2 * kPage, store.CopyTo(2 * kPage - 10, target));
    EXPECT_EQ(0u, store.CopyTo(kPage - 11, target));
    EXPECT_EQ(4 * kPage - 10, store.EndFrom(kPage + 1));
    EXPECT_EQ((std::vector<Range>{{kPage - 10, 4 * kPage - 10}, {10 * kPage, 10 * kPage + 1}}), store.Ranges());
    EXPECT_EQ(5 * kPage, store.Bytes());
    store.Clear();
    EXPECT_EQ(0u, store.Bytes());
    EXPECT_EQ(4u, store.EndFrom(4));
}

TEST(RangeStoreTest, KeepsOnePieceOfAPage) {
    CRangeStore store(1 << 20);
    PutAt(store, 100, 50);
    PutAt(store, 150, 10);
    PutAt(store, 90, 10);
    EXPECT_EQ((std::vector<Range>{{90, 160}}), store.Ranges());
    PutAt(store, 161, 9);
    EXPECT_EQ((std::vector<Range>{{161, 170}}), store.Ranges()) << "what came last";
}

TEST(RangeStoreTest, GivesUpWhatWasUsedLongestAgo) {
    constexpr std::size_t kPages = 64;
    CRangeStore store(kPages * kPage + kPage - 1);
    EXPECT_EQ(kPages * kPage, store.Limit());
    const auto at = [](std::size_t i) { return CRangeStore::kBeginning + i * 5 * kPage; };
    for (std::size_t i = 0; i < kPages; ++i)
        PutAt(store, at(i), kPage);
    EXPECT_TRUE(Holds(store, at(0), kPage));
    for (std::size_t i = 0; i < 8; ++i)
        PutAt(store, at(kPages + i), kPage);
    EXPECT_EQ(store.Limit(), store.Bytes());
    EXPECT_EQ(kPages, store.Ranges().size());
    EXPECT_TRUE(Holds(store, at(0), kPage)) << "it was read";
    for (std::size_t i = 1; i <= 8; ++i)
        EXPECT_FALSE(Holds(store, at(i), 1)) << i;
    EXPECT_TRUE(Holds(store, at(9), kPage));
}

TEST(RangeStoreTest, KeepsTheBeginningAndAnIndexWhileTheRestPasses) {
    CRangeStore store(8 << 20);
    constexpr Position kIndex = 3ull << 30;
    constexpr std::size_t kIndexBytes = 10 * kPage;
    PutAt(store, 0, CRangeStore::kBeginning);
    PutAt(store, kIndex, kIndexBytes);
    Position passing = 1 << 24;
    const auto readOn = [&](std::size_t times) {
        for (; times > 0; --times, passing += kPage) {
            PutAt(store, passing, kPage);
            EXPECT_TRUE(Holds(store, passing, kPage));
        }
    };
    for (std::size_t i = 0; i < 50; ++i) {
        EXPECT_TRUE(Holds(store, kIndex + i * 7001 % (kIndexBytes / 2), kIndexBytes / 2));
        readOn(10);
    }
    readOn(5000);
    EXPECT_TRUE(Holds(store, 0, CRangeStore::kBeginning));
    EXPECT_TRUE(Holds(store, kIndex, kIndexBytes));
    EXPECT_EQ(store.Limit(), store.Bytes());
}

TEST(RangeStoreTest, ManyIndexesDoNotFillIt) {
    CRangeStore store(4 << 20);
    Position at = CRangeStore::kBeginning;
    for (int zone = 0; zone < 100; ++zone, at += 100 * kPage) {
        PutAt(store, at, 4 * kPage);
        for (int turn = 0; turn < 10; ++turn)
            EXPECT_TRUE(Holds(store, at, 4 * kPage));
    }
    PutAt(store, at, store.Limit() / 2);
    EXPECT_TRUE(Holds(store, at, store.Limit() / 2)) << "what was put last is there";
}

// The store may forget, but never by itself more than it must, and never gives a byte that wasn't put there.
TEST(RangeStoreTest, AgreesWithAPlainArrayOverAMillionOperations) {
    constexpr std::size_t kSource = 6 << 20;
    const std::vector<Byte> source = Some(0, kSource);
    std::vector<bool> wasPut(kSource);
    CRangeStore store(1 << 20);
    std::mt19937 random(13);
    std::vector<Byte> target(3 * kPage);
    std::size_t zone = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        if (random() % 100 == 0)
            zone = random() % (kSource - 8 * kPage);
        const std::size_t position = zone + random() % (8 * kPage);
        const std::size_t count =
            std::min<std::size_t>(random() % (random() % 16 ? 300 : target.size()), kSource - position);
        switch (random() % 4) {
            case 0:
                store.Put(position, std::span(source).subspan(position, count));
                std::fill_n(wasPut.begin() + static_cast<std::ptrdiff_t>(position), count, true);
                ASSERT_EQ(position + count, std::min<Position>(store.EndFrom(position), position + count));
                break;
            case 1: {
                const Position end = store.EndFrom(position);
                ASSERT_LE(position, end);
                ASSERT_TRUE(end == position || (wasPut[position] && wasPut[static_cast<std::size_t>(end - 1)]));
                break;
            }
            case 2:
                if (i % 1000 == 0) {
                    std::size_t bytes = 0;
                    Position last = 0;
                    for (const Range& range : store.Ranges()) {
                        ASSERT_TRUE(bytes == 0 || last < range.begin);
                        ASSERT_LT(range.begin, range.end);
                        ASSERT_EQ(range.end, store.EndFrom(range.begin));
                        bytes += static_cast<std::size_t>(range.Length());
                        last = range.end;
                    }
                    ASSERT_LE(bytes, store.Bytes());
                    ASSERT_LE(store.Bytes(), store.Limit());
                }
                break;
            default: {
                const Position end = store.EndFrom(position);
                const std::size_t copied = store.CopyTo(position, std::span(target).first(count));
                ASSERT_EQ(std::min<Position>(count, end - position), copied);
                ASSERT_TRUE(std::equal(target.begin(), target.begin() + static_cast<std::ptrdiff_t>(copied),
                                       source.begin() + static_cast<std::ptrdiff_t>(position)));
            }
        }
    }
}

}  // namespace
