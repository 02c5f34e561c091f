#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>

#include "quarn/interpreter/limits/clock.h"
#include "quarn/types/operand.h"

namespace Quarn {

/// The symbols by name, in order. There is always one called "_", the last result. Recently used names are cached.
class SymbolTable {
public:
    using Map = std::map<s_str, s_refptr<Symbol>, s_text_order>;
    static constexpr std::string_view LastResultName = "_";

    /// The clock is not owned: it counts the changes.
    explicit SymbolTable(Clock& clock);
    ~SymbolTable();
    SymbolTable(const SymbolTable&) = delete;
    SymbolTable& operator=(const SymbolTable&) = delete;

    const Map& GetMap() const { return m_map; }

    /// The value of the symbol; null if there is none. The pointer is valid until the symbol is erased.
    const s_refptr<Symbol>* Find(std::string_view name);
    /// The value without its name, as operands have it, shared by all who read the symbol before it changes. Null if
    /// there is none. The pointer is valid until the next look-up.
    const Operand* Read(std::string_view name);

    /// Gives the symbol the value, and creates it if there is none. Returns its previous value; null if there was none.
    s_refptr<Symbol> Exchange(std::string_view name, s_refptr<Symbol> value);
    /// Gives the symbol another flat value of its type, without a new object. Null if that is not possible, because it
    /// has none of the type, or others hold its value.
    s_refptr<Symbol> Assign(std::string_view name, const FlatType& type, Word word);
    /// Gives the last result the value, and returns its previous one. Cannot fail.
    s_refptr<Symbol> SetLastResult(s_refptr<Symbol> value);
    /// Returns the value. Does nothing if there is none, or for the last result.
    s_refptr<Symbol> Erase(std::string_view name);
    /// Returns all but the last result and the constants.
    Map EraseAll();
    /// Until the symbol is erased, statements can only read it.
    void MakeConstant(const s_str& name) { m_constants.insert(name); }
    bool IsConstant(std::string_view name) const { return !m_constants.empty() && m_constants.contains(name); }

    /// The memory that the symbols would take with this last result, in bytes. They are counted from the first call on.
    std::size_t GetWeightWith(const s_refptr<Symbol>& lastResult);

private:
    struct Recent {
        Map::value_type* symbol = nullptr;
        Operand nameless; ///< what `Read` returns, once it was called
    };
    static constexpr std::size_t SlotCount = 1024; ///< several times the number of names in use at once; 56 KB

    /// The slot that caches the symbol from now on; null if there is none.
    Recent* FindRecent(std::string_view name);
    /// Searches the map for a name that is not in its slot, and puts it there.
    [[gnu::noinline]] Recent* Search(std::string_view name, Recent& recent);

    /// Of a symbol, in bytes; 0 while they are not counted.
    std::size_t WeightOf(std::string_view name, const s_refptr<Symbol>& value) const;

    Clock& m_clock;
    Map m_map;
    s_refptr<Symbol>& m_lastResult; ///< in the map
    std::array<Recent, SlotCount> m_recent;
    std::set<s_str, s_text_order> m_constants;
    bool m_isCounted = false;
    std::size_t m_weight = 0; ///< of all but the last result, once they are counted
};

} // namespace Quarn
