#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/screen.h"

namespace Quarn {

class State;

/// Tells what a terminal shows about a line while it is typed. Changes nothing.
class Advisor {
public:
    struct Advice {
        /// Unknown names, brackets without a partner, and the partner of the one at the cursor, in order.
        std::vector<Mark> marks;
        /// What the line would give, or else the signatures of the function whose arguments are typed; empty for
        /// neither.
        std::u32string answer;
    };

    explicit Advisor(State& state) : m_state(state) {}

    Advice Advise(const std::u32string& line, std::size_t cursor);
    /// Forgets the last line: the state may have changed.
    void Begin() { m_line.clear(); }

private:
    void Learn(const std::u32string& line);
    void MarkUnknownNames(std::size_t cursor, std::vector<Mark>& marks) const;
    std::u32string FindAnswer() const;
    std::u32string FindSignatures(std::string_view beforeCursor) const;

    State& m_state;
    std::u32string m_line; ///< that was asked for last; what follows belongs to it
    std::string m_bytes;
    std::vector<std::string_view> m_unknownNames; ///< in the bytes
    std::u32string m_answer;
};

} // namespace Quarn
