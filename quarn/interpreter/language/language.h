#pragma once

#include <bitset>

#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/language/operators.h"
#include "quarn/interpreter/limits/clock.h"

namespace Quarn {

/// A kind of literal.
struct Literal {
    const s_str* type;
    const LiteralTest* test;
    const Constructor* constructor; ///< reads it; null when none is registered
    bool isConstant;                ///< depends on nothing but its text
    FlatReader reader;
    ByteSet canBegin; ///< the bytes that such a literal can begin with
};

/// What texts mean: the registries and the operators, and both in the form that the parser uses.
class Language {
public:
    /// The clock is not owned: it counts the changes.
    explicit Language(Clock& clock) : m_clock(clock) {}

    const Registry& GetRegistry() const { return m_registry; }
    /// For adding entries, until the next `Refresh`.
    Registry& EditRegistry() {
        ++m_clock.language;
        return m_registry;
    }

    /// Only while nothing is evaluated. False if there is none.
    bool RemoveFunction(std::string_view name);

    const OperatorPriorities& GetPriorities() const { return m_priorities; }
    /// Replaces the operators, or fails. Everything parsed before must be parsed again.
    Outcome SetPriorities(const OperatorPriorities& priorities, s_str& error);
    /// Counts the replacements of the operators.
    unsigned GetOperatorsVersion() const { return m_operatorsVersion; }

    /// Looks up what parsing needs in the registries.
    void Refresh() {
        if (m_refreshed != m_clock.language && !m_isTesting) RefreshAll();
    }
    const Operators& GetOperators() const { return m_operators; }

    /// Calls `take` with each kind of literal that the text is, in ascending order of the types. The text is not empty.
    template <class Take> void ForEachLiteral(std::string_view text, const Take& take) const {
        const struct Testing {
            bool& isTesting;
            explicit Testing(bool& flag) : isTesting(flag) { isTesting = true; }
            ~Testing() { isTesting = false; }
        } testing(m_isTesting);
        for (const Literal& literal : m_literals)
            if (literal.canBegin[static_cast<unsigned char>(text.front())] && (*literal.test)(text)) take(literal);
    }
    struct FoundLiteral {
        unsigned count = 0;               ///< more than one is an error
        const Literal* literal = nullptr; ///< the last one of them
    };
    FoundLiteral FindLiteral(std::string_view text) const {
        FoundLiteral found;
        if (!m_canBegin[static_cast<unsigned char>(text.front())]) return found;
        ForEachLiteral(text, [&](const Literal& literal) { found = {found.count + 1, &literal}; });
        return found;
    }
    /// The type of a literal that its flat reader reads, and that can be no other; null if it is none.
    const FlatType* ReadFlatLiteral(std::string_view text, Word& word) const {
        const FlatReader& reader = m_readers[static_cast<unsigned char>(text.front())];
        return reader && reader.read(text, word) ? reader.type : nullptr;
    }
    /// The overloads of a function; null if there is none. Recently used names are found without a search.
    const FunctionOverloads* FindFunctions(std::string_view name) const {
        const Table<FunctionOverloads>::value_type*& recent =
            m_recentFunctions[NameSlot(name, m_recentFunctions.size())];
        if (!recent || !IsSameName(recent->first, name)) {
            const auto found = m_registry.functions.find(name);
            if (found == m_registry.functions.end()) return nullptr;
            recent = &*found; // entries are never removed
        }
        return &recent->second;
    }
    /// Whether a function or constructor may have this name. If not, no registry needs to be searched.
    bool MayBeTaken(std::string_view name) const {
        const bool isKnown = m_takenCount == m_registry.functions.size() + m_registry.constructors.size();
        return !isKnown || m_takenSlots[NameSlot(name, m_takenSlots.size())];
    }
    /// Whether a literal test is running. Nothing may be parsed meanwhile.
    bool IsTesting() const { return m_isTesting; }

private:
    void RefreshAll();

    Clock& m_clock;
    Registry m_registry;
    OperatorPriorities m_priorities;
    unsigned m_operatorsVersion = 0;

    std::uint64_t m_refreshed = 0; ///< the `Clock::language` of the last refresh
    Operators m_operators;
    std::vector<Literal> m_literals;       ///< in ascending order of the types
    ByteSet m_canBegin;                    ///< the bytes that any of them can begin with
    std::array<FlatReader, 256> m_readers; ///< of the only kind that can begin with the byte
    mutable std::array<const Table<FunctionOverloads>::value_type*, 64> m_recentFunctions{};
    std::bitset<1024> m_takenSlots; ///< of the names of functions and constructors
    static constexpr std::size_t NotCounted = ~std::size_t{0};
    std::size_t m_takenCount = NotCounted;
    mutable bool m_isTesting = false;
};

} // namespace Quarn
