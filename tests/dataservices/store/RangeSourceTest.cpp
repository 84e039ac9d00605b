// A source whose connections are slow, break and are aborted, read by several threads at once.
#include "dataservices/store/CRangeSource.h"
#include "tests/support/Await.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>

using namespace dataservices::store;

namespace {

Byte ByteAt(Position position) {
    return static_cast<Byte>(position * 2654435761u >> 11);
}

// What all connections of a test share.
struct Server {
    Position length = 8 << 20;
    bool hasRanges = true;
    bool isLive = false;
    Position comes = ~Position{0};  // what has come of a live one; the rest is waited for
    int mostServed = 9;             // connections at once; others are refused
    unsigned faults = 0;            // one call in so many fails
    bool stalls = false;            // every call waits until it is aborted
    Position piece = 0;             // that a call gives; 0: at random

    std::mutex lock;
    std::condition_variable aborted;
    std::mt19937 random{13};
    std::atomic<int> requests = 0, open = 0, mostOpen = 0, connections = 0;
};

class CFakeConnection final : public IConnection {
public:
    explicit CFakeConnection(std::shared_ptr<Server> server) : m_server(std::move(server)) { ++m_server->connections; }
    ~CFakeConnection() override {
        Close();
        const std::lock_guard guard(m_server->lock);
        --m_server->connections;
    }

    Outcome Open(Position at, std::optional<Position> end, Position* begin, SourceFacts* facts) override {
        Close();
        std::unique_lock guard(m_server->lock);
        if (Outcome outcome = Step(guard); outcome.result != S_OK)
            return outcome;
        if (m_server->open >= m_server->mostServed)
            return {E_ACCESSDENIED, false, {}};
        ++m_server->requests;
        m_server->mostOpen = std::max<int>(m_server->mostOpen, ++m_server->open);
        m_isOpen = true;
        m_at = m_server->hasRanges ? at : 0;
        m_end = std::min(end.value_or(m_server->length), m_server->length);
        *begin = m_at;
        *facts = {m_server->length, m_server->hasRanges};
        if (m_server->isLive)
            *facts = {};
        return {};
    }
    Outcome Read(std::span<const Byte>* bytes) override {
        std::unique_lock guard(m_server->lock);
        EXPECT_TRUE(m_isOpen);
        if (m_at == m_server->comes)
            m_server->stalls = true;
        if (Outcome outcome = Step(guard); outcome.result != S_OK)
            return outcome;
        const Position left = std::min(m_end, m_server->comes) - m_at;
        const Position piece = m_server->piece ? m_server->piece : m_server->random() % 0x10000 + 1;
        m_bytes.resize(static_cast<std::size_t>(std::min(piece, left)));
        for (std::size_t i = 0; i < m_bytes.size(); ++i)
            m_bytes[i] = ByteAt(m_at + i);
        m_at += m_bytes.size();
        *bytes = m_bytes;
        return {m_at == m_end ? S_FALSE : S_OK};
    }
    void Close() noexcept override {
        const std::lock_guard guard(m_server->lock);
        m_server->open -= std::exchange(m_isOpen, false) ? 1 : 0;
    }
    void Abort() noexcept override {
        const std::lock_guard guard(m_server->lock);
        m_isAborted = true;
        m_server->aborted.notify_all();
    }
    void Tell(Position, HRESULT, std::optional<std::uint64_t>) override {}

private:
    // Takes its time, fails, or is aborted.
    Outcome Step(std::unique_lock<std::mutex>& guard) {
        const auto pause = std::chrono::microseconds(m_server->random() % 100);
        const bool fails = m_server->faults != 0 && m_server->random() % m_server->faults == 0;
        const auto isAborted = [&] { return m_isAborted; };
        if (m_server->stalls)
            EXPECT_TRUE(m_server->aborted.wait_for(guard, std::chrono::milliseconds(kLongMs), isAborted));
        else
            m_server->aborted.wait_for(guard, pause, isAborted);
        if (std::exchange(m_isAborted, false))
            return {E_ABORT};
        return fails ? Outcome{E_FAIL, true, {}} : Outcome{};
    }

    const std::shared_ptr<Server> m_server;
    bool m_isOpen = false, m_isAborted = false;
    Position m_at = 0, m_end = 0;
    std::vector<Byte> m_bytes;
};

std::shared_ptr<CRangeSource> SourceOf(const std::shared_ptr<Server>& server, std::size_t storeBytes = 2 << 20) {
    return CRangeSource::Create([server] { return std::make_unique<CFakeConnection>(server); },
                                {.storeBytes = storeBytes});
}

bool IsRight(Position position, std::span<const Byte> bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] != ByteAt(position + i))
            return false;
    }
    return true;
}

TEST(RangeSourceTest, GivesAllBytesOnOneRequest) {
    const auto server = std::make_shared<Server>();
    const auto source = SourceOf(server);
    const CReadGate gate;
    ASSERT_EQ(S_OK, source->Open(gate, kLongMs));
    std::vector<Byte> target(100'000);
    for (Position at = 0; at < server->length; at += target.size()) {
        std::size_t count = 0;
        const HRESULT hr = source->Read(at, target, &count, gate, kLongMs);
        ASSERT_EQ(at + target.size() > server->length ? S_FALSE : S_OK, hr);
        ASSERT_TRUE(IsRight(at, std::span(target).first(count)));
    }
    EXPECT_EQ(1, server->requests);
}

TEST(RangeSourceTest, IsAskedAsOftenAsItsPatienceLastsAlsoAfterFailuresThatNobodySaw) {
    for (const std::size_t tries : {0u, 1u, 3u}) {
        CPatience patience(tries);
        EXPECT_TRUE(patience.Failed(E_FAIL, CPatience::Kind::MayPass, false, {}, 0)) << "nobody waits";
        for (std::size_t left = tries; left > 1; --left)
            EXPECT_TRUE(patience.Failed(E_FAIL, CPatience::Kind::MayPass, true, {}, 0)) << tries;
        EXPECT_FALSE(patience.Failed(E_FAIL, CPatience::Kind::MayPass, true, {}, 0)) << tries;
        EXPECT_EQ(E_FAIL, patience.Failure(0)) << tries;
    }
}

TEST(RangeSourceTest, AClosedGateEndsWhatWaits) {
    const auto server = std::make_shared<Server>();
    const auto source = SourceOf(server);
    CReadGate gate;
    ASSERT_EQ(S_OK, source->Open(gate, kLongMs));
    {
        const std::lock_guard guard(server->lock);
        server->stalls = true;
    }
    for (int i = 0; i < 100; ++i) {
        std::jthread reader([&, i] {
            std::vector<Byte> target(1000);
            std::size_t count = 7;
            EXPECT_EQ(E_ABORT, source->Read(7'000'000 + static_cast<Position>(i), target, &count, gate, kLongMs));
            EXPECT_EQ(0u, count);
        });
        if (i % 2 == 0)
            Await([&] { return source->GetStatus().wanted == 1000; });
        gate.Close();
        source->Wake();
        if (i % 2 == 0)
            gate.Open();  // who waits ends all the same
        reader.join();
        gate.Open();
    }
}

TEST(RangeSourceTest, ALiveSourceIsReadWhereItIsHeldOrHasComeTo) {
    const auto server = std::make_shared<Server>();
    server->hasRanges = false;
    server->isLive = true;
    server->comes = 3'000'000;
    const auto source = SourceOf(server);
    CReadGate gate;
    ASSERT_EQ(S_OK, source->Open(gate, kLongMs));
    EXPECT_EQ(std::nullopt, source->Facts().length);
    std::vector<Byte> target(100'000);
    std::size_t count = 0;
    Position available = 0;
    for (Position at = 0; at < server->comes; at += count)
        ASSERT_EQ(S_OK, source->Read(at, target, &count, gate, kLongMs));
    EXPECT_EQ(S_OK, source->Read(2'900'000, target, &count, gate, kLongMs));
    EXPECT_TRUE(IsRight(2'900'000, target));
    const struct {
        Position position, bytes;
        HRESULT result;
        Position available;
    } rows[] = {{2'900'000, 100'000, S_OK, 100'000},
                {2'999'999, 2, E_PENDING, 1},
                {3'000'000 + CFetchPolicy::kNear, 1, E_PENDING, 0},
                {3'000'001 + CFetchPolicy::kNear, 1, S_FALSE, 0},  // far ahead
                {1'100'000, 1, S_FALSE, 0},                        // gone
                {~Position{0}, ~Position{0}, S_FALSE, 0},
                {0, 10, S_OK, 10}};
    for (const auto& row : rows) {
        EXPECT_EQ(row.result, source->Await(row.position, row.bytes, &available, gate, 0)) << row.position;
        EXPECT_EQ(row.available, available) << row.position;
    }
    EXPECT_EQ(CRangeSource::kCannotReach, source->Read(1'100'000, target, &count, gate, kLongMs));
    EXPECT_TRUE(source->CanReach(3'500'000) && source->CanReach(10) && !source->CanReach(1'100'000));
    EXPECT_EQ(1, server->requests);
}

TEST(RangeSourceTest, OneThatEndsSoonHasALength) {
    for (const bool ends : {true, false}) {
        const auto server = std::make_shared<Server>();
        server->hasRanges = false;
        server->isLive = true;
        server->length = ends ? 500'000 : 5'000'000;
        const auto source = SourceOf(server);
        const CReadGate gate;
        ASSERT_EQ(S_OK, source->Open(gate, kLongMs));
        source->AwaitEnd(gate, kLongMs);
        EXPECT_EQ(ends ? std::optional<Position>(500'000) : std::nullopt, source->Facts().length);
        EXPECT_EQ(ends, source->IsAllHere());
    }
}

TEST(RangeSourceTest, AServerOfOneConnectionIsReadOnOne) {
    const auto server = std::make_shared<Server>();
    server->mostServed = 1;
    const auto source = SourceOf(server);
    const CReadGate gate;
    ASSERT_EQ(S_OK, source->Open(gate, kLongMs));
    std::vector<Byte> target(1000);
    std::size_t count = 0;
    for (const Position at : {0u, 7'000'000u, 4'000'000u, 20u, 5'500'000u}) {
        EXPECT_EQ(S_OK, source->Read(at, target, &count, gate, kLongMs)) << at;
        EXPECT_TRUE(IsRight(at, target));
    }
    std::vector<std::jthread> readers;  // two at once
    for (const Position from : {100'000u, 3'000'000u})
        readers.emplace_back([&, from] {
            std::vector<Byte> own(1000);
            for (Position at = from; at < from + 20'000; at += own.size()) {
                std::size_t got = 0;
                EXPECT_EQ(S_OK, source->Read(at, own, &got, gate, kLongMs));
                EXPECT_TRUE(IsRight(at, own));
            }
        });
    readers.clear();
    EXPECT_GE(60, server->requests);
}

// Failures that nobody waits for are no reason to fail those who come later.
TEST(RangeSourceTest, WhatIsWaitedForStaysUntilItIsReadHoweverMuchComesBehindIt) {
    const auto server = std::make_shared<Server>();
    server->hasRanges = false;
    server->piece = 0x80000;
    const auto source = SourceOf(server, 0);  // which takes no more than one piece
    const CReadGate gate;
    ASSERT_EQ(S_OK, source->Open(gate, kLongMs));
    std::vector<Byte> target(0x4000);
    for (const Position at : {Position{0}, 8 * server->piece, 2 * server->piece}) {
        std::size_t count = 0;
        ASSERT_EQ(S_OK, source->Read(at, target, &count, gate, kLongMs)) << at;
        EXPECT_TRUE(IsRight(at, target));
    }
}

TEST(PatienceTest, CountsTriesWhileSomebodyWaits) {
    CPatience patience;
    const auto fail = [&](bool isWaitedFor, std::optional<std::uint64_t> retryAfterMs = {}) {
        return patience.Failed(E_FAIL, CPatience::Kind::MayPass, isWaitedFor, retryAfterMs, 1000).value_or(0);
    };
    EXPECT_FALSE(patience.GiveUp(1000)) << "a slow source hasn't failed";
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(i == 0 ? 100u : 200u, fail(false));
    EXPECT_EQ(400u, (fail(true), fail(true)));
    patience.Succeeded();
    for (const std::uint64_t pause : {100u, 200u, 400u, 800u, 1600u, 0u})
        EXPECT_EQ(pause, fail(true));
    EXPECT_EQ(E_FAIL, patience.Failure(10'999));
    EXPECT_EQ(S_OK, patience.Failure(11'000));
    EXPECT_EQ(100u, fail(true)) << "all tries again";
    EXPECT_EQ(5'000u, fail(true, 5'000));
    EXPECT_EQ(400u, fail(true, 10));
    EXPECT_EQ(30'000u, fail(true, 1'000'000'000));
    EXPECT_TRUE(patience.GiveUp(20'000));
    EXPECT_EQ(E_FAIL, patience.Failure(29'999));
    EXPECT_EQ(std::nullopt, patience.Failed(E_ACCESSDENIED, CPatience::Kind::ForAWhile, false, 20'000, 40'000));
    EXPECT_EQ(E_ACCESSDENIED, patience.Failure(59'999));
    EXPECT_EQ(S_OK, patience.Failure(60'000));
    EXPECT_EQ(std::nullopt, patience.Failed(STG_E_REVERTED, CPatience::Kind::ForGood, false, {}, 40'000));
    EXPECT_EQ(STG_E_REVERTED, patience.Failure(~std::uint64_t{0} - 1));
}

TEST(RangeSourceTest, TheLastToLetGoWaitsForNothingAndNothingStays) {
    const auto server = std::make_shared<Server>();
    server->stalls = true;
    for (DWORD i = 0; i < 50; ++i) {
        const auto source = SourceOf(server);
        const CReadGate gate;
        EXPECT_EQ(E_PENDING, source->Open(gate, i % 3));
    }
    Await([&] { return server->connections == 0; });
}

TEST(RangeSourceTest, GivesRightBytesToManyReadersWhateverBreaks) {
    for (const bool hasRanges : {true, false}) {
        const auto server = std::make_shared<Server>();
        server->hasRanges = hasRanges;
        server->faults = 20;
        if (!hasRanges)
            server->length = 600'000;
        const auto source = SourceOf(server, hasRanges ? 2 << 20 : 1 << 20);
        {
            std::vector<std::jthread> readers;
            for (unsigned seed = 1; seed <= 3; ++seed)
                readers.emplace_back([&, seed] {
                    CReadGate gate;
                    std::mt19937 random(seed);
                    Position at = 0;
                    std::vector<Byte> target(50'000);
                    for (int i = 0; i < 300; ++i) {
                        if (random() % 8 == 0)
                            at = random() % server->length;
                        std::size_t count = 0;
                        const auto wanted = std::span(target).first(random() % target.size());
                        const HRESULT hr = source->Read(at, wanted, &count, gate, random() % 4 ? kLongMs : 1);
                        EXPECT_TRUE(hr == S_OK || hr == S_FALSE || hr == E_PENDING || hr == E_FAIL) << hr;
                        EXPECT_EQ(hr == S_OK, count == wanted.size() || (hr != S_FALSE && false)) << hr;
                        EXPECT_TRUE(hr != S_FALSE || at + count == server->length);
                        EXPECT_TRUE(IsRight(at, std::span(target).first(count)));
                        at += count;
                    }
                });
        }
        EXPECT_GE(hasRanges ? 2 : 1, server->mostOpen);
    }
}

}  // namespace
