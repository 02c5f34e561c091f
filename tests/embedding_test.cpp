// The library as another program uses it: with its own types, operators and functions beside the built-in ones.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>

#include "state_test.h"

namespace {

using namespace Quarn;

/// A length in metres, written `5m`.
class Length final : public Value<Length> {
public:
    static constexpr std::string_view TypeName = "Length";
    explicit Length(const s_str& name, double value = 0) : Value(name), metres(value) {}
    s_str ToString() const override { return WithName(s_str(metres) + "m"); }
    const double metres;
};

State GlobalState; // before anything that the library might initialise

class Embedding : public StateTest {
protected:
    Embedding() {
        Registry& registry = state.EditRegistry();
        registry.types["Length"] = [](const s_str& name) { return make_refptr<Length>(name); };
        registry.literalTests["Length"] = [](std::string_view text) {
            return text.ends_with('m') && text.substr(0, text.size() - 1).find_first_not_of("0123456789") == text.npos;
        };
        registry.constructors["Length"] = [](State&, const s_str& name, std::string_view text, s_bool, s_str&) {
            return make_refptr<Length>(name, std::stod(std::string(text)));
        };
        Binding bind(state);
        bind.Binary("+", [](const Length& a, const Length& b) -> s_refptr<Symbol> {
            return make_refptr<Length>("", a.metres + b.metres);
        });
        bind.LeftUnary("!", [](const Length& a) { return a.metres; });
        bind.Function("size", [](const Length& a) { return a.metres; });
        bind.Function("size", [](const Vector& v) { return static_cast<double>(v.GetElements().Count()); });
    }
};

TEST_F(Embedding, TypesTakePartInEverything) {
    EXPECT_EQ(Play("x = (5m)+(7m)"), "\tDefining Length : x = 12m\n");
    EXPECT_EQ(Play("x!"), "\tScalar : 12\n"); // written after its operand
    EXPECT_EQ(Play("<5m, x>+<1m, 1m>"), "\tVector : <6m, 13m>\n");
    EXPECT_EQ(Play("y:Length; y:Length(3)"), "\tDefining Length : y = 0m\n\tDefining Length : y = 3m\n");
    EXPECT_EQ(Play("size(5m)+size(<1, 2>)"), "\tScalar : 7\n");
    EXPECT_EQ(Play("r &= size(z); z = 5m; r"), "\tDefining Reference : r = size(z)\n\tDefining Length : z = 5m\n"
                                               "\tScalar : 5\n");
    EXPECT_EQ(Play("size(1)"), "\tError : No matching function call to :\n\t\t  size(Scalar)\n"
                               "\t\tPossible candidates :\n\t\t  size(Length)\n\t\t  size(Vector)\n");
}

TEST_F(Embedding, ReferencesNoticeWhatIsRegisteredLater) {
    EXPECT_EQ(Play("r &= twice(2)"), "\tDefining Reference : r = twice(2)\n");
    Binding(state).Function("twice", [](double a) { return 2 * a; });
    EXPECT_EQ(Play("r"), "\tScalar : 4\n");
    Binding(state).Function("twice", [](double a) { return a + a + 0.5; }); // replaces the first
    EXPECT_EQ(Play("r"), "\tScalar : 4.5\n");
}

TEST_F(Embedding, LiteralsAreReadAgainUnlessTheirTypeSaysThatTheyAreConstant) {
    Registry& registry = state.EditRegistry();
    registry.literalTests["Tick"] = [](std::string_view text) { return text == "#"; };
    registry.constructors["Tick"] = [ticks = 0](State&, const s_str& name, std::string_view, s_bool, s_str&) mutable {
        return make_refptr<Scalar>(name, ++ticks);
    };
    Play("r &= #+1");
    EXPECT_NE(Play("r*1"), Play("r*1"));
    state.EditRegistry().constantLiterals.insert("Tick");
    EXPECT_EQ(Play("r*1"), Play("r*1"));

    Formula formula(state, "1+1");
    state.EditRegistry().literalTests["Tick"] = [&](std::string_view text) {
        const char* const message = "\tError : A literal test must not evaluate anything";
        return text == "#" &&
               (state.Evaluate("1+1").GetError() != message || state.Get<double>("r").GetError() != message ||
                formula.Evaluate<double>().GetError() != message);
    };
    EXPECT_EQ(Play("#"), "\tError : Unable to parse expression '#', no operator found\n");
}

TEST_F(Embedding, WhatReplacesALiteralIsAsked) {
    Registry& registry = state.EditRegistry();
    const Constructor original = registry.constructors["Scalar"];
    registry.constructors["Scalar"] = [original](State& owner, const s_str& name, std::string_view text, s_bool literal,
                                                 s_str& error) { return original(owner, name, text, !literal, error); };
    EXPECT_EQ(Play("x = 2.5; 007"), "\tDefining Scalar : x = 2.5\n\tScalar : 7\n");
    registry.constructors["Scalar"] = [](State&, const s_str& name, std::string_view, s_bool, s_str&) {
        return make_refptr<Scalar>(name, 9);
    };
    EXPECT_EQ(Play("x = 2.5; 007+1"), "\tDefining Scalar : x = 9\n\tScalar : 18\n");
    state.EditRegistry().constructors["Scalar"] = original;
    EXPECT_EQ(Play("007"), "\tScalar : 7\n");
    state.EditRegistry().literalTests["Scalar"] = [](std::string_view text) { return !text.starts_with('0'); };
    EXPECT_EQ(Play("70-1; 007"), "\tScalar : 69\n\tDefining Symbol : 007\n");
}

TEST_F(Embedding, AmbiguousLiteralsNameTheirTypes) {
    state.EditRegistry().literalTests["Other"] = [](std::string_view text) { return text == "5m" || text == "6."; };
    EXPECT_EQ(Play("(5m)"), "\tError : Ambiguous constructor : '5m'.\n\t        Possible candidates : Length, Other\n");
    EXPECT_EQ(Play("6."), "\tError : Ambiguous constructor : '6.'.\n\t        Possible candidates : Other, Scalar\n");
    state.EditRegistry().literalTests["Third"] = [](std::string_view text) { return text == "6." || text == "#"; };
    EXPECT_EQ(Play("6."),
              "\tError : Ambiguous constructor : '6.'.\n\t        Possible candidates : Other, Scalar, Third\n");
    EXPECT_EQ(Play("#"), "\tError : No constructor for the type 'Third'\n");
}

TEST_F(Embedding, FunctionsReturnOneValue) {
    using List = s_ctnr<s_refptr<Symbol>>;
    state.RegisterFunction("none", "()", [](State&, const List&, List&, s_str&) { return true; });
    state.RegisterFunction("two", "()", [](State&, const List&, List& results, s_str&) {
        results.PushBack(make_refptr<Scalar>("", 1));
        results.PushBack(make_refptr<Scalar>("", 2));
        return true;
    });
    state.RegisterFunction("fails", "()", [](State&, const List&, List&, s_str&) { return false; });
    const char* const message = "\tError : Multiple return values for function is not yet supported\n";
    EXPECT_EQ(Play("none"), message);
    EXPECT_EQ(Play("two()"), message);
    EXPECT_EQ(Play("fails()"), "\n"); // a failure without a message leaves an empty line
}

TEST_F(Embedding, NamedOperandsContributeNothing) {
    Binding(state).Function("named", []() -> s_refptr<Symbol> { return make_refptr<Scalar>("n", 3); });
    Binding(state).Function("misnamed", []() -> s_refptr<Symbol> { return make_refptr<Scalar>("a b", 3); });
    EXPECT_EQ(Play("misnamed()"), "\tError : Only alphanumeric names are allowed for symbols, in 'a b'\n");
    EXPECT_EQ(Play("named()+<1>"), "\tError : No match for operator 'Scalar + Vector' in :\n\t        \t + <1>\n");
    EXPECT_EQ(Play("named()*&u"), "\tReference : ()*u\n");
    for (const char* line : {"k:Symbol; v = <k>", "named()*v"}) Play(line);
    EXPECT_EQ(output.str(), "\tError : No match for operator 'Scalar * Symbol' in :\n\t        \t * k\n");
    EXPECT_EQ(Play("v*named()"), "\tError : No match for operator 'Symbol * Scalar' in :\n\t        \tk * \n");
    // A statement that is only the call defines the named result.
    EXPECT_EQ(Play("named()"), "\tDefining Scalar : n = 3\n");
    EXPECT_EQ(Play("named()"), "\tScalar : n = 3\n");
    EXPECT_EQ(Play("n+1"), "\tScalar : 4\n");
}

TEST_F(Embedding, CallablesThatShareAValueDoNotSeeItNamed) {
    const s_refptr<Symbol> shared = make_refptr<Scalar>("", 7);
    Binding(state).RightUnary("*", [shared](double) { return shared; });
    EXPECT_EQ(Play("x = *1; *2"), "\tDefining Scalar : x = 7\n\tScalar : 7\n");
    EXPECT_EQ(shared->GetName().Get(), "");
}

TEST_F(Embedding, NamingAResultLeavesTheSymbolItWasReadFromAlone) {
    state.EditRegistry().constructors["Length"] = [](State& owner, const s_str& name, std::string_view text, s_bool,
                                                     s_str& error) -> s_refptr<Symbol> {
        s_refptr<Symbol> value = owner.ParseSymbol("", text, error, false);
        return value ? Symbol::Named(std::move(value), name) : nullptr;
    };
    EXPECT_EQ(Play("q = 4; k:Length(q); <q>; q"),
              "\tDefining Scalar : q = 4\n\tDefining Length : k = 4\n\tVector : <4>\n\tScalar : 4\n");
}

TEST_F(Embedding, CallablesMayCarryOutStatements) {
    Binding(state).Function("run", [](State& owner) {
        owner.ParseLine("x = x+1; ~y; y = <x, (x)>; r &= x*10");
        for (int i = 0; i < 300; ++i) owner.ParseLine("n" + std::to_string(i) + " = " + std::to_string(i));
        return 100.0;
    });
    Play("x = 1; y = 0; r &= x");
    state.ParseLine("z = x+run()+x*(run()+n299)+r"); // each operand has the value of the moment it was read
    EXPECT_TRUE(
        output.str().ends_with("\tDefining Scalar : z = " + std::to_string(1 + 100 + 2 * (100 + 299) + 30) + "\n"));
}

TEST_F(Embedding, ValuesThatLieAboutTheirTypeAreNotTrusted) {
    struct Liar final : Symbol {
        Liar() : Symbol("") {}
        const s_str& GetType() const override { return TypeNameOf<Scalar>(); }
    };
    Binding(state).Function("lie", []() -> s_refptr<Symbol> { return make_refptr<Liar>(); });
    EXPECT_EQ(Play("lie()+1"), "\tError : An operand's class does not match its type name\n");
}

TEST_F(Embedding, ExceptionsOfCallablesLeaveTheSymbolsAlone) {
    Binding(state).Function("throws", []() -> double { throw std::runtime_error("mine"); });
    Play("x = 1");
    EXPECT_THROW(Play("x = 1+throws()"), std::runtime_error);
    EXPECT_THROW(Play("r &= throws()"), std::runtime_error);
    EXPECT_EQ(Play("?x;?r;1+1"), "\tScalar : x = 1\n\t'r' is undefined\n\tScalar : 2\n");
}

TEST_F(Embedding, AFailureThatACallableSwallowedDoesNotCountForTheNext) {
    Binding(state).RightUnary("*", [](State& owner, double a, s_str& error) -> s_refptr<Symbol> {
        s_str swallowed;
        owner.ParseSymbol("", "z+1", swallowed, false);
        return Fail(error, s_str(a) + " is refused");
    });
    Play("z &= z+1; r &= *1");
    EXPECT_EQ(Play("r+1"), "\tReference : (*1)+1\n"); // an ordinary failure: the operation is kept

    Binding(state).RightUnary("*", [](State& owner, double, s_str& error) -> s_refptr<Symbol> {
        owner.ParseSymbol("", "z+1", error, false);
        owner.GetSymbols().at("unrelated")->GetType();
        return nullptr;
    });
    Play("unrelated &= nothing");
    EXPECT_EQ(Play("r+1"), "\tError : Circular reference in expression 'z+1'\n"); // this one is passed on
}

TEST_F(Embedding, AnOperationThatChangesWhatItMeetsAgainIsNoCircle) {
    Binding(state).Binary("%", [](State& owner, double a, double b, s_str& error) -> s_refptr<Symbol> {
        if (a <= 0) return make_refptr<Scalar>(b);
        owner.ParseLine("n = n-1");
        return owner.ParseSymbol("", "m%1", error, false);
    });
    Play("n = 3; m &= n");
    EXPECT_TRUE(Play("m%1").ends_with("\tScalar : 1\n"));
}

TEST_F(Embedding, OperatorsOutsideOfTheTableAreDispatchedToo) {
    Binding(state).Binary("<=>", [](double a, double b) { return a - b; });
    s_str error;
    const s_refptr<Symbol> a = make_refptr<Scalar>(7);
    EXPECT_EQ(state.ApplyBinaryOperator("<=>", a, make_refptr<Scalar>(2), error)->ToString().Get(), "5");
    EXPECT_FALSE(state.ApplyBinaryOperator("<=>", a, make_refptr<Length>(""), error));
    EXPECT_EQ(error.Get(), "\tError : No match for operator 'Scalar <=> Length' in :\n\t        \t7 <=> 0m");
}

TEST_F(Embedding, TheGeneratorIsTheOneOfTheRuntime) {
    std::srand(7);
    std::vector<double> drawn;
    for (int i = 0; i < 100; ++i) drawn.push_back(std::rand() / (RAND_MAX / 32768 + 1) / 32767.0);
    std::srand(7);
    s_str error;
    for (const double value : drawn) {
        const s_refptr<Symbol> random = state.ParseSymbol("", "rand(2, 4)", error, false);
        EXPECT_EQ(dynamic_cast<const Scalar&>(*random).GetValue(), 2 + value * 2);
    }
    EXPECT_GT(*std::max_element(drawn.begin(), drawn.end()), 0.9);
}

TEST_F(Embedding, LiteralsOfAnyLengthAreRead) {
    s_str error;
    EXPECT_EQ(state.ParseSymbol("", std::string(400, '9'), error, false)->ToString().Get(), "inf+");
    EXPECT_EQ(state.ParseSymbol("", "." + std::string(400, '0') + "1", error, false)->ToString().Get(), "0");
    const std::string exponent(30, '9');
    EXPECT_EQ(Play("x:Scalar(1e-" + exponent + "); 1e" + exponent), "\tDefining Scalar : x = 0\n\tScalar : inf+\n");
}

TEST_F(Embedding, WhatRunsOutlivesWhatReplacesIt) {
    Binding(state).Function("once", [text = std::string(100, '1')](State& owner) {
        Binding(owner).Function("once", [] { return 2.0; });
        return static_cast<double>(text.size());
    });
    EXPECT_EQ(Play("once+once"), "\tScalar : 102\n");
    state.EditRegistry().functions["once"]["()"] = {}; // as when memory runs out while it is registered
    EXPECT_EQ(Play("once()").substr(0, 40), "\tError : No matching function call to :\n");

    bool isOuter = true;
    Binding(state).Function("f", [&](State& owner) {
        if (!std::exchange(isOuter, false)) return 1.0;
        for (int i = 0; i < 4; ++i) { // each time, the kept text that calls this is parsed anew
            owner.EditRegistry();
            s_str unseen;
            owner.ParseSymbol("", "r+0", unseen, false);
        }
        return 2.0;
    });
    Play("r &= a+f; o = r*2; a = 1");
    isOuter = true;
    EXPECT_EQ(Play("o"), "\tScalar : 4\n"); // the text is evaluated again, and f is 1 by then
}

TEST_F(Embedding, AStatementHasTheLastWordOnItsSymbol) {
    Binding(state).Function("f", [](State& owner) {
        owner.ParseLine("x = 7");
        return 3.0;
    });
    EXPECT_TRUE(Play("x &= f()").ends_with("\tDefining Reference : x = 3\n"));
    EXPECT_EQ(state.GetSymbols().at("x")->GetRealType(), "Reference");
}

TEST_F(Embedding, WhatIsErasedMeanwhileIsNotPutBack) {
    state.EditRegistry().constructors["Length"] = [](State&, const s_str& name, std::string_view, s_bool, s_str&) {
        return make_refptr<Length>(name, 1);
    };
    Binding(state).Function("erasing", [this]() -> double {
        state.ParseLine("~x");
        throw std::runtime_error("after that");
    });
    Play("x = 1");
    EXPECT_THROW(Play("x &= erasing()"), std::runtime_error); // evaluated to be shown, with the new x in place
    EXPECT_EQ(Play("?x"), "\t'x' is undefined\n");
}

/// A stream that calls `interrupt`, once, before it takes the next text.
class Interrupted : public std::streambuf {
public:
    std::function<void()> interrupt;
    std::string taken;

private:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        if (interrupt) std::exchange(interrupt, nullptr)();
        taken.append(text, static_cast<std::size_t>(count));
        return count;
    }
};

TEST_F(Embedding, AStatementIsDoneBeforeItIsReported) {
    Interrupted buffer;
    std::ostream interrupted(&buffer);
    state.SetStreams(input, interrupted);
    const std::string name(100, 'n');
    buffer.interrupt = [&] { state.ParseLine("y = x+1;" + name + " = 3;?"); };
    state.ParseLine("x = 1; z = 4");
    EXPECT_TRUE(buffer.taken.starts_with(
        "\tDefining Scalar : x = 1\n\tDefining Scalar : y = 2\n\tDefining Scalar : " + name + " = 3\n\tHelp :"));
    EXPECT_TRUE(buffer.taken.ends_with("\n\tDefining Scalar : z = 4\n"));

    interrupted.exceptions(std::ios::badbit);
    buffer.interrupt = [&] {
        state.ParseLine("?y");
        throw std::runtime_error("full");
    };
    EXPECT_THROW(state.ParseLine("x = 5; z = 6"), std::runtime_error);
    interrupted.clear();
    buffer.taken.clear();
    state.ParseLine("?x;?z"); // the reported statement is done, the rest of its line is not
    EXPECT_EQ(buffer.taken, "\tScalar : y = 2\n\tScalar : x = 5\n\tScalar : z = 4\n");
}

TEST_F(Embedding, OperatorsStayWhileAnExpressionIsEvaluated) {
    Binding(state).Function("replacing", [](State& owner, s_str& error) -> s_refptr<Symbol> {
        if (!owner.SetOperatorPriorities({{"+", 1}}, error)) return nullptr;
        return make_refptr<Scalar>(1);
    });
    EXPECT_EQ(Play("1*replacing()"), "\tError : Operators cannot be replaced while an expression is evaluated\n");
    EXPECT_EQ(Play("u = &a+1; u*2"), "\tDefining Reference : u = a+1\n\tReference : (a+1)*2\n");
    EXPECT_TRUE(state.SetOperatorPriorities({{"*", 2}}));
    state.Set("a", 5.0);
    EXPECT_FALSE(state.Get<double>("u")); // "a+1" is no operation now
    EXPECT_EQ(Play("u*2"), "\tReference : a+1*2\n");
}

TEST_F(Embedding, TheLibraryPrintsNothingByItself) {
    s_str error;
    EXPECT_FALSE(state.ParseSymbol("", "1+unknown", error, false));
    EXPECT_EQ(error.Get(), "\tError : Unknown symbol 'unknown'");
    EXPECT_EQ(state.ParseSymbol("n", " 1+1 ", error, false)->ToString().Get(), "n = 2");
    EXPECT_EQ(state.ParseSymbol("", "fresh", error, true)->GetName().Get(), "fresh");
    EXPECT_FALSE(state.ParseSymbol("n", "fresh", error, true));
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(state.GetSymbols().size(), 1u);
}

TEST_F(Embedding, SymbolsAreSetAndReadWithoutText) {
    EXPECT_EQ((*state.Set("x", 2.5))->ToString().Get(), "x = 2.5");
    const s_refptr<Symbol> shared = make_refptr<Length>("", 3);
    EXPECT_TRUE(state.Set("y", shared) && state.Set("z", shared));
    EXPECT_EQ(Play("x;y+z;?z"), "\tScalar : 2.5\n\tLength : 6m\n\tLength : z = 3m\n");
    const s_refptr<Symbol> held = state.Get("x");
    EXPECT_TRUE(state.Set("x", 4.5));
    EXPECT_EQ(held->ToString().Get(), "x = 2.5");
    EXPECT_TRUE(state.Set("x", std::vector<double>{1, 2}));
    EXPECT_TRUE(state.Set("x", 3.5));
    EXPECT_TRUE(state.Set("x", 2.5));
    EXPECT_EQ(Play("x"), "\tScalar : 2.5\n");
    Play("r &= 2*x; u &= nothing");
    EXPECT_EQ(*state.Get<double>("r"), 5);
    Play("b &= u*2; e:Reference");
    for (const char* name : {"u", "b"}) // as the expression of the reference would say
        EXPECT_EQ(state.Get<double>(name).GetError().Get(), "\tError : Unknown symbol 'nothing'");
    EXPECT_EQ(Formula(state, "b+1").Evaluate<double>().GetError().Get(), "\tError : Unknown symbol 'nothing'");
    EXPECT_EQ(state.Get<double>("e").GetError().Get(), "\tError : The value is a Reference, not a Scalar");
    EXPECT_EQ(state.Evaluate<double>("y").GetError().Get(), "\tError : The value is a Length, not a Scalar");
    EXPECT_EQ(state.Set("_", 1.0).GetError().Get(), "\tError : Reference to last result '_' is not assignable");
    EXPECT_FALSE(state.Set("Length", 1.0) || state.Set("", 1.0));
    EXPECT_FALSE(state.Set("x", nullptr));
    EXPECT_FALSE(state.Erase("_"));
    EXPECT_TRUE(state.Erase("x"));
    EXPECT_FALSE(state.Erase("x"));
    EXPECT_EQ(state.Get("x"), s_refptr<Symbol>());
}

TEST_F(Embedding, FormulasFollowWhatTheyDependOn) {
    double a = 2;
    Formula formula(state, "2*a+b");
    EXPECT_TRUE(formula.Bind("a", a));
    EXPECT_FALSE(formula.Bind("not a name", a));
    EXPECT_EQ(formula.Evaluate<double>().GetError().Get(), "\tError : Unknown symbol 'b'");
    state.Set("a", 100.0); // hidden by the variable
    const auto expect = [&](const char* text) {
        for (int i = 0; i < 4; ++i) { // first with objects, then with words
            const auto value = formula.Evaluate();
            EXPECT_EQ(value ? state.TextOf(**value)->Get() : value.GetError().Get(), text);
        }
    };
    Play("b = 1");
    expect("5");
    a = 3;
    expect("7");
    Play("b = 5m");
    expect("\tError : No match for operator 'Scalar + Length' in :\n\t        \t6 + 5m");
    Play("b &= c");
    expect("6+c");
    Play("c = 4");
    expect("10");
    Binding(state).Binary("*", [](double x, double y) { return x * y + 100; });
    expect("110");
    state.GetLimits().SetStepBudget(5);
    Play("b = 1");
    expect("107");
    state.GetLimits().SetStepBudget(4);
    expect("\tError : Too many steps, the statement was stopped");
    state.GetLimits().SetStepBudget(Limits::Unlimited);

    formula = Formula(state, "max(<a, 1>[0], a)+r*<a>");
    formula.Bind("a", a);
    Play("r &= a"); // the symbol
    expect("\tError : No match for operator 'Scalar + Vector' in :\n\t        \t3 + <400>");
}

TEST_F(Embedding, FormulasNoticeEveryChange) {
    static State* changed;
    changed = &state;
    Binding bind(state);
    bind.Function("next", [] { // without a state of its own, so that it could work on words
        changed->Set("x", *changed->Get<double>("x") + 1);
        return 0.0;
    });
    state.Set("x", 0.0);
    Formula impure(state, "next+x");
    for (int i = 1; i < 6; ++i) EXPECT_EQ(*impure.Evaluate<double>(), i);

    Formula pure(state, "f(x)");
    Binding bindPure(state, Purity::Pure);
    for (const double y : {1.0, 2.0}) { // the same binding registers again
        bindPure.Function("f", [](double a) { return a; });
        for (int i = 0; i < 4; ++i) EXPECT_EQ(*pure.Evaluate<double>(), 5);
        pure.Bind("x", y);
        EXPECT_EQ(*pure.Evaluate<double>(), y);
        pure = Formula(state, "f(x)");
    }
    bindPure.Function("f", [](double a) { return -a; });
    EXPECT_EQ(*pure.Evaluate<double>(), -5);
}

TEST_F(Embedding, OnlyWhatIsPureIsEvaluatedOnce) {
    int calls = 0;
    Binding(state).Function("impure", [&] { return static_cast<double>(++calls); });
    Binding(state, Purity::Pure).Function("pure", [&] {
        ++calls;
        return 5.0;
    });
    Play("p &= pure+0; q &= p*p; i &= impure+0; j &= i-i");
    calls = 0;
    EXPECT_EQ(Play("q+p-q"), "\tScalar : 5\n");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(Play("p"), "\tScalar : 5\n"); // the next statement begins anew
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(Play("j*j"), "\tScalar : 1\n"); // 3-4 and 5-6
    EXPECT_EQ(calls, 6);
}

TEST_F(Embedding, WhatIsShownIsEvaluatedAnew) {
    int calls = 0;
    Binding(state).Function("next", [&] { return static_cast<double>(++calls); });
    Play("k:Symbol; z &= q; r &= next()");
    const std::pair<const char*, const char*> rows[] = {
        {"k+r", "\tError : No match for operator 'Symbol + Scalar' in :\n\t        \tk + 2\n"},
        {"r+k", "\tError : No match for operator 'Scalar + Symbol' in :\n\t        \t3 + k\n"},
        {"r%<1>", "\tError : No match for operator 'Scalar % Vector' in :\n\t        \t3 % <1>\n"},
        {"r!", "\tError : No match for operator 'Scalar !' in :\n\t        \t3 !\n"},
        {"r^", "\tError : No match for operator 'Scalar ^' in :\n\t        \t2 ^\n"}, // no overload of any type
        {"r+z", "\tReference : 2+q\n"}, // once for the type and once for the text
        {"z+r", "\tReference : q+1\n"}, // only the text
        {"<0, &r, &r>", "\tVector : <0, 3, 4>\n"},
    };
    for (const auto& [line, answer] : rows) {
        calls = 0;
        EXPECT_EQ(Play(line), answer);
    }
}

TEST_F(Embedding, AFailureForALimitOrACircleIsNotRemembered) {
    const auto add = [&](const char* name, const char* text, bool falls) {
        Binding(state, Purity::Pure).Function(name, [text, falls](State& owner, s_str& error) -> s_refptr<Symbol> {
            const Result<double> value = owner.Evaluate<double>(text);
            if (!value && !falls) return Fail(error, s_str("\tError : no ") + text);
            return make_refptr<Scalar>(value ? *value : 0);
        });
    };
    add("f", "x+x", false);
    Play("x = 1; r &= f");
    const char* const tooMany = "\tError : Too many steps, the statement was stopped";
    for (const char* text : {"r", "f", "sqrt(r)", "r+1"}) {
        state.GetLimits().SetStepBudget(3);
        EXPECT_EQ(state.Evaluate<double>(text).GetError().Get(), tooMany) << text;
        EXPECT_EQ(Formula(state, text).Evaluate<double>().GetError().Get(), tooMany) << text;
        EXPECT_EQ(Play(text), s_str(tooMany) + "\n") << text;
        state.GetLimits().SetStepBudget(Limits::Unlimited);
        EXPECT_TRUE(state.Evaluate<double>(text)) << text;
    }

    add("inner", "r", false);
    add("outer", "s+1", true);
    Play("s &= inner; r &= outer");
    for (const char* line : {"s+2", "r+s+2", "s+r+2"}) EXPECT_EQ(Play(line), "\tScalar : 2\n") << line;
}

TEST_F(Embedding, AFormulaThatIsStoppedWhileItIsParsedIsParsedAgain) {
    std::atomic<bool> isCancelled = false;
    bool cancels = true;
    state.GetLimits().SetCancellation(&isCancelled);
    state.EditRegistry().literalTests["Length"] = [&](std::string_view text) {
        if (cancels) isCancelled = true;
        return text == "5m";
    };
    std::string text = "size(5m)+(1";
    for (int i = 0; i < 40'000; ++i) text += "+1";
    Formula formula(state, text + ")");
    EXPECT_EQ(formula.Evaluate<double>().GetError().Get(), "\tError : Cancelled, the statement was stopped");
    cancels = isCancelled = false;
    const Result<double> value = formula.Evaluate<double>();
    EXPECT_EQ(value ? *value : 0, 40'006) << value.GetError().Get();
}

TEST_F(Embedding, EveryChangeEndsWhatIsKnown) {
    Binding bind(state);
    bind.Function("set", [](State& owner, double a) { return *owner.Get<double>("a") - (owner.Set("a", a), a); });
    bind.Function("last", [](State& owner, double a) {
        owner.SetLastResult(make_refptr<Scalar>(a));
        return 0.0;
    });
    bind.Function("learn", [](State& owner, double a) {
        Binding(owner, Purity::Pure).Function("f", [a](double b) { return a * b; });
        return 0.0;
    });
    bind.Function("play", [](State& owner, double a) {
        owner.ParseLine("b = " + std::to_string(a) + "; ~c; c &= a+b");
        return 0.0;
    });
    Play("a = 1; b = 2; c &= a+b; r &= a*10; s &= _+0; t &= f(1)+0; u &= c*100; learn(3); 4");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Play("a = 1; (r+0) + 0*set(7) + (r+0)"), "\tDefining Scalar : a = 1\n\tScalar : 80\n");
        EXPECT_EQ(Play("4; (s+0) + last(5) + (s+0)"), "\tScalar : 4\n\tScalar : 9\n");
        EXPECT_EQ(Play("learn(3); (t+0) + learn(2) + (t+0)"), "\tScalar : 0\n\tScalar : 5\n");
        Play("b = 2");
        EXPECT_TRUE(Play("(u+0) + play(3) + (u+0)").ends_with("\tScalar : 1900\n"));
    }
}

TEST_F(Embedding, ReferencesOfAnotherStateAreEvaluatedAnew) {
    State other;
    int calls = 0;
    Binding(other).Function("next", [&] { return static_cast<double>(++calls); });
    state.Set("r", *other.Evaluate("&(next()+0)"));
    Play("z &= r*1; y &= sqrt(r*r)");
    calls = 0;
    for (int i = 1; i < 8; i += 2)
        EXPECT_EQ(*state.Evaluate<double>("z+100*z"), 100 * i + i + 1); // the right operand first
    calls = 0;
    EXPECT_EQ(*state.Evaluate<double>("max(r, 0)+100*max(r, 0)"), 201);
    Binding(state).Function("bump", [&] { return *other.Get<double>("x") * 0 + (other.Set("x", 5.0), 0.0); });
    other.Set("x", 1.0);
    state.Set("r", *other.Evaluate("&(x+1)"));
    for (int i = 0; i < 3; ++i) {
        other.Set("x", 1.0);
        EXPECT_EQ(*state.Evaluate<double>("(z+0)+bump()+z"), 8);
    }
}

TEST_F(Embedding, OnlyTheTextOfAFormulaSeesItsVariables) {
    const double x = 50;
    state.Set("x", 1.0);
    Binding(state).Function("symbol", [](State& owner) { return *owner.Evaluate<double>("x"); });
    Play("r &= symbol()+x");
    Formula formula(state, "<x, symbol(), r*1, symbol()*x>");
    formula.Bind("x", x);
    EXPECT_EQ(state.TextOf(**formula.Evaluate())->Get(), "<50, 1, 2, 50>");
}

TEST_F(Embedding, AFormulaThatIsOnlyAReferenceGivesIt) {
    Play("a = 2; r &= a*2; s &= r");
    Formula formula(state, "s");
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ((*formula.Evaluate())->GetRealType().Get(), "Reference");
        EXPECT_EQ(*formula.Evaluate<double>(), 4);
    }
}

TEST_F(Embedding, AFormulaMayBeReplacedWhileItRuns) {
    std::optional<Formula> formula;
    const double x = 3;
    Binding(state).Function("replace", [&](State& owner) {
        formula.emplace(owner, "7");
        return 1.0;
    });
    formula.emplace(state, "replace()+x+x");
    formula->Bind("x", x);
    EXPECT_EQ(*formula->Evaluate<double>(), 7);
    EXPECT_EQ(*formula->Evaluate<double>(), 7);
}

/// Works in its state when it is destroyed.
struct Last final : Value<Last> {
    static constexpr std::string_view TypeName = "Last";
    explicit Last(State& owner) : state(owner) {}
    Last(const Last& other) : Value(other), state(other.state) {}
    ~Last() override {
        state.Erase("x");
        state.Set("y", 1.0);
        EXPECT_TRUE(state.Evaluate("y"));
    }
    s_str ToString() const override { return "last"; }
    State& state;
};

struct Degrees {
    float count;
};

/// A flat type with a size.
struct Angle final : Value<Angle> {
    static constexpr std::string_view TypeName = "Angle";
    using Flat = Degrees;
    explicit Angle(Degrees value) : degrees(value) {}
    s_str ToString() const override { return WithName(s_str(static_cast<double>(degrees.count)) + "deg"); }
    s_str GetFullType() const override { return degrees.count < 90 ? "acute Angle" : "Angle"; }
    Degrees GetFlatValue() const { return degrees; }
    const Degrees degrees;
};

} // namespace
template <> struct Quarn::Conversion<Degrees> {
    using Class = Angle;
    static Degrees Read(const Angle& angle) { return angle.degrees; }
    static s_refptr<Symbol> Make(Degrees degrees) { return make_refptr<Angle>(degrees); }
};
namespace {

TEST_F(Embedding, VectorsHoldFlatValuesOfAHost) {
    Binding bind(state);
    bind.Type<Degrees>(
        [](std::string_view text) -> std::optional<Degrees> {
            if (!text.ends_with("deg")) return std::nullopt;
            return Degrees{static_cast<float>(std::atof(std::string(text).c_str()))};
        },
        [](float degrees) { return Degrees{degrees}; });
    bind.Binary("+", [](Degrees a, Degrees b) { return Degrees{a.count + b.count}; });
    EXPECT_EQ(Play("v = <30deg, Angle(45)>; v+v; v[1]"),
              "\tDefining Vector : v = <30deg, 45deg>\n\tVector : <60deg, 90deg>\n\tAngle : 45deg\n");
    Play("s = 2; r &= s+s; r; r");
    Formula sum(state, "r+s");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(*sum.Evaluate<double>(), 6);
    Play("s = 20deg");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(sum.Evaluate<Degrees>()->count, 60);
    EXPECT_EQ(Play("<30deg, 120deg>"), "\tError : Non-homogeneous Vectors are not allowed.\n"
                                       "\t        Trying to mix acute Angle with Angle\n");
    EXPECT_EQ(Play("<&v, 1>"), "\tError : Non-homogeneous Vectors are not allowed.\n"
                               "\t        Trying to mix Scalar with Vector\n");
    EXPECT_EQ(Play("a &= 3*2; w = <1, &a, a+1>"), "\tDefining Reference : a = 6\n\tDefining Vector : w = <1, 6, 7>\n");
    EXPECT_EQ(Play("a = 1; w+w"), "\tDefining Scalar : a = 1\n\tVector : <2, 2, 14>\n");
    const s_refptr<Symbol> value = state.Get("v");
    const Vector& vector = *As<Vector>(*value);
    std::string texts;
    for (const s_refptr<Symbol>& element : vector.GetElements()) texts += element->ToString().Get();
    EXPECT_EQ(texts, "30deg45deg");
    EXPECT_EQ(vector.GetElements().Size().Get(), 2u);
    const Vector made("m", {make_refptr<Angle>(Degrees{1}), make_refptr<Scalar>(2), make_refptr<Scalar>("n", 3)});
    EXPECT_EQ(made.ToString().Get(), "m = <1deg, 2, n = 3>");
}

TEST_F(Embedding, DestructorsOfValuesMayUseTheState) {
    for (const char* line : {"x = 1", "~x", "~"}) {
        state.Set("x", make_refptr<Last>(state));
        Play("x");
        Play(line);
        state.SetLastResult(nullptr);
    }
    EXPECT_EQ(*state.Get<double>("y"), 1);
}

TEST_F(Embedding, OperationsOfAHostHaveABudgetOfTheirOwn) {
    const s_refptr<Symbol> one = make_refptr<Scalar>(1);
    state.GetLimits().SetStepBudget(2);
    EXPECT_FALSE(state.Evaluate("1+1+1"));
    s_str error;
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(state.ApplyBinaryOperator("+", one, one, error)) << error.Get();
    state.GetLimits().SetStepBudget(0);
    EXPECT_FALSE(state.ApplyBinaryOperator("+", one, one, error) || state.ApplyRightUnaryOperator("-", one, error));
    state.GetLimits().SetStepBudget(2);
    state.GetLimits().SetTimeLimit(std::chrono::nanoseconds::max());
    EXPECT_TRUE(state.Evaluate("2"));
    state.GetLimits().SetDeepestNesting(3);
    state.GetLimits().SetStepBudget(Limits::Unlimited);
    EXPECT_EQ(*state.Evaluate<double>("(((1)))"), 1);
}

TEST_F(Embedding, AStateMayBeGlobal) {
    GlobalState.SetStreams(input, output);
    GlobalState.ParseLine("r &= sqrt(x)*2; x = 4; r+1");
    EXPECT_TRUE(output.str().ends_with("\tScalar : 5\n")) << output.str();
}

TEST_F(Embedding, WithoutVectorsTheirTextsAreNone) {
    State bare;
    s_str error;
    EXPECT_FALSE(bare.ParseSymbol("", "<(>x", error, false));
    EXPECT_EQ(error.Get(), "\tError : Unterminated '('");
    s_str second;
    EXPECT_FALSE(bare.ParseSymbol("", "<1>", second, false));
    EXPECT_EQ(second.Get(), "\tError : Unable to parse expression '<1>', no operator found");
}

} // namespace
