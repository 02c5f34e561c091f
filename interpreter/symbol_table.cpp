#include "interpreter/symbol_table.h"

#include "types/symbol.h"

namespace Quarn {

s_refptr<Symbol>& SymbolTable::Make(std::string_view name) {
    if (s_refptr<Symbol>* value = Find(name)) return *value;
    return m_map.emplace(name, nullptr).first->second;
}

void SymbolTable::Erase(std::string_view name) {
    m_recent[SlotOf(name)] = nullptr;
    const auto found = m_map.find(name);
    if (found != m_map.end()) m_map.erase(found);
}

void SymbolTable::EraseAllBut(std::string_view name) {
    m_recent.fill(nullptr);
    std::erase_if(m_map, [&](const auto& symbol) { return symbol.first != name; });
}

} // namespace Quarn
