#include "logview/CProfileTable.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace logview {

namespace {

double Sane(double seconds) noexcept {
    return std::isfinite(seconds) && seconds > 0 ? seconds : 0;
}

// -1, 0, 1: `one` stands before, with, behind `other`, ascending.
template <class Value>
int Compare(const Value& one, const Value& other) noexcept {
    return (other < one) - (one < other);
}

int CompareBy(ProfileColumn column, const ProfileRow& one, const ProfileRow& other) noexcept {
    switch (column) {
        case ProfileColumn::Process:
            return Compare(std::tie(one.process, one.processId), std::tie(other.process, other.processId));
        case ProfileColumn::Category:
            return Compare(one.category, other.category);
        case ProfileColumn::File:
            return Compare(std::tie(one.file, one.line), std::tie(other.file, other.line));
        case ProfileColumn::Function:
            return Compare(one.function, other.function);
        case ProfileColumn::Text:
            return Compare(one.text, other.text);
        case ProfileColumn::Count:
            return Compare(one.count, other.count);
        case ProfileColumn::CallsASecond:
            return Compare(one.callsASecond.value_or(0), other.callsASecond.value_or(0));
        case ProfileColumn::Mean:
            return Compare(one.mean, other.mean);
        case ProfileColumn::Longest:
            return Compare(one.longest, other.longest);
        case ProfileColumn::Total:
        case ProfileColumn::Share:
            return Compare(one.total, other.total);
    }
    return 0;
}

bool IsInSameFunction(const ProfileRow& one, const ProfileRow& other) {
    return one.processId == other.processId && one.process == other.process && one.file == other.file &&
           one.function == other.function;
}

// The place of the outer site of each row among `rows`; that of the row itself where it is none's inner one. Rows of
// one process, file and function needn't be neighbours. Where a function has several sites without text, the last one
// before the row counts, as it stands around it.
std::vector<std::size_t> OuterSites(const std::vector<ProfileRow>& rows) {
    const auto keyOf = [](const ProfileRow& row) {
        return std::tie(row.processId, row.process, row.file, row.function, row.line);
    };
    std::map<decltype(keyOf(rows[0])), std::size_t> outers;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].text.empty())
            outers.emplace(keyOf(rows[i]), i);
    }
    std::vector<std::size_t> found(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        found[i] = i;
        if (rows[i].text.empty())
            continue;
        const auto behind = outers.upper_bound(keyOf(rows[i]));
        if (behind != outers.begin() && IsInSameFunction(rows[std::prev(behind)->second], rows[i]))
            found[i] = std::prev(behind)->second;
        else if (behind != outers.end() && IsInSameFunction(rows[behind->second], rows[i]))
            found[i] = behind->second;
    }
    return found;
}

void SetShares(std::vector<ProfileRow>& rows) {
    double sum = 0;
    for (const ProfileRow& row : rows)
        sum += row.isInner ? 0 : row.total;
    for (ProfileRow& row : rows)
        row.share = sum > 0 && std::isfinite(sum) ? row.total / sum : 0;
}

}  // namespace

void CProfileTable::Take(const Arrival& arrival) {
    const auto* const report = std::get_if<ProfileRecord>(&arrival.record);
    if (!report)
        return;
    Key key(report->processId, arrival.process, report->file, report->line, report->function, report->message,
            report->category);
    const auto found = m_sites.find(key);
    Site& site = found == m_sites.end() ? Insert(std::move(key), {.firstTime = arrival.time,
                                                                  .firstCount = report->count,
                                                                  .lastReport = m_reports + 1,
                                                                  .bytes = SizeOf(arrival)})
                                        : found->second;
    auto age = m_byAge.extract(site.lastReport);
    age.key() = site.lastReport = ++m_reports;
    m_byAge.insert(std::move(age));
    if (report->count < site.count) {  // a process of that name has got the number of one that has ended
        site.firstTime = arrival.time;
        site.firstCount = report->count;
    }
    site.lastTime = arrival.time;
    site.count = report->count;
    site.longest = Sane(report->maximumDuration);
    site.total = Sane(report->totalDuration);
}

CProfileTable::Site& CProfileTable::Insert(Key&& key, Site site) {
    const auto made = m_sites.emplace(std::move(key), site).first;
    try {
        m_byAge.emplace(site.lastReport, made);
    } catch (...) {
        m_sites.erase(made);
        throw;
    }
    m_bytes += site.bytes;
    while (m_sites.size() > 1 && (m_sites.size() > kMostSites || m_bytes > kMostBytes))
        RemoveOldest();
    return made->second;
}

void CProfileTable::RemoveOldest() noexcept {
    const auto oldest = m_byAge.begin()->second;
    m_byAge.erase(m_byAge.begin());
    m_bytes -= oldest->second.bytes;
    m_sites.erase(oldest);
    ++m_leftOut;
}

std::vector<ProfileRow> CProfileTable::Rows(ProfileColumn column, bool isDescending) const {
    std::vector<ProfileRow> rows;
    rows.reserve(m_sites.size());
    for (const auto& [key, site] : m_sites) {
        ProfileRow row;
        std::tie(row.processId, row.process, row.file, row.line, row.function, row.text, row.category) = key;
        row.count = site.count;
        row.longest = site.longest;
        row.total = site.total;
        row.mean = site.count > 0 ? site.total / static_cast<double>(site.count) : 0;
        if (site.firstTime != 0 && site.lastTime > site.firstTime)
            row.callsASecond = static_cast<double>(site.count - site.firstCount) * 1e7 /
                               static_cast<double>(site.lastTime - site.firstTime);
        rows.push_back(std::move(row));
    }
    const std::vector<std::size_t> outers = OuterSites(rows);
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i].isInner = outers[i] != i;
    SetShares(rows);

    const auto isBefore = [&](std::size_t one, std::size_t other) {
        if (column == ProfileColumn::CallsASecond && (!rows[one].callsASecond || !rows[other].callsASecond))
            return rows[one].callsASecond.has_value() && !rows[other].callsASecond;
        const int order = CompareBy(column, rows[one], rows[other]);
        return isDescending ? order > 0 : order < 0;
    };
    std::vector<std::size_t> sorted;
    std::vector<std::vector<std::size_t>> inners(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i)
        (rows[i].isInner ? inners[outers[i]] : sorted).push_back(i);
    std::stable_sort(sorted.begin(), sorted.end(), isBefore);
    std::vector<ProfileRow> result;
    result.reserve(rows.size());
    for (const std::size_t outer : sorted) {
        result.push_back(rows[outer]);
        std::stable_sort(inners[outer].begin(), inners[outer].end(), isBefore);
        for (const std::size_t inner : inners[outer])
            result.push_back(rows[inner]);
    }
    return result;
}

}  // namespace logview
