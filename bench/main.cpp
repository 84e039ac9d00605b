// The benchmark program: no arguments; prints a table and the goals.
//
// Exit codes: 0 every goal was reached; 1 one was missed; 2 the run broke off.
#include "base/CApartment.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"

#include <cstdio>
#include <exception>

using namespace bench;

int wmain() {
    try {
        const base::CApartment apartment(COINIT_MULTITHREADED);
        Check(apartment.Result(), "CoInitializeEx");
        const CBenchFile file;
        CReport report;
        {
            const CFilterLibrary library;
            report.BeginContenders();
            BenchReads(report, library, file);
            BenchLoads(report, library, file);
            BenchSteps(report, library, file);
            BenchHttp(report, library, file);
        }
        BenchLogging(report, file);
        return report.PrintGoals() ? 0 : 1;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "tvbench: %s\n", exception.what());
        return 2;
    }
}
