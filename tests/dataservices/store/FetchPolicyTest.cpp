// What is asked for, in a simulation: a server with a round trip and a rate, two connections, and a clock of ticks of a
// millisecond.
#include "dataservices/store/CFetchPolicy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using namespace dataservices::store;

namespace {

constexpr Position kMiB = 0x100000;

class CSimulation final {
public:
    struct Server {
        Position length = 0;
        std::size_t bytesPerMs = 20'000;
        std::uint64_t roundTripMs = 20;
        bool hasRanges = true;
        std::function<bool(std::uint64_t ms)> pauses{};
    };

    explicit CSimulation(Server server, std::size_t storeBytes = 64 * kMiB)
        : m_server(std::move(server)), m_store(storeBytes), m_policy(storeBytes / 2) {}

    // Reads as a parser does; how long it had to wait.
    std::uint64_t Read(Position position, std::size_t bytes) {
        const std::uint64_t begin = nowMs;
        std::vector<Byte> target(bytes);
        const std::size_t wanted = static_cast<std::size_t>(std::min<Position>(bytes, m_server.length - position));
        for (std::size_t got = 0; got < wanted;) {
            const std::size_t count = m_store.CopyTo(position + got, std::span(target).subspan(got, wanted - got));
            got += count;
            if (count > 0) {
                m_policy.WasRead({position + got - count, position + got}, nowMs);
                continue;
            }
            const Position waiting = position + got;
            Tick(std::span(&waiting, 1));
            if (nowMs - begin > 600'000) {
                ADD_FAILURE() << "position " << waiting << " never comes";
                return 0;
            }
        }
        bool isRight = true;
        for (std::size_t i = 0; i < wanted; i += 1000)
            isRight = isRight && target[i] == static_cast<Byte>((position + i) >> 8);
        EXPECT_TRUE(isRight) << position;
        bytesRead += wanted;
        longestWaitMs = std::max(longestWaitMs, nowMs - begin);
        return nowMs - begin;
    }
    void Pass(std::uint64_t ms) {
        for (; ms > 0; --ms)
            Tick({});
    }
    [[nodiscard]] CFetchPolicy& Policy() { return m_policy; }
    [[nodiscard]] CRangeStore& Store() { return m_store; }

    std::uint64_t nowMs = 0, longestWaitMs = 0;
    int requests = 0, mostOpen = 0;
    Position bytesReceived = 0, bytesRead = 0;

private:
    struct Connection {
        bool isOpen = false;
        std::uint64_t answersAtMs = 0, askedAtMs = 0;
        bool hasAnswered = false;
        Position at = 0, end = 0;
    };

    void Tick(std::span<const Position> wanted) {
        ++nowMs;
        std::vector<Lane> receiving;
        for (const Lane lane : {PlayLane, DetourLane}) {
            Connection& connection = m_connections[lane];
            if (connection.isOpen && !connection.hasAnswered && nowMs >= connection.answersAtMs) {
                connection.hasAnswered = true;
                m_policy.Answered(lane, connection.at, nowMs - connection.askedAtMs);
            }
            const CFetchPolicy::Source source{m_server.length, m_server.hasRanges};
            const CFetchPolicy::Job job = m_policy.Next(lane, m_store, wanted, source);
            switch (job.kind) {
                case CFetchPolicy::Job::Kind::Nothing:
                    break;
                case CFetchPolicy::Job::Kind::Read:
                    if (connection.hasAnswered)
                        receiving.push_back(lane);
                    break;
                case CFetchPolicy::Job::Kind::Open:
                    ++requests;
                    connection = {true,   nowMs + m_server.roundTripMs,     nowMs, false,
                                  job.at, job.end.value_or(m_server.length)};
                    m_policy.Asked(lane, job.at, job.end);
                    break;
                case CFetchPolicy::Job::Kind::Close:
                    connection = {};
                    m_policy.Ended(lane);
            }
        }
        mostOpen = std::max(mostOpen, m_connections[PlayLane].isOpen + m_connections[DetourLane].isOpen);
        if (m_server.pauses && m_server.pauses(nowMs))
            return;
        for (const Lane lane : receiving)
            Receive(lane, m_server.bytesPerMs / receiving.size());
    }
    void Receive(Lane lane, std::size_t most) {
        Connection& connection = m_connections[lane];
        std::vector<Byte> bytes(static_cast<std::size_t>(std::min<Position>(most, connection.end - connection.at)));
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<Byte>((connection.at + i) >> 8);
        m_store.Expect(m_policy.Expected());
        m_store.Put(connection.at, bytes);
        connection.at += bytes.size();
        bytesReceived += bytes.size();
        m_policy.Received(lane, bytes.size(), 1);
        if (connection.at == connection.end) {
            connection = {};
            m_policy.Ended(lane);
        }
    }

    const Server m_server;
    CRangeStore m_store;
    CFetchPolicy m_policy;
    Connection m_connections[kLanes];
};

TEST(FetchPolicyTest, AFilmFromStartToEndIsOneRequest) {
    CSimulation film({.length = 256 * kMiB, .roundTripMs = 100});
    for (Position at = 0; at < 256 * kMiB; at += 0x8000)
        film.Read(at, 0x8000);
    EXPECT_EQ(1, film.requests);
    EXPECT_EQ(256 * kMiB, film.bytesReceived);
    EXPECT_GE(100 + 256 * kMiB / 20'000 * 10 / 9, film.nowMs);
}

TEST(FetchPolicyTest, AnIndexAtTheEndCostsAShortDetour) {
    for (const Position index : {100'000u, 400'000u, 700'000u}) {
        CSimulation film({.length = 300 * kMiB});
        film.Read(0, 32);
        for (Position at = 300 * kMiB - index; at < 300 * kMiB; at += 4096)
            film.Read(at, 4096);
        for (Position at = 32; at < 20 * kMiB; at += 0x8000)
            film.Read(at, 0x8000);
        EXPECT_GE(3, film.requests) << index;
    }
}

TEST(FetchPolicyTest, JumpsBetweenTwoZonesAskOnlyOnceForEach) {
    constexpr Position kFar = 3ull << 30;
    CSimulation film({.length = kFar + 600'000});
    for (int jump = 0; jump < 5000; ++jump) {
        film.Read(static_cast<Position>(jump) * 2000, 2000);
        film.Read(kFar + static_cast<Position>(jump) * 16 % 590'000, 16);
    }
    EXPECT_GE(3, film.requests);
    EXPECT_EQ(2, film.mostOpen);
}

TEST(FetchPolicyTest, TwoStreamsFarApartAreReadWithoutWaste) {
    constexpr std::size_t kRate = 500'000;  // bytes in a second, of each
    for (const Position apart : {20 * kRate, 60 * kRate}) {
        CSimulation film({.length = 400 * kMiB, .bytesPerMs = 4000});
        const Position all = 60 * kMiB;
        for (Position at = 0; at < all; at += 0x4000) {
            film.Read(at, 0x4000);
            film.Read(apart + at, 0x4000);
            film.Pass(20);
        }
        const Position distinct = all + apart;
        EXPECT_GE(distinct * 115 / 100 + CFetchPolicy::kLeastAhead, film.bytesReceived) << apart;
        EXPECT_GE(static_cast<int>(film.bytesReceived / (4 * kMiB)), film.requests) << apart;
    }
}

TEST(FetchPolicyTest, WhatADetourIsAboutToBringIsNotAskedForOnceMore) {
    constexpr Position kApart = 10'000'000, kEach = 60 * kMiB;
    CSimulation film({.length = kApart + kEach, .bytesPerMs = 40'000});
    for (Position at = 0; at < kEach; at += 0x4000) {
        film.Read(at, 0x4000);
        film.Read(kApart + at, 0x4000);
    }
    EXPECT_GE(kApart + kEach + kMiB, film.bytesReceived);
}

TEST(FetchPolicyTest, AServerThatPausesIsReadAhead) {
    // Twice as fast as the reader, on average.
    CSimulation film(
        {.length = 200 * kMiB, .bytesPerMs = 3334, .pauses = [](std::uint64_t ms) { return ms % 5000 < 2000; }});
    film.Read(0, 0x8000);
    film.Pass(6000);
    film.longestWaitMs = 0;
    for (Position at = 0x8000; at < 60 * kMiB; at += 10'000) {
        film.Read(at, 10'000);
        film.Pass(10);
    }
    EXPECT_EQ(0u, film.longestWaitMs);
    EXPECT_EQ(1, film.requests);
}

TEST(FetchPolicyTest, WhatIsHereCostsNothing) {
    CSimulation film({.length = 300 * kMiB});
    for (Position at = 0; at < 30 * kMiB; at += 0x8000)
        film.Read(at, 0x8000);
    const int requests = film.requests;
    for (const Position at : {0 * kMiB, 29 * kMiB, 5 * kMiB, 0 * kMiB, 17 * kMiB + 5})
        EXPECT_EQ(0u, film.Read(at, 0x20000)) << at;
    EXPECT_EQ(requests, film.requests);
}

TEST(FetchPolicyTest, RandomReadsAskForLittle) {
    CSimulation film({.length = 300 * kMiB, .roundTripMs = 2});
    for (Position i = 0; i < 200; ++i)
        film.Read(i * 7919 * 40'013 % (299 * kMiB), 4096);
    EXPECT_GE(201, film.requests);
    EXPECT_GE(200 * CFetchPolicy::kLeastDetour + CFetchPolicy::kLeastAhead + kMiB, film.bytesReceived);
}

TEST(FetchPolicyTest, ASeekFarAheadBecomesThePlayHead) {
    CSimulation film({.length = 900 * kMiB});
    for (Position at = 0; at < 10 * kMiB; at += 0x8000)
        film.Read(at, 0x8000);
    for (Position at = 500 * kMiB; at < 600 * kMiB; at += 0x8000)
        film.Read(at, 0x8000);
    EXPECT_GE(8, film.requests);
    EXPECT_GE(110 * kMiB + 3 * CFetchPolicy::kLeastAhead, film.bytesReceived);
}

TEST(FetchPolicyTest, WithoutRangesItReadsThroughAndStartsOver) {
    CSimulation film({.length = 80 * kMiB, .hasRanges = false}, 8 * kMiB);
    film.Read(0, 1000);
    film.Read(70 * kMiB, 1000);
    EXPECT_EQ(1, film.requests);
    film.Read(30 * kMiB, 1000);
    EXPECT_EQ(2, film.requests);
    EXPECT_EQ(1, film.mostOpen);
}

}  // namespace
