#include "quarn/interpreter/state.h"

#include <algorithm>
#include <iostream>

#include "quarn/types/reference.h"
#include "quarn/types/scalar.h"
#include "quarn/types/symbol.h"

namespace Quarn {

State::State() : m_input(&std::cin), m_output(&std::cout) {
    SetOperatorPriorities({{"[]", 5}, {"!", 4}, {"^", 3}, {"*", 2}, {"/", 2}, {"%", 2}, {"+", 1}, {"-", 1}});
    Symbol::Register(*this);
    Reference::Register(*this);
    Scalar::Register(*this);
    SetLastResult(nullptr);
}

State::~State() = default;

void State::SetStreams(std::istream& input, std::ostream& output) {
    m_input = &input;
    m_output = &output;
}

void State::SetLastResult(s_refptr<Symbol> value) {
    if (!value) value = MakeEmptyReference();
    m_symbols.SetLastResult(std::move(value));
}

s_refptr<Symbol> State::MakeEmptyReference() { return make_refptr<Reference>("", "", *this); }

s_bool State::CheckSymbolName(std::string_view name, s_str& error) const {
    if (name == SymbolTable::LastResultName)
        return Fail(error, "\tError : Reference to last result '_' is not assignable");
    if (!std::ranges::all_of(name, IsNameCharacter))
        return Fail(error, "\tError : Only alphanumeric names are allowed for symbols, in '" + s_str(name) + "'");
    return true;
}

Registry& State::EditRegistry() {
    ++m_generation;
    return m_registry;
}

void State::RegisterFunction(const s_str& name, const s_str& signature, Function function) {
    EditRegistry().functions[name][signature] = std::move(function);
}

/// Brackets are counted wherever they stand in a text. An angle or square one that ends an operator is harmless outside
/// of brackets of its kind.
static bool BreaksBrackets(std::string_view op) {
    const auto bracket = op.find_first_of("()<>[]");
    return bracket < op.size() && (bracket == 0 || bracket + 1 < op.size() || op.ends_with('(') || op.ends_with(')'));
}

s_bool State::SetOperatorPriorities(const OperatorPriorities& priorities, s_str& error) {
    if (m_depth > 0) return Fail(error, "\tError : Operators cannot be replaced while an expression is evaluated");
    std::string_view before;
    for (const auto& [op, priority] : priorities) { // in ascending order: what begins with another follows it
        if (op.IsEmpty()) return Fail(error, "\tError : An operator needs a text");
        if (BreaksBrackets(op) && op != "[]") return Fail(error, "\tError : Operator '" + op + "' contains a bracket");
        if (!before.empty() && op.StartsWith(before))
            return Fail(error,
                        "\tError : Operator '" + op + "' begins with operator '" + before + "' and can never be found");
        before = op;
    }
    EditRegistry().priorities = priorities;
    m_vocabulary = Vocabulary(m_registry);
    ++m_operatorsVersion;
    return true;
}

s_bool State::SetOperatorPriorities(const OperatorPriorities& priorities) {
    s_str unseen;
    return SetOperatorPriorities(priorities, unseen);
}

s_uint State::GetOperatorPriority(std::string_view op) const {
    const auto found = m_registry.priorities.find(op);
    return found == m_registry.priorities.end() ? s_uint::NaN : found->second;
}

void State::BindVocabulary() {
    if (m_boundGeneration == m_generation) return;
    m_vocabulary.Bind(m_registry);
    m_boundGeneration = m_generation;
}

} // namespace Quarn
