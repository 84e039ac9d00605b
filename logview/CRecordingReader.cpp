#include "logview/CRecordingReader.h"

#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/Text.h"
#include "logview/CLineReader.h"
#include "logview/CSessions.h"
#include "logview/LogLines.h"
#include "logview/RecordingFiles.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace logview {

namespace {

DWORD AttributesOf(const std::wstring& path) noexcept {
    return ::GetFileAttributesW(base::OpenablePath(base::FullPathOf(path)).c_str());
}

bool IsThere(const std::wstring& path) {
    return AttributesOf(path) != INVALID_FILE_ATTRIBUTES;
}

// The lines of a log file, with their times where these are known.
class CLogArrivals final : public IArrivals {
public:
    CLogArrivals(const std::wstring& log, const std::wstring& times) : m_log(log) {
        if (IsThere(times))
            m_times.emplace(times);
    }

    bool Next(Arrival& arrival) override {
        bool continues = false;
        if (!m_log.Next(m_line, continues))
            return false;
        if (!continues)
            m_context = TakeTimes();
        arrival = m_context;
        arrival.record = ParseLogLine(m_line);
        return true;
    }

private:
    Arrival TakeTimes() {
        Arrival known;
        bool continues = true;
        std::string line;
        while (continues && m_times && m_times->Next(line, continues)) {
        }
        if (!continues)
            ParseTimesLine(line, known);
        return known;
    }

    CLineReader m_log;
    std::optional<CLineReader> m_times;
    std::string m_line;
    Arrival m_context;  // time and process of the line
};

class CProfileArrivals final : public IArrivals {
public:
    explicit CProfileArrivals(const std::wstring& path) : m_lines(path) {}

    bool Next(Arrival& arrival) override {
        std::string line;
        for (bool continues = false; m_lines.Next(line, continues);) {
            if (std::optional<Arrival> read = ParseProfileLine(line)) {
                arrival = std::move(*read);
                return true;
            }
        }
        return false;
    }

private:
    CLineReader m_lines;
};

class CMergedArrivals final : public IArrivals {
public:
    void Add(std::unique_ptr<IArrivals> arrivals) {
        Input input{std::move(arrivals), {}, 0, true};
        Advance(input);
        m_inputs.push_back(std::move(input));
    }

    bool Next(Arrival& arrival) override {
        Input* first = nullptr;
        for (Input& input : m_inputs) {
            if (input.hasNext && (!first || input.time < first->time))
                first = &input;
        }
        if (!first)
            return false;
        arrival = std::move(first->next);
        Advance(*first);
        return true;
    }

private:
    struct Input {
        std::unique_ptr<IArrivals> arrivals;
        Arrival next;
        ULONGLONG time;  // the place of `next`: not before those that it came behind
        bool hasNext;
    };

    static void Advance(Input& input) {
        input.hasNext = input.arrivals->Next(input.next);
        if (input.hasNext)
            input.time = std::max(input.time, input.next.time);
    }

    std::vector<Input> m_inputs;
};

// One part of a recording, or a log file alone; `stem`: its path without what tells the kind of file.
std::unique_ptr<IArrivals> PartArrivals(const std::wstring& stem, const std::wstring& log) {
    auto merged = std::make_unique<CMergedArrivals>();
    if (IsThere(log) || !IsThere(stem + kProfilesSuffix))
        merged->Add(std::make_unique<CLogArrivals>(log, stem + kTimesSuffix));
    if (IsThere(stem + kProfilesSuffix))
        merged->Add(std::make_unique<CProfileArrivals>(stem + kProfilesSuffix));
    return merged;
}

// The parts of a folder, one after the other.
class CFolderArrivals final : public IArrivals {
public:
    CFolderArrivals(std::wstring folder, std::vector<ULONG> parts)
        : m_folder(std::move(folder)), m_parts(std::move(parts)) {}

    bool Next(Arrival& arrival) override {
        for (;;) {
            if (m_part && m_part->Next(arrival))
                return true;
            if (m_next == m_parts.size())
                return false;
            const std::wstring stem = m_folder + L"\\" + PartName(m_parts[m_next++]);
            m_part.reset();
            // It may have been removed since, to make room for a newer one.
            if (IsThere(stem + kLogSuffix) || IsThere(stem + kProfilesSuffix))
                m_part = PartArrivals(stem, stem + kLogSuffix);
        }
    }

private:
    const std::wstring m_folder;
    const std::vector<ULONG> m_parts;
    std::size_t m_next = 0;
    std::unique_ptr<IArrivals> m_part;
};

struct Opened {
    std::unique_ptr<IArrivals> arrivals;
    bool hasTimes;
    std::vector<ProcessEnd> ends;
};

std::vector<ProcessEnd> ReadEnds(const std::wstring& table) {
    std::vector<ProcessEnd> ends;
    if (!IsThere(table))
        return ends;
    CLineReader reader(table);
    std::string line;
    for (bool continues = false; reader.Next(line, continues) && ends.size() < CSessions::kMostSessions;) {
        if (const std::optional<ProcessEnd> end = ParseSessionEnd(line))
            ends.push_back(*end);
    }
    return ends;
}

Opened OpenFolder(const std::wstring& folder) {
    std::vector<ULONG> parts = PartNumbers(folder);
    if (parts.empty())
        throw console::CCommandError(L"There is no recording in " + console::Printable(folder));
    const bool hasTimes = std::all_of(parts.begin(), parts.end(), [&](ULONG part) {
        const std::wstring stem = folder + L"\\" + PartName(part);
        return IsThere(stem + kTimesSuffix) || !IsThere(stem + kLogSuffix);
    });
    return {std::make_unique<CFolderArrivals>(folder, std::move(parts)), hasTimes,
            ReadEnds(folder + L"\\" + kSessionsTable)};
}

Opened Open(const std::wstring& path) {
    const DWORD attributes = AttributesOf(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return OpenFolder(path);
    const std::size_t name = path.find_last_of(L"\\/"), dot = path.rfind(L'.');
    const std::wstring stem = dot != path.npos && (name == path.npos || dot > name) ? path.substr(0, dot) : path;
    // What stands beside a log isn't one.
    const bool isBeside = path == stem + kTimesSuffix || path == stem + kProfilesSuffix;
    return {PartArrivals(stem, isBeside ? stem + kLogSuffix : path), IsThere(stem + kTimesSuffix), {}};
}

}  // namespace

CRecordingReader::CRecordingReader(const std::vector<std::wstring>& paths) {
    auto merged = std::make_unique<CMergedArrivals>();
    for (const std::wstring& path : paths) {
        Opened opened = Open(path);
        if (!opened.hasTimes)
            m_notes.push_back(console::Printable(path) + L" doesn't tell when its records came" +
                              (paths.size() > 1 ? L"; they stand before all others, in their own order" : L""));
        merged->Add(std::move(opened.arrivals));
        m_ends.insert(m_ends.end(), opened.ends.begin(), opened.ends.end());
    }
    std::stable_sort(m_ends.begin(), m_ends.end(), [](auto& one, auto& other) { return one.time > other.time; });
    m_arrivals = std::move(merged);
}

bool CRecordingReader::Next(Arrival& arrival) {
    if (!m_arrivals->Next(arrival)) {
        m_time = std::numeric_limits<ULONGLONG>::max();
        return false;
    }
    m_time = std::max(m_time, arrival.time);
    return true;
}

std::vector<ProcessEnd> CRecordingReader::TakeEnds() {
    std::vector<ProcessEnd> ends;
    for (; !m_ends.empty() && m_ends.back().time < m_time; m_ends.pop_back())
        ends.push_back(m_ends.back());
    return ends;
}

}  // namespace logview
