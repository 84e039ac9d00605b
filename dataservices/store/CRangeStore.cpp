#include "dataservices/store/CRangeStore.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace dataservices::store {

namespace {

constexpr std::size_t kLeastPages = 32;
constexpr std::size_t kIndexShare = 8;    // one part in so many may be index
constexpr unsigned kVisitsOfAnIndex = 4;  // with other pages between them

}  // namespace

CRangeStore::CRangeStore(std::size_t limitBytes)
    : m_mostPages(std::max(limitBytes / kPageBytes, kLeastPages)), m_mostIndexPages(m_mostPages / kIndexShare) {
    m_pages.reserve(m_mostPages);
}

void CRangeStore::Put(Position position, std::span<const Byte> bytes) noexcept {
    try {
        while (!bytes.empty()) {
            const std::size_t from = position % kPageBytes;
            const std::size_t count = std::min(bytes.size(), kPageBytes - from), to = from + count;
            Page& page = *Take(position / kPageBytes);
            std::memcpy(page.bytes.get() + from, bytes.data(), count);
            const bool touches = from <= page.to && page.from <= to && page.from < page.to;
            page.from = touches ? std::min(page.from, from) : from;
            page.to = touches ? std::max(page.to, to) : to;
            position += count;
            bytes = bytes.subspan(count);
        }
    } catch (const std::bad_alloc&) {
        // They come again if anybody asks for them.
    }
}

// The page with this number, made or taken from another if need be. It counts as used.
CRangeStore::Page* CRangeStore::Take(Position number) {
    if (const auto found = m_pages.find(number); found != m_pages.end()) {
        MoveTo(found->second->kind, found->second);
        return &*found->second;
    }
    Pages made;
    if (m_pages.size() < m_mostPages) {
        made.emplace_back().bytes.reset(new Byte[kPageBytes]);
    } else {
        const auto oldest = NextToGo();
        m_pages.erase(oldest->number);
        made.splice(made.end(), m_byUse[oldest->kind], oldest);
    }
    Page& page = made.front();
    page.number = number;
    page.from = page.to = 0;
    page.visits = 0;
    // A small store isn't to be filled with the beginning alone.
    const bool isBeginning = number < kBeginning / kPageBytes && m_byUse[Beginning].size() < m_mostPages / 4;
    page.kind = isBeginning ? Beginning : Passing;
    m_pages.emplace(number, made.begin());
    Pages& list = m_byUse[page.kind];
    list.splice(list.end(), made);
    return &page;
}

// There is one: the store is full.
CRangeStore::Pages::iterator CRangeStore::NextToGo() noexcept {
    Pages& passing = m_byUse[Passing];
    for (std::size_t left = passing.size(); left > 0; --left) {
        if (!IsExpected(passing.front()))
            return passing.begin();
        MoveTo(Passing, passing.begin());  // it isn't looked at again for a while
    }
    return std::find_if(m_byUse.begin(), m_byUse.end(), [](const Pages& each) { return !each.empty(); })->begin();
}

bool CRangeStore::IsExpected(const Page& page) const noexcept {
    const Position begin = page.number * kPageBytes;
    const auto isIn = [&](const Range& each) { return each.begin < begin + kPageBytes && begin < each.end; };
    return std::ranges::any_of(m_expected, isIn) || std::ranges::any_of(m_needed, isIn);
}

void CRangeStore::MoveTo(Kind kind, Pages::iterator page) noexcept {
    Pages& list = m_byUse[kind];
    list.splice(list.end(), m_byUse[page->kind], page);
    page->kind = kind;
}

void CRangeStore::Use(Pages::iterator page) noexcept {
    if (std::exchange(m_lastUsed, page->number) != page->number)
        ++page->visits;
    const bool isIndex = page->kind == Passing && page->visits >= kVisitsOfAnIndex;
    MoveTo(isIndex ? Index : page->kind, page);
    if (Pages& index = m_byUse[Index]; index.size() > m_mostIndexPages) {
        index.front().visits = 0;
        MoveTo(Passing, index.begin());
    }
}

std::size_t CRangeStore::CopyTo(Position position, std::span<Byte> target) noexcept {
    std::size_t copied = 0;
    while (copied < target.size()) {
        const std::size_t from = position % kPageBytes;
        const auto found = m_pages.find(position / kPageBytes);
        if (found == m_pages.end() || from < found->second->from || from >= found->second->to)
            break;
        const std::size_t count = std::min(target.size() - copied, found->second->to - from);
        std::memcpy(target.data() + copied, found->second->bytes.get() + from, count);
        Use(found->second);
        copied += count;
        position += count;
    }
    return copied;
}

Position CRangeStore::EndFrom(Position position, Position atMost) const noexcept {
    const Position enough = position + std::min(atMost, ~Position{0} - position);
    while (position < enough) {
        const std::size_t from = position % kPageBytes;
        const auto found = m_pages.find(position / kPageBytes);
        if (found == m_pages.end() || from < found->second->from || from >= found->second->to)
            return position;
        position += found->second->to - from;
        if (found->second->to < kPageBytes)
            return position;
    }
    return position;
}

Position CRangeStore::NextFrom(Position position) const noexcept {
    if (EndFrom(position, 1) > position)
        return position;
    Position next = ~Position{0};
    for (const auto& [number, page] : m_pages) {
        const Position begin = number * kPageBytes + page->from;
        if (begin >= position && page->from < page->to)
            next = std::min(next, begin);
    }
    return next;
}

std::vector<Range> CRangeStore::Ranges() const {
    std::vector<Range> ranges;
    ranges.reserve(m_pages.size());
    for (const auto& [number, page] : m_pages)
        ranges.push_back({number * kPageBytes + page->from, number * kPageBytes + page->to});
    std::ranges::sort(ranges, {}, &Range::begin);
    std::vector<Range> joined;
    for (const Range& range : ranges) {
        if (!joined.empty() && joined.back().end == range.begin)
            joined.back().end = range.end;
        else
            joined.push_back(range);
    }
    return joined;
}

void CRangeStore::Clear() noexcept {
    m_pages.clear();
    for (Pages& list : m_byUse)
        list.clear();
}

}  // namespace dataservices::store
