// Measures how long a statement goes on after it was cancelled: the longest of several times, each cancelled at another
// moment.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <quarn/quarn.h>

namespace {

using namespace Quarn;
using Clock = std::chrono::steady_clock;

struct Case {
    const char* what;
    std::vector<std::string> before; ///< lines that come first
    std::string line;
};

/// A text that is repeated between two others.
std::string Line(std::string first, std::string_view repeated, std::size_t count, std::string_view last = "") {
    for (std::size_t i = 0; i < count; ++i) first += repeated;
    return first += last;
}

/// References, each to the two before it.
std::vector<std::string> Web() {
    std::vector<std::string> lines;
    for (int i = 90; i > 1; --i) {
        std::ostringstream line;
        line << 'f' << i << " &= f" << i - 1 << "+f" << i - 2;
        lines.push_back(line.str());
    }
    lines.insert(lines.end(), {"f1 = 1", "f0 &= rand()"});
    return lines;
}

/// A vector of 16 million numbers.
std::vector<std::string> Millions() {
    std::vector<std::string> lines = {"v = <1, 2>"};
    lines.insert(lines.end(), 23, "v = <v, v>");
    return lines;
}

/// A vector of 16 million numbers in pairs, each an object.
std::vector<std::string> Pairs() {
    std::vector<std::string> lines = Millions();
    lines.push_back("y = v+v");
    return lines;
}

const std::vector<Case>& Cases() {
    constexpr std::size_t Length = 16'000'000;
    static const std::vector<Case> cases = {
        {"an endless web of references", Web(), "f90+0"},
        {"the same, inspected", Web(), "?f90"},
        {"the same, erased", Web(), "~f90"},
        {"16 million numbers added", Millions(), "w = v+v"},
        {"16 million numbers shown", Millions(), "v"},
        {"a message that shows them twice", Millions(), "v%v"},
        {"16 million numbers replaced", Pairs(), "y = 1"},
        {"a flat line of 16 million characters", {}, Line("1", "+1", Length / 2)},
        {"a reference with as many, defined", {}, Line("r &= a", "+a", Length / 2)},
        {"a vector with as many", {}, Line("<1", ",1", Length / 2, ">")},
        {"a vector of vectors", {}, Line("<<1>", ",<1>", Length / 4, ">")},
        {"a vector of references", {"x = 1"}, Line("<1", ",&x", Length / 3, ">")},
        {"within 900 others", {}, Line(Line("", "<", 900, "1"), ",1", Length / 2, Line("", ">", 900))},
        {"a constructor with as many", {}, Line("x:Vector(1", ",1", Length / 2, ")")},
        {"a call with as many", {}, Line("max(1", ",1", Length / 2, ")")},
        {"brackets that never close", {}, Line("", "(", Length)},
        {"brackets within one another", {}, Line(Line("", "(", Length / 2, "1"), ")", Length / 2)},
        {"indexings", {"v = <1>"}, Line("v", "[0]", Length / 3)},
        {"ampersands", {}, Line("", "&", Length, "x")},
        {"a number with as many", {}, Line("", "1", Length)},
        {"a name with as many", {}, Line("", "a", Length)},
        {"an error that quotes as many", {}, Line("", "a b ", Length / 4)},
        {"operations on a kept one", {Line("x &= a", "+a", 400)}, Line("x", "*x", 1000)},
        {"statements on a line", {}, Line("", "1;", Length / 2)},
        {"empty statements", {}, Line("", ";", Length)},
    };
    return cases;
}

double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

/// Carries out the line and cancels it after a while. Returns how long it went on.
double CancelAfter(const Case& tried, double seconds) {
    std::ostream nowhere(nullptr);
    State state;
    Vector::Register(state);
    state.SetStreams(std::cin, nowhere);
    for (const std::string& line : tried.before) state.ParseLine(line);
    std::atomic<bool> isCancelled = false;
    state.GetLimits().SetCancellation(&isCancelled);
    Clock::time_point cancelled;
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        cancelled = Clock::now();
        isCancelled = true;
    });
    state.ParseLine(tried.line);
    const Clock::time_point end = Clock::now();
    other.join();
    return Seconds(end - cancelled); // negative if it had ended before
}

} // namespace

int main() {
    std::puts("| statement | longest time from cancellation to the end |\n|---|---|");
    for (const Case& tried : Cases()) {
        double longest = 0;
        for (const double seconds : {0.0, 0.01, 0.04, 0.15, 0.5}) {
            const double wentOn = CancelAfter(tried, seconds);
            longest = std::max(longest, wentOn);
            if (wentOn < 0) break; // later moments come too late, too
        }
        if (longest > 0) std::printf("| %s | %.1f ms |\n", tried.what, longest * 1e3);
        else std::printf("| %s | ended before |\n", tried.what);
        std::fflush(stdout);
    }
}
