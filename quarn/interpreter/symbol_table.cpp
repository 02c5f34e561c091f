#include "quarn/interpreter/symbol_table.h"

#include <memory>
#include <utility>

#include "quarn/interpreter/names.h"
#include "quarn/types/symbol.h"

namespace Quarn {

SymbolTable::SymbolTable() : m_lastResult(m_map[LastResultName]) {}

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

// Values that are replaced or erased are destroyed last: a destructor may use the table.

s_refptr<Symbol> SymbolTable::Exchange(std::string_view name, s_refptr<Symbol> value) {
    ++m_changes;
    Recent* const recent = FindRecent(name);
    if (!recent) {
        m_map.emplace(name, std::move(value));
        return nullptr;
    }
    const Operand nameless = std::exchange(recent->nameless, {});
    return std::exchange(recent->symbol->second, std::move(value));
}

void SymbolTable::SetLastResult(s_refptr<Symbol> value) {
    ++m_lastResultChanges;
    const Recent recent = std::exchange(m_recent[NameSlot(LastResultName, SlotCount)], {});
    m_lastResult.Swap(value);
}

void SymbolTable::Erase(std::string_view name) {
    if (name == LastResultName) return;
    ++m_changes;
    const Recent recent = std::exchange(m_recent[NameSlot(name, SlotCount)], {});
    const auto found = m_map.find(name);
    if (found != m_map.end()) const auto erased = m_map.extract(found);
}

void SymbolTable::EraseAll() {
    ++m_changes;
    const auto recent = std::make_unique<std::array<Recent, SlotCount>>();
    recent->swap(m_recent);
    Map erased;
    erased.swap(m_map);
    m_map.insert(erased.extract(erased.find(LastResultName)));
}

} // namespace Quarn
