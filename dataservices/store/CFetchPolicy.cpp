#include "dataservices/store/CFetchPolicy.h"

#include <algorithm>

namespace dataservices::store {

namespace {

constexpr std::uint64_t kLeastMeasuredMs = 50;
constexpr std::uint64_t kShortMs = 50;  // over a link on which this is little, less than kNear is near
constexpr std::size_t kMostReaders = 4;
constexpr std::uint64_t kReaderLifeMs = 10'000;

}  // namespace

void CFetchPolicy::MeasuredRate::Add(std::uint64_t bytes, std::uint64_t ms) noexcept {
    pendingBytes += bytes;
    pendingMs += ms;
    if (pendingMs < kLeastMeasuredMs)
        return;
    const std::uint64_t now = pendingBytes * 1000 / pendingMs;
    perSecond = perSecond == 0 ? now : (3 * perSecond + now) / 4;
    pendingBytes = pendingMs = 0;
}

CFetchPolicy::CFetchPolicy(Position mostAhead) : m_mostAhead(mostAhead) {
    m_readers.reserve(kMostReaders);
    m_expected.reserve(kMostReaders);
}

CFetchPolicy::Job CFetchPolicy::Next(Lane lane, const CRangeStore& store, std::span<const Position> wanted,
                                     const Source& source) noexcept {
    return lane == PlayLane ? NextPlay(store, wanted, source) : NextDetour(store, wanted, source);
}

CFetchPolicy::Job CFetchPolicy::NextPlay(const CRangeStore& store, std::span<const Position> wanted,
                                         const Source& source) noexcept {
    const std::optional<Answer>& play = m_answers[PlayLane];
    const std::optional<Position> unserved = Unserved(wanted, source);
    if (!play) {
        if (unserved)
            return {Job::Kind::Open, source.hasRanges ? *unserved : 0, {}};
        // Readers that come near to the end of what is here.
        const std::optional<Position> frontier = source.hasRanges ? Frontier(store) : std::nullopt;
        if (!frontier || (source.length && *frontier >= *source.length))
            return {};
        return {Job::Kind::Open, *frontier, {}};
    }
    const bool isWanted = std::ranges::any_of(wanted, [&](Position each) { return Brings(PlayLane, each, source); });
    if (unserved && (!source.hasRanges || (source.oneConnection && !isWanted) || BecomesPlay(*unserved)))
        return {Job::Kind::Open, source.hasRanges ? *unserved : 0, {}};
    if (isWanted) {
        m_isResting = false;
        return {Job::Kind::Read};
    }
    // What is here already isn't received once more.
    if (source.hasRanges && store.EndFrom(play->at, Reach() + 1) - play->at > Reach())
        return {Job::Kind::Close};
    // Who waits elsewhere has the link to himself.
    if (!wanted.empty() && m_answers[DetourLane])
        return {};
    // A live source that isn't received loses its connection in the end.
    const Position ahead = Ahead(), high = source.length || source.hasRanges ? HighWater() : m_mostAhead;
    m_isResting = ahead >= high || (m_isResting && ahead > high / 2);
    return m_isResting ? Job{} : Job{Job::Kind::Read};
}

CFetchPolicy::Job CFetchPolicy::NextDetour(const CRangeStore& store, std::span<const Position> wanted,
                                           const Source& source) const noexcept {
    const std::optional<Answer>& detour = m_answers[DetourLane];
    // It gives more than it was asked for.
    if (detour && (!source.hasRanges || detour->at >= *detour->end))
        return {Job::Kind::Close};
    const bool isWanted =
        detour && std::ranges::any_of(wanted, [&](Position each) { return Brings(DetourLane, each, source); });
    const bool mayAsk = source.hasRanges && !source.oneConnection && m_answers[PlayLane] && !isWanted &&
                        (!detour || *detour->end - detour->at >= Reach());
    if (mayAsk) {
        const std::optional<Position> unserved = Unserved(wanted, source);
        if (unserved && !BecomesPlay(*unserved))
            return {Job::Kind::Open, *unserved, EndOfDetour(*unserved, store, source)};
    }
    return detour ? Job{Job::Kind::Read} : Job{};
}

Position CFetchPolicy::EndOfDetour(Position at, const CRangeStore& store, const Source& source) const noexcept {
    const Position most = GoesOn(at) ? std::clamp(2 * m_detour.Length(), kLeastDetour, kLongDetour) : kLeastDetour;
    const Position end = std::min(at + most, store.NextFrom(at));
    return source.length ? std::min(end, *source.length) : end;
}

// Whether the open answer of the lane comes to `wanted` soon.
bool CFetchPolicy::Brings(Lane lane, Position wanted, const Source& source) const noexcept {
    const std::optional<Answer>& answer = m_answers[lane];
    if (!answer || wanted < answer->at || (answer->end && wanted >= *answer->end))
        return false;
    return answer->end || !source.hasRanges || wanted - answer->at <= Reach();
}

std::optional<Position> CFetchPolicy::Unserved(std::span<const Position> wanted, const Source& source) const noexcept {
    const auto found = std::ranges::find_if(
        wanted, [&](Position each) { return !Brings(PlayLane, each, source) && !Brings(DetourLane, each, source); });
    return found == wanted.end() ? std::nullopt : std::optional(*found);
}

// Whether the detour that goes on at `at` is a long one, and nobody has read where the play answer is since it began.
bool CFetchPolicy::BecomesPlay(Position at) const noexcept {
    const std::optional<Answer>& play = m_answers[PlayLane];
    return m_detour.Length() >= kLongDetour / 2 && GoesOn(at) &&
           std::ranges::none_of(m_readers, [&](const Reader& each) {
               return play && each.at <= play->at && play->at - each.at <= m_mostAhead && each.lastMs > m_detourMs;
           });
}

bool CFetchPolicy::GoesOn(Position at) const noexcept {
    return m_detour.Length() > 0 && at >= m_detour.begin && at <= m_detour.end + kNear;
}

// So much comes on an open answer in the time that a new one takes.
Position CFetchPolicy::Reach() const noexcept {
    const std::uint64_t perSecond = m_rate.perSecond;
    const Position shortWay =
        perSecond == 0 ? kNear : std::clamp<Position>(perSecond * kShortMs / 1000, CRangeStore::kPageBytes, kNear);
    return std::max(shortWay, perSecond * m_roundTripMs / 1000);
}

std::span<const Range> CFetchPolicy::Expected() noexcept {
    m_expected.clear();
    for (const Reader& reader : m_readers) {
        if (m_nowMs - reader.lastMs <= kReaderLifeMs)
            m_expected.push_back({reader.at, reader.at + m_mostAhead});
    }
    return m_expected;
}

Position CFetchPolicy::HighWater() const noexcept {
    std::uint64_t perSecond = 0;
    for (const Reader& reader : m_readers)
        perSecond += m_nowMs - reader.lastMs <= kReaderLifeMs ? reader.rate.perSecond : 0;
    const Position begun = kLeastDetour + kAheadOfRead * m_read;
    return std::min({std::max(kLeastAhead, perSecond * kAheadMs / 1000), begun, m_mostAhead});
}

Position CFetchPolicy::Ahead() const noexcept {
    const std::optional<Answer>& play = m_answers[PlayLane];
    Position furthest = 0;
    std::uint64_t lastMs = 0;
    for (const Reader& reader : m_readers) {
        if (!play || reader.at > play->at)
            continue;
        // One who has long stopped counts only if nobody reads.
        const bool isFresh = m_nowMs - reader.lastMs <= kReaderLifeMs;
        const bool wasFresh = m_nowMs - lastMs <= kReaderLifeMs;
        if (isFresh == wasFresh ? reader.at > furthest : isFresh)
            furthest = reader.at;
        lastMs = std::max(lastMs, reader.lastMs);
    }
    return play ? play->at - furthest : 0;
}

// Where the play answer would go on for readers that have less than half of the high water before them.
std::optional<Position> CFetchPolicy::Frontier(const CRangeStore& store) const noexcept {
    if (m_readers.empty())
        return std::nullopt;
    const Reader& last = *std::ranges::max_element(m_readers, {}, &Reader::lastMs);
    Position end = store.EndFrom(last.at, HighWater());
    if (const auto& detour = m_answers[DetourLane]; detour && detour->at <= end && end < *detour->end)
        end = store.EndFrom(*detour->end);  // so far it comes anyway
    return end - last.at < HighWater() / 2 ? std::optional(end) : std::nullopt;
}

void CFetchPolicy::Asked(Lane lane, Position at, std::optional<Position> end) noexcept {
    m_answers[lane] = Answer{at, end};
    m_isResting = m_isResting && lane != PlayLane;
    if (lane == PlayLane || !end)
        return;
    if (!GoesOn(at)) {
        m_detour.begin = at;
        m_detourMs = m_nowMs;
    }
    m_detour.end = *end;
}

void CFetchPolicy::Answered(Lane lane, Position at, std::uint64_t roundTripMs) noexcept {
    if (m_answers[lane])
        m_answers[lane]->at = at;
    m_roundTripMs = m_roundTripMs == 0 ? roundTripMs : (3 * m_roundTripMs + roundTripMs) / 4;
}

void CFetchPolicy::Received(Lane lane, std::size_t bytes, std::uint64_t elapsedMs) noexcept {
    if (m_answers[lane])
        m_answers[lane]->at += bytes;
    m_rate.Add(bytes, elapsedMs);
}

void CFetchPolicy::Ended(Lane lane) noexcept {
    m_answers[lane].reset();
}

void CFetchPolicy::WasRead(const Range& range, std::uint64_t nowMs) noexcept {
    m_nowMs = nowMs;
    m_read += range.Length();
    const auto reader = std::ranges::find_if(m_readers, [&](const Reader& each) {
        return range.begin <= each.at + kNear && each.at <= range.begin + kNear;
    });
    if (reader != m_readers.end()) {
        reader->rate.Add(range.Length(), nowMs - reader->lastMs);
        reader->at = range.end;
        reader->lastMs = nowMs;
    } else if (m_readers.size() < kMostReaders) {
        m_readers.push_back({range.end, nowMs, {}});  // there is room
    } else {
        *std::ranges::min_element(m_readers, {}, &Reader::lastMs) = {range.end, nowMs, {}};
    }
}

}  // namespace dataservices::store
