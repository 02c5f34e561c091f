#include "quarn/interpreter/language/registry.h"

#include <functional>

#include "quarn/core/ranges.h"

namespace Quarn {

void ThrowNoCallable() { throw std::bad_function_call(); }

const Function* FunctionOverloads::Search(std::span<const s_str* const> types) const {
    const auto mayHave = [&](const auto& entry) { return entry.first.View().size() > types.size(); };
    if (!AnyOf(*this, mayHave)) return nullptr; // without a look at a million types
    const Function* const found = FindIn<Function>(*this, SignatureOf(types));
    if (found && types.size() <= m_recentTypes.size()) {
        m_recent = nullptr; // unless all is copied
        for (std::size_t i = 0; i < types.size(); ++i) {
            m_recentAddresses[i] = types[i];
            m_recentTypes[i] = *types[i];
        }
        m_recentCount = types.size();
        m_recent = found; // entries are never removed
    }
    return found;
}

} // namespace Quarn
