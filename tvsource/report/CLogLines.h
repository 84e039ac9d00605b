// The log of this program's components, as lines on standard error while a command runs (--log): a logging service of
// the program's own, published for as long as the object lives. A thread decides at its first record where it logs, so
// the object comes before all that may log.
//
// Where a service is published already, the records go to that one, or, if its interfaces can't be had here, nowhere;
// standard error says so in one line. Programs that share the session may find this service too; what they log is shown
// with the name of their process.
//
// Threads: one in the multithreaded apartment; CatchUp any. The lines are written by a thread of their own; nobody who
// logs waits for that.  Lifetime: one object at a time.
#pragma once

#include "base/CSlimLock.h"
#include "logview/CLogSink.h"
#include "logview/CRecordFilter.h"

#include <objidl.h>
#include <wrl/client.h>

#include <memory>

namespace tvsource {

class CLogLines final {
public:
    // Throws CCommandError: the service can't be published.
    explicit CLogLines(logview::CRecordFilter filter);
    CLogLines(const CLogLines&) = delete;
    CLogLines& operator=(const CLogLines&) = delete;

    // Takes the service back, and waits until all that was logged is written: two seconds at most.
    ~CLogLines();

    // Waits until all that has been logged by now is written: half a second at most, and once only where nobody reads
    // it. Nothing without an object.
    static void CatchUp() noexcept;

private:
    class CWriter;

    // False: another service has the records.
    [[nodiscard]] bool Publish(const std::shared_ptr<logview::CRecordQueue>& queue);

    static base::CSlimLock g_lock;  // guards the next, also while its user waits
    static CWriter* g_current;

    Microsoft::WRL::ComPtr<IRunningObjectTable> m_table;
    Microsoft::WRL::ComPtr<logview::CLogSink> m_sink;  // the table's entry doesn't keep it
    DWORD m_entry = 0;
    std::unique_ptr<CWriter> m_writer;
};

}  // namespace tvsource
