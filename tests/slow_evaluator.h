#pragma once

#include "quarn/interpreter/state.h"
#include "quarn/types/reference.h"

/// The language exactly as its rules say: texts are cut, joined and cut again, and nothing is cached. It shares the
/// registries, the symbols and the dispatch of a state, to be compared with the evaluation by that state.
class SlowEvaluator {
public:
    explicit SlowEvaluator(Quarn::State& state) : m_state(state) {}

    Quarn::s_refptr<Quarn::Symbol> ParseSymbol(const Quarn::s_str& name, Quarn::s_str expression, Quarn::s_str& error,
                                               bool allowNew);

    /// Rewrites an operation to be kept.
    bool Rewrite(const Quarn::s_str& input, Quarn::s_str& output, Quarn::s_str& error) const;

private:
    using Value = Quarn::s_refptr<Quarn::Symbol>;
    using Text = Quarn::s_str;

    Value ParsePiece(const Text& name, const Text& piece, Text& error, bool allowNew, bool& fallsThrough);
    Value ParseOperators(const Text& name, const Text& expression, const Quarn::s_ctnr<Text>& pieces, Text& error);
    Value ParseCall(const std::string& piece, Text& error);
    Value CallFunction(const std::string& name, const std::string& arguments, Text& error);
    Value Evaluate(const std::string& text, Text& error) { return ParseSymbol("", text, error, false); }

    Quarn::State& m_state;
};
