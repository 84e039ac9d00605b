#include "bench/CReport.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace bench {

namespace {

std::string Text(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string TimeText(std::optional<double> time) {
    return time ? Text("%.3f", *time) : "-";
}

std::string RatioText(double ours, std::optional<double> other) {
    return other ? Text(*other / ours < 10 ? "%.2f" : "%.0f", *other / ours) : "-";
}

}  // namespace

void CReport::BeginContenders() const {
    std::printf("\nMicroseconds per call; ratios are our calls per second to the other's\n");
    std::printf("%-42s %11s %11s %11s %11s %10s %10s\n", "", "ours", "stock", "ReadFile", "ours MiB/s", "to stock",
                "to ReadFile");
}

void CReport::Add(const Row& row) const {
    const std::string throughput = row.bytes ? Text("%.0f", *row.bytes / row.ours * 1e6 / (1 << 20)) : "-";
    std::printf("%-42s %11.3f %11s %11s %11s %10s %10s\n", row.what.c_str(), row.ours, TimeText(row.stock).c_str(),
                TimeText(row.readFile).c_str(), throughput.c_str(), RatioText(row.ours, row.stock).c_str(),
                RatioText(row.ours, row.readFile).c_str());
    std::fflush(stdout);
}

void CReport::BeginSteps(const std::string& title, double whole) {
    m_whole = whole;
    std::printf("\n%s\n%-62s %11s %8s\n", title.c_str(), "(steps overlap; they need not add up)", "us", "share");
}

void CReport::AddStep(const std::string& what, double time) const {
    std::printf("%-62s %11.3f %7.1f%%\n", what.c_str(), time, time / m_whole * 100);
    std::fflush(stdout);
}

void CReport::BeginPairs(const std::string& title, const std::string& first, const std::string& second) const {
    std::printf("\n%s\n%-42s %14s %14s\n", title.c_str(), "", first.c_str(), second.c_str());
}

void CReport::AddPair(const std::string& what, double first, double second) const {
    std::printf("%-42s %14.4f %14.4f\n", what.c_str(), first, second);
    std::fflush(stdout);
}

void CReport::BeginWorks(const std::wstring& others) {
    std::printf("\n%-42s %-16s %16s %9s %12s %10s\n", "Over a link", "who", "time or rate", "requests", "connections",
                "MiB sent");
    std::ifstream file{std::filesystem::path(others)};
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        Work work{};
        std::getline(fields, work.what, '\t');
        std::getline(fields, work.who, '\t');
        std::getline(fields, work.figure, '\t');
        fields >> work.requests >> work.connections >> work.sent;
        m_others.push_back(std::move(work));
    }
}

void CReport::Add(const Work& work) const {
    std::printf("%-42s %-16s %16s %9.0f %12.0f %10.2f\n", work.what.c_str(), work.who.c_str(), work.figure.c_str(),
                work.requests, work.connections, work.sent / (1 << 20));
    std::fflush(stdout);
}

void CReport::EndWork(const std::string& what) const {
    for (const Work& work : m_others) {
        if (work.what == what)
            Add(work);
    }
}

void CReport::AddGoal(const std::string& what, double figure, Goal kind, double limit, const std::string& unit) {
    m_goals.push_back({what, figure, kind, limit, unit});
}

bool CReport::PrintGoals() const {
    std::printf("\nGoals\n");
    bool good = true;
    for (const GoalLine& goal : m_goals) {
        const bool atLeast = goal.kind == Goal::AtLeast;
        const bool reached = atLeast ? goal.figure >= goal.limit : goal.figure <= goal.limit;
        std::printf("%-8s %-62s %9.2f %-7s (%s %g)\n", reached ? "reached" : "MISSED", goal.what.c_str(), goal.figure,
                    goal.unit.c_str(), atLeast ? "at least" : "at most", goal.limit);
        good = good && reached;
    }
    return good;
}

}  // namespace bench
