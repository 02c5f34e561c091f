#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "quarn/interpreter/limits/discarded_values.h"

namespace Quarn {

/// Values that are kept while a statement runs, because they may be needed again. They take a bounded amount of memory:
/// beyond it, the one is let go that is worth least, by the work that it took for the memory that it takes. What was
/// not used for long loses its worth (the replacement policy GreedyDual-Size; P. Cao and S. Irani, 1997).
class KeptValues {
public:
    /// The memory that they may take, in bytes, by the weights of the values: as much as a vector of the largest size.
    static constexpr std::size_t Most = std::size_t{1} << 27;

    /// What is let go, and must be destroyed, goes there.
    explicit KeptValues(DiscardedValues& discarded);
    ~KeptValues();
    KeptValues(const KeptValues&) = delete;
    KeptValues& operator=(const KeptValues&) = delete;

    /// Keeps a value that took so many steps, and gives the number under which it is found. None if it is too large.
    std::optional<std::uint64_t> Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept;
    /// Null if it was let go.
    const s_refptr<Symbol>& Find(std::uint64_t number);
    bool AreEmpty() const { return m_entries.empty(); }
    /// Lets go of all.
    void Release() noexcept;

private:
    struct Entry {
        s_refptr<Symbol> value; ///< null if it was let go
        std::uint64_t number = 0;
        std::size_t weight = 0;
        double worth = 0;
        double priority = 0; ///< the worth, above what was let go last when it was last used
    };
    /// In a heap by the priority that the entry had when it was put there; the entry may have a higher one by now.
    struct Candidate {
        double priority;
        std::size_t entry;
        bool operator<(const Candidate& other) const { return priority > other.priority; }
    };

    void LetGoOfOne() noexcept;

    DiscardedValues& m_discarded;
    std::vector<Entry> m_entries;
    std::vector<Candidate> m_candidates; ///< a heap, the lowest priority first; one for each value
    std::vector<std::size_t> m_free;     ///< entries without a value
    std::uint64_t m_count = 0;           ///< of the values that were ever kept
    std::size_t m_weight = 0;
    double m_lastPriority = 0; ///< of what was let go last
};

} // namespace Quarn
