#pragma once

#include <vector>

#include "quarn/core/s_refptr.h"

namespace Quarn {

class Symbol;

/// Values that nobody needs any more. To destroy millions of them takes a second, so it can be interrupted: a value
/// that holds others is taken apart first.
class DiscardedValues {
public:
    DiscardedValues();
    ~DiscardedValues();
    DiscardedValues(const DiscardedValues&) = delete;
    DiscardedValues& operator=(const DiscardedValues&) = delete;

    bool IsEmpty() const { return m_groups.empty(); }
    using Group = std::vector<s_refptr<Symbol>>;

    void Add(s_refptr<Symbol> value) noexcept;
    void Add(Group group) noexcept;
    /// Destroys them until all are gone, or until `mustStop()`, which is asked every thousand values or so. Destructors
    /// may add others.
    template <class MustStop> void Destroy(const MustStop& mustStop) {
        while (!m_groups.empty() && !mustStop()) DestroySome();
    }

private:
    void DestroySome() noexcept;

    std::vector<Group> m_groups;
};

} // namespace Quarn
