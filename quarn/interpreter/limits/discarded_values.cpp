#include "quarn/interpreter/limits/discarded_values.h"

#include <new>

#include "quarn/types/symbol.h"

namespace Quarn {

DiscardedValues::DiscardedValues() = default;

DiscardedValues::~DiscardedValues() = default;

// Without memory values are destroyed at once.

void DiscardedValues::Add(s_refptr<Symbol> value) noexcept {
    if (!value) return;
    constexpr std::size_t UsualSize = 16;
    try {
        const bool hasRoom = !m_groups.empty() && m_groups.back().size() < m_groups.back().capacity();
        if (!hasRoom) m_groups.emplace_back().reserve(UsualSize);
        m_groups.back().push_back(std::move(value));
    } catch (const std::bad_alloc&) {
    }
}

void DiscardedValues::Add(Group group) noexcept {
    try {
        if (!group.empty()) m_groups.push_back(std::move(group));
    } catch (const std::bad_alloc&) {
    }
}

void DiscardedValues::DestroySome() noexcept {
    constexpr int Some = 1024; // some hundred microseconds
    for (int i = 0; i < Some && !m_groups.empty(); ++i) {
        Group& group = m_groups.back();
        if (group.empty()) {
            m_groups.pop_back();
            continue;
        }
        const s_refptr<Symbol> value = std::move(group.back());
        group.pop_back();
        if (value.IsUnique()) Add(value->TakeApart());
    }
}

} // namespace Quarn
