// Reads what was logged, from any of: the folder of a recording, one part of it, a log file of the product. Several are
// merged by time, each keeping its own order. Whatever is damaged in a file is read as far as it goes.
//
//   CRecordingReader reader({L"C:\\Logs\\recording", L"C:\\Logs\\source.log"});
//   for (Arrival arrival; reader.Next(arrival);) table.Take(arrival);
//
// Memory: a few lines of each.  Threads: one.  Errors: CCommandError where there is nothing to read, or it can't be
// read; std::bad_alloc.
#pragma once

#include "logview/RecordingFiles.h"

#include <memory>
#include <string>
#include <vector>

namespace logview {

// Something that gives arrivals, one after the other.
class IArrivals {
public:
    virtual ~IArrivals() = default;
    // False: there are no more.
    [[nodiscard]] virtual bool Next(Arrival& arrival) = 0;
};

class CRecordingReader final : public IArrivals {
public:
    explicit CRecordingReader(const std::vector<std::wstring>& paths);

    // An arrival without a time comes right behind the one before it of its file; a file without any comes first, as a
    // whole.
    [[nodiscard]] bool Next(Arrival& arrival) override;

    // The processes that had ended when the last arrival came, each of them once; when there are no more arrivals, all
    // that are left. Only the folders of recordings know them.
    [[nodiscard]] std::vector<ProcessEnd> TakeEnds();

    // What a person should know about the files, one sentence each: which have no times.
    [[nodiscard]] const std::vector<std::wstring>& Notes() const noexcept { return m_notes; }

private:
    std::unique_ptr<IArrivals> m_arrivals;
    std::vector<ProcessEnd> m_ends;  // the next one is the last
    ULONGLONG m_time = 0;            // up to which arrivals were given
    std::vector<std::wstring> m_notes;
};

}  // namespace logview
