#pragma once

#include <fstream>

#include "quarn/core/s_str.h"

namespace Quarn {

/// Reads up to the next end of line, which is consumed. Once the input has ended or failed the line stays as it was. A
/// line that does not fit into the memory is passed over to its end: then `line` is empty, and std::bad_alloc is
/// thrown.
void ReadLine(std::istream& input, std::string& line);

/// A file read and written as text, with an indentation for what is written by lines. A file that could not be opened
/// reads nothing and writes nothing, and says so when asked.
class File {
public:
    inline static const s_str ClassName = "File";

    enum Mode : int {
        ReadWrite = 0, ///< the file must exist and is not truncated
        Read = 1,
        Write = 2, ///< created, or truncated
    };

    /// Opens at once. Any other mode leaves the file closed.
    File(const s_str& path, int mode, s_bool binary = false);

    /// A path that can be opened for reading. The empty path never can.
    static s_bool Exists(const s_str& path);

    /// A failure leaves the stream in its failure state.
    void Close() { m_stream.close(); }
    s_bool IsOpen() const { return m_stream.is_open(); }
    /// Open, and neither at the end nor failed: there may be more to read.
    s_bool IsValid() const { return m_stream.is_open() && m_stream.good(); }
    const s_str& GetPath() const { return m_path; }

    /// The characters up to the next end of line, which is consumed. Empty at the end. Throws as the function above
    /// does.
    s_str ReadLine();
    /// The next character; '\0' at the end.
    char GetChar();
    void PutChar(char character) { m_stream.put(character); }
    /// Reads at most `count` bytes to `bytes`; returns how many there were.
    std::size_t ReadBlock(char* bytes, std::size_t count);
    void WriteBlock(const char* bytes, std::size_t count);
    /// Writes the text as it is, without indentation or end of line.
    void WriteText(std::string_view text) { WriteBlock(text.data(), text.size()); }
    /// Writes the text and a line feed. At an indentation level above 0 every line of it, those after a line feed
    /// inside the text included, is preceded by the indentation.
    void WriteLine(const s_str& text);
    void Flush() { m_stream.flush(); }

    /// The unit of indentation; four spaces at first.
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
