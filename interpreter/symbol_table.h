#pragma once

#include <array>

#include "interpreter/registry.h"

namespace Quarn {

/// The symbols by name, in order. Names that were looked up lately are found again without a search.
class SymbolTable {
public:
    using Map = Table<s_refptr<Symbol>>;

    const Map& GetMap() const { return m_map; }

    /// The value of the symbol, or null. It stays where it is until the symbol is erased.
    s_refptr<Symbol>* Find(std::string_view name) {
        Map::value_type*& recent = m_recent[SlotOf(name)];
        if (recent && recent->first == name) return &recent->second;
        const auto found = m_map.find(name);
        if (found == m_map.end()) return nullptr;
        recent = &*found;
        return &recent->second;
    }

    /// The value of the symbol, which is made when there is none, and holds nothing then.
    s_refptr<Symbol>& Make(std::string_view name);
    /// Nothing happens when there is none.
    void Erase(std::string_view name);
    void EraseAllBut(std::string_view name);

private:
    static constexpr std::size_t SlotCount = 256; ///< a few times the names in use at a time; two kilobytes

    /// Names in a row, like x1 to x50, go to slots of their own.
    static std::size_t SlotOf(std::string_view name) {
        if (name.empty()) return 0;
        const auto code = [&](std::size_t position) -> std::size_t {
            return static_cast<unsigned char>(name[position]);
        };
        const std::size_t last = name.size() - 1;
        return (code(0) * 31 + code(last / 2) * 10 + code(last) + last * 7) % SlotCount;
    }

    Map m_map;
    std::array<Map::value_type*, SlotCount> m_recent{};
};

} // namespace Quarn
