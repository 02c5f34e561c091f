#include "interpreter/state.h"

#include <algorithm>
#include <cassert>
#include <iostream>

#include "types/reference.h"
#include "types/scalar.h"
#include "types/symbol.h"

namespace Quarn {

namespace {

const OperatorPriorities DefaultPriorities{{"[]", 5u}, {"!", 4u}, {"^", 3u}, {"*", 2u},
                                           {"/", 2u},  {"%", 2u}, {"+", 1u}, {"-", 1u}};

} // namespace

State::State() : m_input(&std::cin), m_output(&std::cout) {
    SetOperatorPriorities(DefaultPriorities);
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

void State::SetOperatorPriorities(const OperatorPriorities& priorities) {
    assert(m_depth == 0);
    EditRegistry().priorities = priorities;
    m_vocabulary = Vocabulary(m_registry);
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
