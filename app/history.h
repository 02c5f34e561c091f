#pragma once

#include <cstddef>
#include <deque>
#include <filesystem>
#include <string>
#include <string_view>

namespace Quarn {

/// The lines that were typed, oldest first, no line twice in a row. They are kept in a file that sessions share: each
/// line is appended at once, so that sessions that run side by side lose none. A file that cannot be read or written is
/// the same as none. One that somebody else keeps locked is read and appended to all the same, after a moment.
class History {
public:
    static constexpr std::size_t MostLines = 10'000;
    /// What is read of the file at most, from its end.
    static constexpr std::size_t MostBytes = std::size_t{16} << 20;
    /// Longer lines are kept for the session only.
    static constexpr std::size_t LongestInFile = std::size_t{64} << 10;

    /// The file for this user: `orbel/history` in `$XDG_STATE_HOME`, or else in `~/.local/state`. Empty if the
    /// environment names neither.
    static std::filesystem::path DefaultFile();

    /// Reads the file, and shortens it if it is longer than what is kept.
    explicit History(std::filesystem::path file);

    const std::deque<std::string>& GetLines() const { return m_lines; }
    void Add(std::string_view line);

private:
    void Keep(std::string_view line);

    bool m_isLockFree = true; ///< not kept by somebody else
    std::filesystem::path m_file;
    std::deque<std::string> m_lines;
};

} // namespace Quarn
