// Evaluates the formulas of a file, one a line, with this library and with muParser, while their variables change. The
// values are compared first. Times are nanoseconds an evaluation, without what the loop itself takes.
// usage: bench_formulas FILE

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <muParser.h>
#include <quarn/quarn.h>

namespace {

using namespace Quarn;

constexpr std::array Names{"a", "b", "c", "x", "y", "z"};
using Point = std::array<double, Names.size()>;
using Points = std::array<Point, 256>;

Points MakePoints() {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<> between(0.5, 5);
    Points points;
    for (Point& point : points)
        for (double& number : point) number = between(random);
    return points;
}

double Factorial(double a) {
    double product = 1;
    for (double factor = 2; factor <= a; ++factor) product *= factor;
    return product;
}

/// What this library knows and muParser does not, or calls by another name.
void AddFunctions(mu::Parser& parser) {
    parser.DefineConst("pi", 3.141592653589793);
    parser.DefineFun("log", [](double a) { return std::log(a); });
    parser.DefineFun("round", [](double a) { return std::round(a); });
    parser.DefineFun("round_up", [](double a) { return std::ceil(a); });
    parser.DefineFun("round_down", [](double a) { return std::floor(a); });
    parser.DefineOprt(
        "%", [](double a, double b) { return std::fmod(std::trunc(a), std::trunc(b)); }, mu::prMUL_DIV);
    parser.DefineInfixOprt("!", Factorial);
}

/// atan(y, x), which is not called atan2 here.
std::string WithTheirNames(std::string text) {
    const std::string name = "atan(";
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
        int depth = 1;
        bool hasTwo = false;
        for (std::size_t i = at + name.size(); i < text.size() && depth > 0; ++i) {
            depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
            hasTwo |= depth == 1 && text[i] == ',';
        }
        if (hasTwo) text.insert(at + 4, 1, '2');
    }
    return text;
}

/// The shortest time of some rounds, in nanoseconds an evaluation.
class Stopwatch {
public:
    template <class Evaluate> void Run(const Points& points, Point& variables, const Evaluate& evaluate) {
        constexpr int Repetitions = 200;
        const auto start = std::chrono::steady_clock::now();
        double sum = 0;
        for (int i = 0; i < Repetitions; ++i) {
            for (const Point& point : points) {
                variables = point;
                sum += evaluate();
            }
        }
        const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
        m_shortest = std::min(m_shortest, time.count() / (Repetitions * static_cast<double>(points.size())));
        m_unused = sum;
    }
    double Get() const { return m_shortest; }

private:
    double m_shortest = 1e300;
    volatile double m_unused = 0;
};

bool AreEqual(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return a == b || std::fabs(a - b) <= 1e-11 * std::max({std::fabs(a), std::fabs(b), 1e-3});
}

struct Times {
    double ours;
    double theirs;
};

std::optional<Times> Measure(State& state, const std::string& text, const Points& points) {
    Point variables = points.front();
    Formula formula(state, text);
    mu::Parser parser;
    AddFunctions(parser);
    for (std::size_t i = 0; i < Names.size(); ++i) {
        formula.Bind(Names[i], variables[i]);
        parser.DefineVar(Names[i], &variables[i]);
    }
    try {
        parser.SetExpr(WithTheirNames(text));
        for (const Point& point : points) {
            variables = point;
            const Result<double> value = formula.Evaluate<double>();
            if (!value) {
                std::printf("refused  %s: %s\n", text.c_str(), value.GetMessage().Get().c_str());
                return {};
            }
            if (AreEqual(*value, parser.Eval())) continue;
            std::printf("differs  %s: %.17g, %.17g\n", text.c_str(), *value, parser.Eval());
            return {};
        }
    } catch (const mu::Parser::exception_type& exception) {
        std::printf("skipped  %s: %s\n", text.c_str(), exception.GetMsg().c_str());
        return {};
    }
    Stopwatch nothing;
    Stopwatch ours;
    Stopwatch theirs;
    for (int round = 0; round < 7; ++round) {
        nothing.Run(points, variables, [&] { return variables[0]; });
        ours.Run(points, variables, [&] { return *formula.Evaluate<double>(); });
        theirs.Run(points, variables, [&] { return parser.Eval(); });
    }
    return Times{std::max(ours.Get() - nothing.Get(), 0.1), std::max(theirs.Get() - nothing.Get(), 0.1)};
}

/// Whether it calls no elementary function, and each exponent is a whole number. Those take longer than all else.
bool IsPlain(const std::string& text) {
    for (const char* name : {"exp", "log", "sin", "cos", "tan"})
        if (text.find(name) != std::string::npos) return false;
    for (std::size_t at = text.find('^'); at != std::string::npos; at = text.find('^', at + 1)) {
        const std::size_t begin = text.find_first_not_of("(-", at + 1);
        const std::size_t end = text.find_first_not_of("0123456789", begin);
        if (begin == end || (end != std::string::npos && text[end] == '.')) return false;
    }
    return true;
}

struct Mean {
    double sum = 0;
    int count = 0;
    void Add(double ratio) {
        sum += std::log(ratio);
        ++count;
    }
    double Get() const { return std::exp(sum / count); }
};

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: bench_formulas FILE\n");
        return 1;
    }
    std::ifstream file(arguments[1]);
    if (!file) {
        std::fprintf(stderr, "There is no file '%s' that can be read.\n", arguments[1]);
        return 1;
    }
    State state;
    const Points points = MakePoints();
    Mean all;
    Mean plain;
    Mean ours;
    Mean theirs;
    double worst = 0;
    std::printf("    ours  muparser   ratio\n");
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') continue;
        const std::optional<Times> times = Measure(state, line, points);
        if (!times) continue;
        const double ratio = times->ours / times->theirs;
        std::printf("%8.1f  %8.1f  %6.2f  %s\n", times->ours, times->theirs, ratio, line.c_str());
        std::fflush(stdout);
        all.Add(ratio);
        ours.Add(times->ours);
        theirs.Add(times->theirs);
        if (IsPlain(line)) plain.Add(ratio);
        worst = std::max(worst, ratio);
    }
    std::printf("%8.1f  %8.1f  %6.2f  geometric mean of %d; the largest ratio is %.2f\n", ours.Get(), theirs.Get(),
                all.Get(), all.count, worst);
    std::printf("%26.2f  of the %d without functions and broken exponents\n", plain.Get(), plain.count);
}
