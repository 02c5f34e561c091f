#include "quarn/core/file.h"

#include <limits>
#include <new>

namespace Quarn {

void ReadLine(std::istream& input, std::string& line) {
    // By default a stream swallows the exception as if the line had ended.
    const auto exceptions = input.exceptions();
    try {
        input.exceptions(std::ios::badbit);
        std::getline(input, line);
    } catch (const std::bad_alloc&) {
        line = std::string(); // frees its memory first
        line.shrink_to_fit();
        input.exceptions(exceptions);
        input.clear();
        input.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        throw;
    } catch (const std::ios_base::failure&) { // shows in the stream state
    }
    input.exceptions(exceptions);
}

File::File(const s_str& path, int mode, s_bool binary) : m_path(path) {
    const auto binaryFlag = binary ? std::ios::binary : std::ios::openmode{};
    switch (mode) {
    case ReadWrite: m_stream.open(path.Get(), std::ios::in | std::ios::out | binaryFlag); break;
    case Read: m_stream.open(path.Get(), std::ios::in | binaryFlag); break;
    case Write: m_stream.open(path.Get(), std::ios::out | std::ios::trunc | binaryFlag); break;
    default: break;
    }
}

s_bool File::Exists(const s_str& path) {
    if (path.IsEmpty()) return false;
    return std::ifstream(path.Get()).is_open();
}

s_str File::ReadLine() {
    std::string line;
    Quarn::ReadLine(m_stream, line);
    return s_str(std::move(line));
}

char File::GetChar() {
    char character = '\0';
    m_stream.get(character);
    return character;
}

std::size_t File::ReadBlock(char* bytes, std::size_t count) {
    m_stream.read(bytes, static_cast<std::streamsize>(count));
    return static_cast<std::size_t>(m_stream.gcount());
}

std::size_t File::ReadAvailable(char* bytes, std::size_t count) {
    if (m_stream.peek() == std::fstream::traits_type::eof()) return 0;
    return static_cast<std::size_t>(m_stream.readsome(bytes, static_cast<std::streamsize>(count)));
}

void File::WriteBlock(const char* bytes, std::size_t count) {
    m_stream.write(bytes, static_cast<std::streamsize>(count));
}

void File::WriteLine(const s_str& text) {
    if (m_level.IsZero()) {
        WriteText(text);
    } else {
        const s_str prefix = m_tab.Repeat(m_level);
        WriteText(prefix + text.Replace("\n", "\n" + prefix));
    }
    PutChar('\n');
}

void File::RemoveTab() {
    if (!m_level.IsZero()) m_level = m_level - 1u;
}

} // namespace Quarn
