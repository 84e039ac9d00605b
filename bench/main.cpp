// The benchmark program: prints tables and the goals.
//
//   tvbench                    files, and a server of its own
//   tvbench --link URL FILE    the server of linkserver.py at URL; FILE has rows of other readers, see
//   CReport::BeginWorks
//
// Exit codes: 0 every goal was reached; 1 one was missed; 2 the run broke off.
#include "base/CApartment.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CDataServices.h"

#include <cstdio>
#include <cwchar>
#include <exception>
#include <stdexcept>

using namespace bench;

namespace {

void BenchFiles(CReport& report) {
    const CBenchFile file;
    {
        const CFilterLibrary library;
        report.BeginContenders();
        BenchReads(report, library, file);
        BenchLoads(report, library, file);
        BenchSteps(report, library, file);
        BenchHttp(report, library, file);
    }
    BenchLogging(report, file);
}

void BenchLinks(CReport& report, const wchar_t* url, const wchar_t* others) {
    const CDataServices services;
    const CFilterLibrary library;
    CLinkServer server(url);
    report.BeginWorks(others);
    BenchLink(report, library, server);
    BenchFirstSamples(report, library, server);
    BenchAborts(report, server);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        const base::CApartment apartment(COINIT_MULTITHREADED);
        Check(apartment.Result(), "CoInitializeEx");
        CReport report;
        if (count == 1)
            BenchFiles(report);
        else if (count == 4 && std::wcscmp(arguments[1], L"--link") == 0)
            BenchLinks(report, arguments[2], arguments[3]);
        else
            throw std::invalid_argument("usage: tvbench [--link URL FILE]");
        return report.PrintGoals() ? 0 : 1;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "tvbench: %s\n", exception.what());
        return 2;
    }
}
