// The parts of the run. Each adds its rows and goals to the report, and throws std::runtime_error when something that
// is to be measured fails. The calling thread is in the multithreaded apartment and has not logged.
#pragma once

#include "bench/CBenchFile.h"
#include "bench/CFilterLibrary.h"
#include "bench/CLinkServer.h"
#include "bench/CReport.h"

namespace bench {

// Sequential and random reads of all three contenders, after a check that they read the same bytes; seeks.
void BenchReads(CReport& report, const CFilterLibrary& library, const CBenchFile& file);

// Creating and loading filters, and what memory they take.
void BenchLoads(CReport& report, const CFilterLibrary& library, const CBenchFile& file);

// What the steps of a read cost, each by itself.
void BenchSteps(CReport& report, const CFilterLibrary& library, const CBenchFile& file);

// Sequential reads over http, against bare WinHTTP calls; how many requests reads and seeks cost.
void BenchHttp(CReport& report, const CFilterLibrary& library, const CBenchFile& file);

// Reads of all kinds over the links of a server that another process runs, and what they ask of it.
void BenchLink(CReport& report, const CFilterLibrary& library, CLinkServer& server);

// How much of a slow source must come until the platform's parsers give their first samples.
void BenchFirstSamples(CReport& report, const CFilterLibrary& library, CLinkServer& server);

// How long reads that wait go on after they have been given up.
void BenchAborts(CReport& report, CLinkServer& server);

// Log sites and timing scopes, without a logger and with one. No CFilterLibrary may exist meanwhile: this part loads
// its own, since a DLL decides once for its lifetime which of its sites are timed.
void BenchLogging(CReport& report, const CBenchFile& file);

}  // namespace bench
