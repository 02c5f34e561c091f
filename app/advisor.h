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
    explicit Advisor(State& state) : m_state(state) {}

    /// Unknown names, brackets without a partner, and the partner of the one at the cursor, in order.
    std::vector<Mark> GetMarks(std::u32string_view line, std::size_t cursor);
    /// What the line would give, or else the signatures of the function whose arguments are typed; empty for neither.
    const std::u32string& GetAnswer(std::u32string_view line, std::size_t cursor);
    /// Forgets the last answer: the state may have changed.
    void Begin() {
        m_line.clear();
        m_value.clear();
        m_answer.clear();
    }

private:
    std::u32string FindAnswer(const std::string& line) const;
    std::u32string FindSignatures(std::string_view beforeCursor) const;
    void MarkUnknownNames(std::u32string_view line, std::size_t cursor, std::vector<Mark>& marks);

    State& m_state;
    std::u32string m_line; ///< that was asked for last
    std::size_t m_cursor = 0;
    std::u32string m_value;  ///< of that line
    std::u32string m_answer; ///< the value, or the signatures
};

} // namespace Quarn
