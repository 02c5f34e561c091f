#include "quarn/interpreter/limits/kept_values.h"

#include <algorithm>
#include <new>

#include "quarn/types/symbol.h"

namespace Quarn {

namespace {

// A number holds the position of the entry in its lower bits. The upper ones tell the values of one entry apart.
constexpr unsigned PositionBits = 24;
constexpr std::uint64_t MostEntries = std::uint64_t{1} << PositionBits;

} // namespace

KeptValues::KeptValues(DiscardedValues& discarded) : m_discarded(discarded) {}

KeptValues::~KeptValues() = default;

std::optional<std::uint64_t> KeptValues::Keep(const s_refptr<Symbol>& value, std::uint64_t steps) noexcept {
    constexpr std::size_t Overhead = 256; // of an entry, and of what is not counted
    const std::size_t weight = value->GetWeight() + Overhead;
    if (weight > Most) return std::nullopt;
    while (m_weight > Most - weight) LetGoOfOne();
    try {
        if (m_free.empty()) {
            if (m_entries.size() == m_entries.capacity()) { // nothing else allocates, so letting go cannot fail
                const std::size_t more = std::max<std::size_t>(16, 2 * m_entries.size());
                m_candidates.reserve(more);
                m_free.reserve(more);
                m_entries.reserve(more);
            }
            m_entries.emplace_back();
            m_free.push_back(m_entries.size() - 1);
        }
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
    const std::size_t position = m_free.back();
    m_free.pop_back();
    const double worth = static_cast<double>(steps) / static_cast<double>(weight);
    const double priority = m_lastPriority + worth;
    const std::uint64_t number = ++m_count * MostEntries + position;
    m_entries[position] = {value, number, weight, worth, priority};
    m_candidates.push_back({priority, position});
    std::push_heap(m_candidates.begin(), m_candidates.end());
    m_weight += weight;
    return number;
}

const s_refptr<Symbol>& KeptValues::Find(std::uint64_t number) {
    static const s_refptr<Symbol> none;
    const std::size_t position = number % MostEntries;
    if (position >= m_entries.size() || m_entries[position].number != number) return none;
    Entry& entry = m_entries[position];
    entry.priority = m_lastPriority + entry.worth;
    return entry.value;
}

void KeptValues::LetGoOfOne() noexcept {
    for (;;) {
        std::pop_heap(m_candidates.begin(), m_candidates.end());
        Candidate& candidate = m_candidates.back();
        Entry& entry = m_entries[candidate.entry];
        if (entry.priority > candidate.priority) { // it was used meanwhile
            candidate.priority = entry.priority;
            std::push_heap(m_candidates.begin(), m_candidates.end());
            continue;
        }
        m_lastPriority = entry.priority;
        m_weight -= entry.weight;
        m_free.push_back(candidate.entry);
        m_candidates.pop_back();
        m_discarded.Add(std::exchange(entry, {}).value);
        return;
    }
}

void KeptValues::Release() noexcept {
    for (Entry& entry : m_entries) m_discarded.Add(std::move(entry.value));
    constexpr std::size_t UsualSize = 1024;
    if (m_entries.size() > UsualSize) std::vector<Entry>().swap(m_entries);
    m_entries.clear();
    m_candidates.clear();
    m_free.clear();
    m_weight = 0;
    m_lastPriority = 0;
}

} // namespace Quarn
