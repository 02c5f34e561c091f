// What a host meets first: plain C++ types and texts, results that say why, formulas that can be asked.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <vector>

#include "state_test.h"

namespace {

using namespace Quarn;

using FrontDoor = StateTest;

/// A text of a host.
struct Note final : Value<Note> {
    static constexpr std::string_view TypeName = "Note";
    explicit Note(std::string content) : text(std::move(content)) {}
    s_str ToString() const override { return WithName("'" + text + "'"); }
    const std::string text;
};

} // namespace

template <> struct Quarn::Conversion<std::string> {
    using Class = Note;
    static std::string Read(const Note& note) { return note.text; }
    static s_refptr<Symbol> Make(const std::string& text) { return make_refptr<Note>(text); }
};

namespace {

TEST_F(FrontDoor, TextsMixWithThoseOfTheStandardLibrary) {
    const s_str text = "ab";
    const std::string string = "cd";
    const std::string_view view = "ef";
    std::string all = text + string + view + "gh" + text;
    all = "<" + (string + text) + (view + text);
    EXPECT_EQ(all, "<cdabefab");
    EXPECT_TRUE(text == std::string("ab") && std::string("ab") == text && "ab" == text && text != string);
    std::ostringstream stream;
    stream << text << (s_str("x") += string);
    EXPECT_EQ(stream.str(), "abxcd");
}

TEST_F(FrontDoor, PlainValuesFitOrSayWhy) {
    const auto error = [](const auto& result) { return result ? "" : result.GetError().Get(); };
    EXPECT_TRUE(state.Set("n", 3) && state.Set("yes", true) && state.Set("half", 0.5f) && state.Set("c", 'c' == 'c'));
    EXPECT_EQ(Play("n; yes; half"), "\tScalar : 3\n\tScalar : 1\n\tScalar : 0.5\n");
    EXPECT_EQ(*state.Evaluate<std::int8_t>("-128"), -128);
    EXPECT_EQ(error(state.Evaluate<std::int8_t>("128")), "\tError : '128' is not a whole number from -128 to 127");
    EXPECT_EQ(error(state.Get<bool>("n")), "\tError : '3' is not a whole number from 0 to 1");
    EXPECT_EQ(error(state.Evaluate<int>("2.5")),
              "\tError : '2.5' is not a whole number from -2147483648 to 2147483647");
    EXPECT_TRUE(state.Evaluate<std::int64_t>("-2^63") && !state.Evaluate<std::int64_t>("2^63"));
    EXPECT_EQ(*state.Evaluate<std::uint64_t>("2^64-2048"), 18446744073709549568u);
    EXPECT_TRUE(!state.Evaluate<std::uint64_t>("2^64") && !state.Evaluate<int>("log(0)*0"));
    EXPECT_EQ(*state.Evaluate<float>("-log(0)"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(error(state.Evaluate<float>("10^39")),
              "\tError : '1e+39' is not a number from -3.40282346638529e+38 to 3.40282346638529e+38");

    constexpr std::int64_t Exact = std::int64_t{1} << 53;
    EXPECT_TRUE(state.Set("big", Exact) && state.Set("big", std::uint64_t{1} << 63));
    EXPECT_EQ(error(state.Set("big", Exact + 1)), "\tError : '9007199254740993' needs more than 53 bits");
    EXPECT_FALSE(state.Set("big", std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(*state.Get<double>("big"), 0x1p63);
}

TEST_F(FrontDoor, ListsAreVectors) {
    using Matrix = std::vector<std::vector<int>>;
    state.Set("v", std::vector{1.5, 2.5});
    state.Set("m", Matrix{{1, 2}, {3, 4}});
    state.Set("none", std::vector<bool>());
    EXPECT_EQ(Play("v; m; none"), "\tVector : <1.5, 2.5>\n\tVector : <<1, 2>, <3, 4>>\n\tVector : <>\n");
    EXPECT_EQ(*state.Evaluate<Matrix>("2*m"), (Matrix{{2, 4}, {6, 8}}));
    EXPECT_EQ(state.Set("m", Matrix{{1, 2}, {3}}).GetError(),
              "\tError : Non-homogeneous Vectors are not allowed.\n\t        Trying to mix 2-Vector with 1-Vector");
    Play("r &= k; k = 3; w = <1, &r>; k = 4");
    double sum = 0;
    for (const double element : *state.Get<std::vector<double>>("w")) sum += element;
    EXPECT_EQ(sum, 5);
    EXPECT_EQ(state.Evaluate<std::vector<int>>("v").GetError(),
              "\tError : '1.5' is not a whole number from -2147483648 to 2147483647");
    Play("~k");
    EXPECT_EQ(state.Get<std::vector<double>>("w").GetError(), "\tError : Unknown symbol 'k'");
    state.Set("copy", Vector("", {make_refptr<Scalar>(1)}));
    EXPECT_EQ(Play("copy"), "\tVector : <1>\n");
}

TEST_F(FrontDoor, TextsAreValuesWhereATypeTakesThem) {
    for (const char* name : {"a", "b", "c", "d"}) state.Set(name, name);
    state.Set("b", std::string("bb"));
    state.Set("c", std::string_view("cc"));
    state.Set("d", s_str("dd"));
    Binding(state).Binary("+", [](const std::string& a, const std::string& b) { return a + b; });
    EXPECT_EQ(Play("a+b+c+d"), "\tNote : 'abbccdd'\n");
    EXPECT_EQ(*state.Evaluate<std::string>("d"), "dd");
    EXPECT_EQ(state.Evaluate<std::string>("1").GetMessage(), "The value is a Scalar, not a Note");
}

TEST_F(FrontDoor, CallablesTakeAndGivePlainValues) {
    Binding bind(state, Purity::Pure);
    bind.Function("upto", [](int n) {
        std::vector<int> numbers;
        for (int i = 1; i <= n; ++i) numbers.push_back(i);
        return numbers;
    });
    bind.Function("sum", [](const std::vector<double>& numbers) {
        double sum = 0;
        for (const double number : numbers) sum += number;
        return sum;
    });
    bind.Function("halved", [](std::int64_t n) -> Result<std::int64_t> {
        if (n % 2 != 0) return Result<std::int64_t>::Error("\tError : Odd");
        return n / 2;
    });
    EXPECT_EQ(Play("sum(upto(4)); halved(4); halved(3); upto(0.5)"),
              "\tScalar : 10\n\tScalar : 2\n\tError : Odd\n"
              "\tError : '0.5' is not a whole number from -2147483648 to 2147483647\n");
    int k = 2;
    Formula formula(state, "halved(4)+k");
    formula.Bind("k", k);
    k = 5;
    EXPECT_EQ(*formula.Evaluate<unsigned>(), 7u);
    EXPECT_EQ(*formula.Evaluate<double>(), 7);
}

TEST_F(FrontDoor, AResultSaysWhatFailedAndWhere) {
    Play("v = <1, 2>; r &= later; c &= c+1; k &= a*b");
    Binding bind(state);
    bind.Function("passes",
                  [](State& inner, s_str& error) { return inner.ParseSymbol("", "1+nothing", error, false); });
    bind.Function("replaces", [](State& inner, s_str& error) -> s_refptr<Symbol> {
        return inner.Evaluate("1+nothing") ? Outcome::Failed : Fail(error, "\tError : Replaced");
    });
    Limits& limits = state.GetLimits();
    using enum FailureKind;
    struct Row {
        const char* text;
        FailureKind kind;
        std::optional<std::size_t> position;
        const char* message;
    };
    constexpr auto None = std::nullopt;
    const Row rows[] = {
        {"1+(2", Text, 2, "Unterminated '('"},
        {"(1+2))", Text, 5, "Too many closing ')'"},
        {" 2 + <1, (3>", Text, 9, "Unterminated '('"},
        {"sqrt(4, [)", Text, 8, "Unterminated '['"},
        {"", Text, 0, "Empty symbol"},
        {"1 + 2*(+)", Text, 7, "Operator '+' is missing its operands"},
        {"2*v[]", Text, 3, "Illegal use of '[.]' with empty argument"},
        {"1+a b", Text, 2, "Unable to parse expression 'a b', no operator found"},
        {"1+ nothing", UnknownName, 3, "Unknown symbol 'nothing'"},
        {"<1, nothing>", UnknownName, 4, "Unknown symbol 'nothing'"},
        {"2*none(1)", UnknownName, 2, "Undefined function 'none'"},
        {"passes()", UnknownName, None, "Unknown symbol 'nothing'"},
        {"replaces()", Evaluation, None, "Replaced"},
        {"v+<1>", Evaluation, None, "Cannot add two Vectors of different length (2 and 1)"},
        {"v%v", Evaluation, None, "No match for operator 'Vector % Vector' in :\n<1, 2> % <1, 2>"},
        {"c+1", Evaluation, None, "Circular reference in expression 'c+1'"},
        {"<<<<1>>>>", NestingLimit, None, "Nested more than 3 levels deep"},
    };
    limits.SetDeepestNesting(3);
    for (const auto& [text, kind, position, message] : rows) {
        const auto result = state.Evaluate(text);
        ASSERT_FALSE(result) << text;
        EXPECT_EQ(static_cast<int>(result.GetKind()), static_cast<int>(kind)) << text;
        EXPECT_EQ(result.GetPosition(), position) << text;
        EXPECT_EQ(result.GetMessage(), message);
    }
    limits.SetDeepestNesting(Limits::DeepestNesting);

    EXPECT_EQ(Formula(state, "2*(3+").Evaluate().GetPosition(), 2u);
    EXPECT_EQ(Formula(state, "2*unknown").Evaluate<double>().GetPosition(), 2u);
    EXPECT_FALSE(state.Evaluate<double>("r").GetPosition());
    EXPECT_EQ(state.Evaluate<double>("r").GetKind(), UnknownName);
    EXPECT_EQ(state.Get<double>("nothing").GetKind(), UnknownName);
    EXPECT_EQ(state.Evaluate<int>("r").value_or(7), 7);

    EXPECT_EQ(state.Evaluate("<1, 2>[0]+w").GetKind(), UnknownName);
    limits.SetStepBudget(2);
    EXPECT_EQ(state.Evaluate("1+2+3").GetKind(), StepLimit);
    limits.SetStepBudget(Limits::Unlimited);
    limits.SetTimeLimit(std::chrono::nanoseconds(0));
    std::string sum = "1";
    while (sum.size() < 4000) sum += "+1";
    EXPECT_EQ(state.Evaluate(sum).GetKind(), TimeLimit);
    limits.SetTimeLimit(std::nullopt);
    std::atomic<bool> isCancelled = true;
    limits.SetCancellation(&isCancelled);
    EXPECT_EQ(state.Evaluate<double>("1").GetKind(), Cancelled);
    limits.SetCancellation(nullptr);
    limits.SetMemory(1000);
    EXPECT_EQ(state.Set("w", std::vector<double>(1000)).GetKind(), MemoryLimit);
    limits.SetMemory(Limits::Unlimited);
    state.Set("long", std::vector<double>(Vector::LargestSize / 2 + 1));
    EXPECT_EQ(state.Evaluate("<long, long>").GetKind(), SizeLimit);
}

TEST_F(FrontDoor, ALineSaysWhetherAllSucceeded) {
    for (const char* line : {"1", "x = 2; x", "// (", "", "?nothing", "a := 3", "~x", "~"}) {
        EXPECT_TRUE(state.ParseLine(line)) << line;
    }
    for (const char* line :
         {"(", "1; (; 2", "~nothing", "x:None", "x:Scalar(1", "x:Scalar(a)", "pi = 3", "1+nothing"}) {
        EXPECT_FALSE(state.ParseLine(line)) << line;
    }
}

TEST_F(FrontDoor, AFormulaCanBeAskedBeforeItIsEvaluated) {
    struct Row {
        const char* text;
        std::optional<std::size_t> position; ///< of the fault
        const char* names;                   ///< symbols, functions and types
    };
    constexpr auto None = std::nullopt;
    const Row rows[] = {
        {"a*x + sin(b)^pi - rand()", None, "a b x|pi rand sin|"},
        {"<a, <&c, 2>>[k] + Vector(d, Scalar(1))", None, "a c d k||Scalar Vector"},
        {"&(a b) + Reference(none(z)) + _", None, "_||Reference"},
        {"x+none(1)+y", 2, "x||"},
        {"<1, 2+(>", 6, "||"},
        {"<a b, (1>", 6, "||"}, // the brackets of a vector come before its elements
        {"Vector(a, sqrt(b, [))", 18, "a||Vector"},
        {"1%<1> + y", None, "y||"},
        {"", 0, "||"},
    };
    const double x = 0;
    for (const auto& [text, position, expected] : rows) {
        Formula formula(state, text);
        formula.Bind("x", x);
        const auto [symbols, functions, types] = formula.GetNames();
        std::string names;
        for (const auto& list : {symbols, functions, types}) {
            for (const s_str& name : list) names += (names.empty() || names.ends_with('|') ? "" : " ") + name;
            names += "|";
        }
        EXPECT_EQ(names, std::string(expected) + "|") << text;
        const std::optional<Failure> fault = formula.Check();
        EXPECT_EQ(fault.has_value(), position.has_value()) << text;
        EXPECT_EQ(fault ? fault->position : None, position) << text;
    }
    state.GetLimits().SetDeepestNesting(5);
    EXPECT_EQ(Formula(state, std::string(100'000, '<') + "1" + std::string(100'000, '>')).Check()->kind,
              FailureKind::NestingLimit);
    state.GetLimits().SetStepBudget(2);
    EXPECT_EQ(Formula(state, "1+2+3").Check()->kind, FailureKind::StepLimit);
}

TEST_F(FrontDoor, CallablesOfNumbersMayDoAsTheyLike) {
    // They run on words, but may evaluate, erase and replace themselves as all others may.
    Binding bind(state, Purity::Pure);
    const auto replace = [&bind](double a) {
        bind.Function("f", [a](double b) { return 10 * a + b; });
        return a;
    };
    double x = 1;
    Formula formula(state, "f(x)+f(x)");
    formula.Bind("x", x);
    for (int i = 0; i < 3; ++i) {
        bind.Function("f", [replace](double a) { return a < 2 ? a : replace(a); });
        x = 1;
        for (int j = 0; j < 3; ++j) EXPECT_EQ(*formula.Evaluate<double>(), 2);
        x = 2;
        const double sum = *formula.Evaluate<double>(); // the second call is of either
        EXPECT_TRUE(sum == 4 || sum == 24) << sum;
    }
    int depth = 0;
    bind.Function("r", [this, &depth](double a) {
        if (++depth > 5000) return -1.0;
        return state.Evaluate<double>("c").value_or(a);
    });
    Play("c &= r(1)+1; a &= c+1");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(*state.Evaluate<double>("a+0"), 3); // "c" within itself is a circle
    bind.Function("n", [this](double a) {
        return a < 1 ? 0 : 1 + state.Evaluate<double>("n(" + std::to_string(a - 1) + ")").value_or(0);
    });
    Play("m &= n(20); k &= m+m");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(*state.Evaluate<double>("k"), 40);
    state.GetLimits().SetDeepestNesting(15);
    EXPECT_LT(*state.Evaluate<double>("k"), 40);
    state.GetLimits().SetDeepestNesting(Limits::DeepestNesting);
    EXPECT_EQ(*state.Evaluate<double>("k"), 40);
    bool erases = false;
    bind.Function("e", [this, &erases](double a) {
        if (erases) Play("~; u &= 1");
        return a;
    });
    Play("s &= 2+e(1); t &= s+e(1)+s");
    for (int i = 0; i < 4; ++i) EXPECT_EQ(*state.Evaluate<double>("t"), 7);
    erases = true;
    state.Set("y", 1);
    Play("t+1");
    EXPECT_EQ(Play("s"), "\tDefining Symbol : s\n");
}

TEST_F(FrontDoor, ASymbolKeepsItsValueWhenAFunctionTakesItsName) {
    for (double value : {1.0, 2.0, 3.0}) EXPECT_TRUE(state.Set("f", value));
    Binding(state).Function("f", [](double a) { return a; });
    EXPECT_EQ(state.Set("f", 4.0).GetMessage(), "Cannot assign a value to the function 'f'");
    EXPECT_EQ(*state.Get<double>("f"), 3);
}

TEST_F(FrontDoor, OperatorsAreAddedWhereTheyAreBound) {
    Binding bind(state, Purity::Pure);
    EXPECT_TRUE(bind.Operator("\\", 2) && bind.Operator("mod", 2));
    bind.Binary("\\", [](double a, double b) { return static_cast<double>(static_cast<int>(a / b)); });
    EXPECT_EQ(Play("1+7\\2*2; 2^!3"), "\tScalar : 7\n\tScalar : 64\n");
    EXPECT_TRUE(bind.Operator("\\", 9));
    EXPECT_EQ(Play("7\\2*2"), "\tScalar : 6\n");
    EXPECT_FALSE(bind.Operator("(", 2) || bind.Operator("", 2));
    EXPECT_EQ(state.GetOperatorPriorities().size(), State().GetOperatorPriorities().size() + 2);
    bind.Function("adds", [](State& inner) { return Binding(inner).Operator("#", 2); });
    EXPECT_EQ(Play("adds()"), "\tScalar : 0\n");
}

TEST_F(FrontDoor, ConstantsAreReadOnly) {
    state.Set("before", 1);
    EXPECT_TRUE(state.SetConstant("tax", 0.25) && state.SetConstant("list", std::vector{1, 2}));
    const char* const refused = "\tError : Cannot assign a value to the constant 'tax'\n";
    for (const char* line : {"tax = 5", "tax &= 3", "tax:Scalar", "tax = tax"}) EXPECT_EQ(Play(line), refused) << line;
    EXPECT_EQ(Play("~tax"), "\tError : Cannot erase the constant 'tax'\n");
    EXPECT_EQ(state.Set("tax", 1).GetMessage(), "Cannot assign a value to the constant 'tax'");
    state.GetLimits().SetMemory(10'000);
    EXPECT_EQ(Play("~;?before;tax*4;list;?tax"), "\tAll symbols erased\n\t'before' is undefined\n\tScalar : 1\n"
                                                 "\tVector : <1, 2>\n\tScalar : tax = 0.25\n");
    EXPECT_FALSE(state.Set("large", std::vector<double>(1200))); // constants count
    EXPECT_TRUE(state.Set("large", std::vector<double>(1000)));
    state.GetLimits().SetMemory(Limits::Unlimited);
    Play("r &= tax+1");
    EXPECT_TRUE(state.SetConstant("tax", 0.5));
    EXPECT_EQ(Play("r; tax"), "\tScalar : 1.5\n\tScalar : 0.5\n");
    EXPECT_FALSE(state.SetConstant("pi", 3) || state.SetConstant("_", 3) || state.SetConstant("", 3));
    EXPECT_TRUE(state.Erase("tax"));
    EXPECT_EQ(Play("tax = 5;~tax"), "\tDefining Scalar : tax = 5\n\tScalar 'tax' erased\n");
}

TEST_F(FrontDoor, WhatAHostDoesNotWantIsRemoved) {
    Play("r &= rand()*0+1");
    Formula formula(state, "rand(1, 1)");
    EXPECT_EQ(*formula.Evaluate<double>(), 1);
    Binding(state).Function("removes", [](State& inner) { return inner.RemoveFunction("rand"); });
    EXPECT_EQ(Play("removes(); r"), "\tScalar : 0\n\tScalar : 1\n");
    EXPECT_TRUE(state.RemoveFunction("rand"));
    EXPECT_FALSE(state.RemoveFunction("rand"));
    EXPECT_EQ(Play("r; rand(); rand = 2; rand+1"),
              "\tReference : rand()*0+1\n\tError : Undefined function 'rand'\n\tDefining Scalar : rand = 2\n"
              "\tScalar : 3\n");
    EXPECT_EQ(formula.Evaluate().GetKind(), FailureKind::UnknownName);
    EXPECT_TRUE(state.RemoveFunction("removes"));
    Binding(state).Function("instead", [] { return 1; }); // as many functions as before, but another one
    EXPECT_EQ(Play("instead = 2"), "\tError : Cannot assign a value to the function 'instead'\n");
}

} // namespace
