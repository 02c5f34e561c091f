#pragma once

#include <fstream>

#include "quarn/core/api.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// Reads up to the next line end, which is consumed. Leaves the line unchanged if the input has already ended or
/// failed. If a line does not fit in memory, clears `line`, skips to the end of that line and throws std::bad_alloc.
QUARN_API void ReadLine(std::istream& input, std::string& line);

/// A text file that can indent the lines it writes. A file that could not be opened reads and writes nothing; check
/// `IsOpen`.
class QUARN_API File {
public:
    inline static const s_str ClassName = "File";

    enum Mode : int {
        ReadWrite = 0, ///< the file must exist and is not truncated
        Read = 1,
        Write = 2, ///< created, or truncated
    };

    /// Opens at once. An unknown mode leaves the file closed.
    File(const s_str& path, int mode, s_bool binary = false);

    /// Whether the path can be opened for reading. The empty path cannot.
    static s_bool Exists(const s_str& path);

    /// On failure the stream is left in its failure state.
    void Close() { m_stream.close(); }
    s_bool IsOpen() const { return m_stream.is_open(); }
    /// Open, not failed and not at the end: there may be more to read.
    s_bool IsValid() const { return m_stream.is_open() && m_stream.good(); }
    const s_str& GetPath() const { return m_path; }

    /// The characters up to the next line end, which is consumed; empty at the end. Throws as the free function does.
    s_str ReadLine();
    /// The next character; '\0' at the end.
    char GetChar();
    void PutChar(char character) { m_stream.put(character); }
    /// Reads at most `count` bytes into `bytes`; returns the number read.
    std::size_t ReadBlock(char* bytes, std::size_t count);
    /// Reads at most `count` bytes of those that are available, and waits only if there are none yet, as in a pipe.
    /// Returns the number read; 0 at the end.
    std::size_t ReadAvailable(char* bytes, std::size_t count);
    void WriteBlock(const char* bytes, std::size_t count);
    /// Writes the text as it is, without indentation or line end.
    void WriteText(std::string_view text) { WriteBlock(text.data(), text.size()); }
    /// Writes the text and a line feed. Above indentation level 0, indents every line of the text.
    void WriteLine(const s_str& text);
    void Flush() { m_stream.flush(); }

    /// The unit of indentation; four spaces by default.
    void SetTab(const s_str& tab) { m_tab = tab; }
    const s_str& GetTab() const { return m_tab; }
    void AddTab() { ++m_level; }
    void RemoveTab();
    void ResetTab() { m_level = 0u; }

private:
    std::fstream m_stream;
    s_str m_path;
    s_str m_tab = "    ";
    s_uint m_level;
};

} // namespace Quarn
