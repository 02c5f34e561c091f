#include "quarn/interpreter/engine/symbol_table.h"

#include <memory>
#include <utility>

#include "quarn/interpreter/language/names.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

/// Whether programs on words that read the symbol still hold: they know its type, if it is flat, but not its value. In
/// a reference they know the expression.
bool HaveSameMeaning(const Symbol& before, const Symbol& after) {
    Word word = 0;
    const FlatType* const type = after.GetFlat(word);
    return type == before.GetFlat(word) && (type || (!As<Reference>(before) && !As<Reference>(after)));
}

} // namespace

SymbolTable::SymbolTable(Clock& clock) : m_clock(clock), m_lastResult(m_map[LastResultName]) {}

SymbolTable::~SymbolTable() = default;

inline SymbolTable::Recent* SymbolTable::FindRecent(std::string_view name) {
    Recent& recent = m_recent[NameSlot(name, SlotCount)];
    return recent.symbol && IsSameName(recent.symbol->first, name) ? &recent : Search(name, recent);
}

SymbolTable::Recent* SymbolTable::Search(std::string_view name, Recent& recent) {
    const auto found = m_map.find(name);
    if (found == m_map.end()) return nullptr;
    recent = {&*found, {}};
    return &recent;
}

const s_refptr<Symbol>* SymbolTable::Find(std::string_view name) {
    const Recent* const recent = FindRecent(name);
    return recent ? &recent->symbol->second : nullptr;
}

const Operand* SymbolTable::Read(std::string_view name) {
    Recent* const recent = FindRecent(name);
    if (!recent) return nullptr;
    if (!recent->nameless) recent->nameless = Operand::Nameless(recent->symbol->second);
    return &recent->nameless;
}

// Values that are replaced or erased are destroyed by the caller: a destructor may use the table.

s_refptr<Symbol> SymbolTable::Exchange(std::string_view name, s_refptr<Symbol> value) {
    ++m_clock.symbols;
    Recent* const recent = FindRecent(name);
    if (!recent) {
        ++m_clock.meanings;
        m_weight += WeightOf(name, value);
        m_map.emplace(name, std::move(value));
        return nullptr;
    }
    if (!HaveSameMeaning(*recent->symbol->second, *value)) ++m_clock.meanings;
    m_weight += WeightOf(name, value) - WeightOf(name, recent->symbol->second);
    const Operand nameless = std::exchange(recent->nameless, {});
    return std::exchange(recent->symbol->second, std::move(value));
}

s_refptr<Symbol> SymbolTable::Assign(std::string_view name, const FlatType& type, Word word) {
    Recent* const recent = type.assign ? FindRecent(name) : nullptr;
    if (!recent || IsConstant(name)) return nullptr;
    const s_refptr<Symbol>& value = recent->symbol->second;
    Word before = 0;
    if (!value.IsUnique() || value->GetFlat(before) != &type) return nullptr;
    ++m_clock.symbols;
    type.assign(*value, word);
    recent->nameless = {}; // the object may hold another one than it was given
    return value;
}

s_refptr<Symbol> SymbolTable::SetLastResult(s_refptr<Symbol> value) {
    ++m_clock.lastResult;
    const Recent recent = std::exchange(m_recent[NameSlot(LastResultName, SlotCount)], {});
    m_lastResult.Swap(value);
    return value;
}

s_refptr<Symbol> SymbolTable::Erase(std::string_view name) {
    if (name == LastResultName) return nullptr;
    ++m_clock.symbols;
    ++m_clock.meanings;
    const Recent recent = std::exchange(m_recent[NameSlot(name, SlotCount)], {});
    const auto found = m_map.find(name);
    if (found == m_map.end()) return nullptr;
    m_weight -= WeightOf(name, found->second);
    if (const auto constant = m_constants.find(name); constant != m_constants.end()) m_constants.erase(constant);
    return std::move(m_map.extract(found).mapped());
}

SymbolTable::Map SymbolTable::EraseAll() {
    ++m_clock.symbols;
    ++m_clock.meanings;
    const auto recent = std::make_unique<std::array<Recent, SlotCount>>();
    recent->swap(m_recent);
    Map erased;
    erased.swap(m_map);
    m_map.insert(erased.extract(erased.find(LastResultName)));
    for (const s_str& name : m_constants) m_map.insert(erased.extract(erased.find(name)));
    m_weight = 0;
    m_isCounted = false;
    return erased;
}

std::size_t SymbolTable::GetWeightWith(const s_refptr<Symbol>& lastResult) {
    if (!std::exchange(m_isCounted, true))
        for (const auto& [name, value] : m_map)
            if (name != LastResultName) m_weight += WeightOf(name, value);
    const s_refptr<Symbol>* const stored = Find(lastResult->GetName());
    return stored && *stored == lastResult ? m_weight : m_weight + WeightOf({}, lastResult);
}

std::size_t SymbolTable::WeightOf(std::string_view name, const s_refptr<Symbol>& value) const {
    constexpr std::size_t Entry = 96;
    return m_isCounted ? Entry + name.size() + value->GetWeight() : 0;
}

} // namespace Quarn
