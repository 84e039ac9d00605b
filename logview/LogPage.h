// A page that shows a log in a browser: its records with filters, severity over time, the profile as bars, and the
// sessions of processes. It is one file that refers to nothing outside. The frame is LogPage.html, which is compiled
// in; the data stands in it as JSON and is shown as text alone, whatever it says.
//
// Threads: any, while nobody changes what is shown.  Errors: CCommandError, with the file's name; std::bad_alloc.
#pragma once

#include "logview/CHistory.h"
#include "logview/CProfileTable.h"
#include "logview/CSessions.h"

#include <string>

namespace logview {

// Replaces the file only when the page is whole.
void WriteLogPage(const std::wstring& path, const CHistory& history, const CProfileTable& profile,
                  const CSessions& sessions);

}  // namespace logview
