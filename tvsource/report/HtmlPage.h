// The page of batch: a table of the sources to sort and to filter, in one file that refers to nothing outside. The
// frame is BatchPage.html, a resource of the program; the rows are made here, one at a time.
//
//   file.Write(PageBegin());
//   for (...) file.Write(PageRow(report));
//   file.Write(PageEnd());
//
// Errors: std::bad_alloc.
#pragma once

#include "tvsource/report/BatchReport.h"

#include <string>
#include <string_view>

namespace tvsource {

[[nodiscard]] std::string_view PageBegin();
[[nodiscard]] std::string PageRow(const SourceReport& report);
[[nodiscard]] std::string_view PageEnd();

}  // namespace tvsource
