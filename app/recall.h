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

    bool GoBack(std::wstring& line);
    bool GoForward(std::wstring& line);
    /// To the next line before or behind, other than the one shown, whose first `length` characters are the same.
    bool GoBackWithPrefix(std::wstring& line, std::size_t length);
    bool GoForwardWithPrefix(std::wstring& line, std::size_t length);

    // The search from the last line backwards, for a text that is typed meanwhile.

    void BeginSearch();
    void EndSearch() { m_isSearching = false; }
    bool IsSearching() const { return m_isSearching; }
    /// Shown instead of the prompt.
    std::wstring GetSearchPrompt() const;
    bool Extend(wchar_t character, std::wstring& line);
    bool Shorten(std::wstring& line);
    bool SearchFurther(std::wstring& line);
    /// Back to where the search began.
    bool GiveUp(std::wstring& line);

private:
    std::size_t End() const { return m_history.GetLines().size(); }
    bool GoTo(std::size_t position, std::wstring& line);
    bool SearchBefore(std::size_t position, std::wstring& line);

    const History& m_history;
    std::size_t m_position = 0;
    std::map<std::size_t, std::wstring> m_left; ///< the lines that were shown, as they were left

    bool m_isSearching = false;
    bool m_isFound = true;
    std::size_t m_searchBegin = 0;
    std::wstring m_wanted;
};

} // namespace Quarn
