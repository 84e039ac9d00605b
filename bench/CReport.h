// What the run prints: the table while it is measured, then the goals.
//
// Times are microseconds.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace bench {

class CReport final {
public:
    struct Row {
        std::string what;
        double ours;
        std::optional<double> stock = {};     // the stock file source
        std::optional<double> readFile = {};  // bare ReadFile
        std::optional<LONG> bytes = {};       // per call, for the throughput
    };
    enum class Goal { AtLeast, AtMost };

    // Begins the table of contenders. Ratios are our calls per second, divided by the other's.
    void BeginContenders() const;
    void Add(const Row& row) const;

    // Begins a break-down of `whole`, a time; each step is shown with its share of it.
    void BeginSteps(const std::string& title, double whole);
    void AddStep(const std::string& what, double time) const;

    // Begins a table of two columns with these heads, in whatever unit the title says.
    void BeginPairs(const std::string& title, const std::string& first, const std::string& second) const;
    void AddPair(const std::string& what, double first, double second) const;

    void AddGoal(const std::string& what, double figure, Goal kind, double limit, const std::string& unit);

    // Prints which goals were reached. False: one was missed.
    [[nodiscard]] bool PrintGoals() const;

private:
    struct GoalLine {
        std::string what;
        double figure;
        Goal kind;
        double limit;
        std::string unit;
    };

    double m_whole = 0;
    std::vector<GoalLine> m_goals;
};

}  // namespace bench
