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
    // Work over a link, by one who reads.
    struct Work {
        std::string what, who;
        std::string figure;  // its time or rate, with the unit
        double requests;
        double connections;  // open at once, at most
        double sent;         // bytes of bodies
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

    // Begins the table of works over a link. `others`: a file with rows of programs that were measured before; the
    // fields are Work's, with tabs between. Each such row is printed when its work ends; empty: there are none.
    void BeginWorks(const std::wstring& others);
    void Add(const Work& work) const;
    void EndWork(const std::string& what) const;

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
    std::vector<Work> m_others;
    std::vector<GoalLine> m_goals;
};

}  // namespace bench
