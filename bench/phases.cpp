// Measures where a script spends its time: reading lines, running statements, printing reports.
//
//     bench_phases SCRIPT > /dev/null     the report goes to standard error

#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include "quarn/core/chrono.h"
#include "quarn/core/file.h"
#include "quarn/core/time_manager.h"
#include "quarn/core/utils_manager.h"
#include <quarn/quarn.h>

namespace {

using namespace Quarn;

constexpr unsigned Phases = 1; ///< the group of the profilers

std::vector<s_str> ReadLines(const s_str& path) {
    const Chrono chrono(&TimeManager::Get().GetProfiler("reading", Phases));
    File script(path, File::Read);
    std::vector<s_str> lines;
    while (script.IsValid()) lines.push_back(script.ReadLine());
    return lines;
}

std::string CarryOut(State& state, const std::vector<s_str>& lines) {
    const Chrono chrono(&TimeManager::Get().GetProfiler("statements", Phases));
    std::ostringstream reports;
    state.SetStreams(std::cin, reports);
    for (const s_str& line : lines) state.ParseLine(line);
    return std::move(reports).str();
}

void Print(const std::string& reports) {
    const Chrono chrono(&TimeManager::Get().GetProfiler("printing", Phases));
    std::cout << reports << std::flush;
}

} // namespace

int main(int argumentCount, char** argumentWords) {
    if (argumentCount != 2 || !File::Exists(argumentWords[1])) {
        std::cerr << "usage: bench_phases SCRIPT\n";
        return 2;
    }
    std::ios::sync_with_stdio(false);
    UtilsManager::Get().SetLogFunction([](const s_str& text, s_bool, s_uint) { std::cerr << text.View() << '\n'; });
    TimeManager& time = TimeManager::Get();
    time.SetGetTimeFunction([] { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; });
    time.EnableProfiling(true);
    time.StartProfiling();

    State state;
    Vector::Register(state);
    Print(CarryOut(state, ReadLines(argumentWords[1])));

    time.PrintProfiling(s_uint::NaN); // of all groups
    TimeManager::Delete();
    UtilsManager::Delete();
    return 0;
}
