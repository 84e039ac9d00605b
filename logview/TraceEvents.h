// A log as trace events (the JSON object format), for viewers that show a timeline.
//
//   instants ("i")   one a record, on the line of its thread, named by its message; its arguments have all of it
//   counters ("C")   records of each severity that a process has written, every 10 ms at most
//                    calls, total and longest duration of each timing site, at each report
//   spans ("X")      only what a record gives a duration for: an activity that hung
//   metadata ("M")   names of processes and threads
//
// Times are microseconds since 1970, UTC. A record whose time isn't known stands one microsecond behind the one before
// it.
//
// Threads: any, while nobody changes what is written.  Errors: CCommandError, with the file's name; std::bad_alloc.
#pragma once

#include "logview/CHistory.h"

#include <string>

namespace logview {

// Replaces the file only when the new one is whole.
void WriteTraceEvents(const std::wstring& path, const CHistory& history);

}  // namespace logview
