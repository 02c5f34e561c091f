#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "app/history.h"

namespace Quarn {

/// The way through the history while a line is edited. It shows the line at a position of the history; behind the last
/// one stands the line that is being typed. What is edited stays so until the line is done.
class Recall {
public:
    explicit Recall(const History& history) : m_history(history) {}

    /// Begins at the line that is being typed.
    void Begin();

    // Each replaces `line`, the one that is shown, with another one. False if there is none.

    /// To the line before that begins like the one that was typed, up to the cursor; first, `line` is that one.
    bool GoBack(std::u32string& line, std::size_t cursor);
    bool GoForward(std::u32string& line);
    /// To the next line before or behind, other than the one shown, whose first `length` characters are the same.
    bool GoBackWithPrefix(std::u32string& line, std::size_t length);
    bool GoForwardWithPrefix(std::u32string& line, std::size_t length);

    /// The rest of the last line that begins like the one that is being typed; empty if there is none.
    std::u32string Suggest(std::u32string_view line) const;

    // The search from the last line backwards, for a text that is typed meanwhile.

    void BeginSearch();
    void EndSearch() { m_isSearching = false; }
    bool IsSearching() const { return m_isSearching; }
    /// Shown instead of the prompt.
    std::u32string GetSearchPrompt() const;
    bool Extend(char32_t character, std::u32string& line);
    bool Shorten(std::u32string& line);
    bool SearchFurther(std::u32string& line);
    /// Back to where the search began.
    bool GiveUp(std::u32string& line);

private:
    std::size_t End() const { return m_history.GetLines().size(); }
    bool GoTo(std::size_t position, std::u32string& line);
    bool GoBackTo(std::string_view prefix, std::u32string& line);
    bool GoForwardTo(std::string_view prefix, std::u32string& line);
    bool SearchBefore(std::size_t position, std::u32string& line);

    const History& m_history;
    std::size_t m_position = 0;
    std::string m_prefix;                         ///< of what `GoBack` and `GoForward` find
    std::map<std::size_t, std::u32string> m_left; ///< the lines that were shown, as they were left

    bool m_isSearching = false;
    bool m_isFound = true;
    std::size_t m_searchBegin = 0;
    std::u32string m_wanted;
};

} // namespace Quarn
