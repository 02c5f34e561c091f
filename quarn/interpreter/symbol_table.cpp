#include "quarn/interpreter/symbol_table.h"

#include <utility>

#include "quarn/types/symbol.h"

namespace Quarn {

SymbolTable::SymbolTable() : m_lastResult(m_map[LastResultName]) {}

SymbolTable::~SymbolTable() = default;

inline SymbolTable::Recent* SymbolTable::FindRecent(std::string_view name) {
    Recent& recent = m_recent[SlotOf(name)];
    if (recent.symbol && recent.symbol->first == name) return &recent;
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

s_refptr<Symbol> SymbolTable::Exchange(std::string_view name, s_refptr<Symbol> value) {
    ++m_changes;
    Recent* const recent = FindRecent(name);
    if (!recent) {
        m_map.emplace(name, std::move(value));
        return nullptr;
    }
    recent->nameless = {};
    return std::exchange(recent->symbol->second, std::move(value));
}

void SymbolTable::SetLastResult(s_refptr<Symbol> value) {
    ++m_changes;
    m_recent[SlotOf(LastResultName)] = {};
    m_lastResult = std::move(value);
}

void SymbolTable::Erase(std::string_view name) {
    if (name == LastResultName) return;
    ++m_changes;
    m_recent[SlotOf(name)] = {};
    const auto found = m_map.find(name);
    if (found != m_map.end()) m_map.erase(found);
}

void SymbolTable::EraseAll() {
    ++m_changes;
    m_recent.fill({});
    std::erase_if(m_map, [](const auto& symbol) { return symbol.first != LastResultName; });
}

} // namespace Quarn
