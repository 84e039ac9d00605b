// What has been reported about timing sites: a row a site, with the newest figures. They add up since the process
// began, so a report takes the place of the one before.
//
// A site whose text isn't empty ("Syncread seeking") times a step of its function; it is an inner site when the same
// function and file of that process also have a site without text, the outer one. Figures of outer sites contain those
// of the inner ones, and the cost of reporting these.
//
// Units: durations in seconds.  Threads: one.  Errors: std::bad_alloc.
#pragma once

#include "logview/Records.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace logview {

struct ProfileRow {
    ULONG processId = 0;
    std::wstring process, category, file;
    LONG line = 0;
    std::wstring function, text;
    ULONGLONG count = 0;
    std::optional<double> callsASecond;  // between the first and the last report; none: there is one only, or no time
    double mean = 0, longest = 0, total = 0;
    double share = 0;  // of the total of all sites that aren't inner, 0 to 1; that of an inner site is of the same sum
    bool isInner = false;
};

enum class ProfileColumn { Process, Category, File, Function, Text, Count, CallsASecond, Mean, Longest, Total, Share };

class CProfileTable final {
public:
    // Beyond either limit, the site that was longest without a report makes room for a new one.
    static constexpr std::size_t kMostSites = 10'000;
    static constexpr std::size_t kMostBytes = 32 << 20;  // of texts

    // Takes a ProfileRecord; other records are ignored. Figures that are no numbers, or below zero, count as 0.
    void Take(const Arrival& arrival);

    // The rows, sorted: inner sites follow their outer one, each kind sorted among itself. Rows that have no value in
    // the column come last, either way; those with equal values are in the order of process, file and line.
    [[nodiscard]] std::vector<ProfileRow> Rows(ProfileColumn column = ProfileColumn::Total,
                                               bool isDescending = true) const;

    // How often a site had to go; one that is reported again comes back, with a row of its own.
    [[nodiscard]] ULONGLONG LeftOut() const noexcept { return m_leftOut; }

    // Changes with every report: whether there is something new to write.
    [[nodiscard]] ULONGLONG Reports() const noexcept { return m_reports; }

private:
    // Process id and name, file, line, function, text, category.
    using Key = std::tuple<ULONG, std::wstring, std::wstring, LONG, std::wstring, std::wstring, std::wstring>;
    struct Site {
        ULONGLONG firstTime = 0, firstCount = 0, lastTime = 0, count = 0;
        double longest = 0, total = 0;
        ULONGLONG lastReport = 0;  // its key in m_byAge
        std::size_t bytes = 0;
    };
    using Sites = std::map<Key, Site>;

    [[nodiscard]] Site& Insert(Key&& key, Site site);
    void RemoveOldest() noexcept;

    Sites m_sites;
    std::map<ULONGLONG, Sites::iterator> m_byAge;  // by the number of their last report
    std::size_t m_bytes = 0;
    ULONGLONG m_leftOut = 0, m_reports = 0;
};

}  // namespace logview
