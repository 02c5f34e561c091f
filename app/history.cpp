#include "app/history.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quarn {

namespace {

/// The file, locked; closed and unlocked by the destructor.
class LockedFile {
public:
    LockedFile(const std::filesystem::path& path, int flags) {
        do {
            Close();
            Open(path, flags);
        } while (IsOpen() && !IsAt(path)); // another session may have replaced it meanwhile
    }
    ~LockedFile() { Close(); }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    bool IsOpen() const { return m_descriptor >= 0; }
    bool IsWritable() const { return (fcntl(m_descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY; }

    /// The last bytes of the file.
    std::string ReadEnd(std::size_t most) const {
        const std::size_t start = GetSize() - std::min(GetSize(), most);
        std::string contents(GetSize() - start, '\0');
        const ssize_t count = pread(m_descriptor, contents.data(), contents.size(), static_cast<off_t>(start));
        contents.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return contents;
    }
    /// Writes all of it, or nothing.
    bool Write(std::string_view contents) const {
        const ssize_t count = write(m_descriptor, contents.data(), contents.size());
        if (count == static_cast<ssize_t>(contents.size())) return true;
        if (count > 0) static_cast<void>(ftruncate(m_descriptor, m_status.st_size) == 0);
        return false;
    }
    bool Flush() const { return fsync(m_descriptor) == 0; }
    std::size_t GetSize() const { return static_cast<std::size_t>(m_status.st_size); }

private:
    void Open(const std::filesystem::path& path, int flags) {
        constexpr mode_t OnlyForTheUser = 0600;
        m_descriptor = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, OnlyForTheUser); // never waits for a pipe
        if (!IsOpen() && flags == O_RDWR) m_descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (!IsOpen()) return;
        int locked = -1;
        if (fstat(m_descriptor, &m_status) == 0 && S_ISREG(m_status.st_mode)) {
            do locked = flock(m_descriptor, IsWritable() ? LOCK_EX : LOCK_SH);
            while (locked != 0 && errno == EINTR);
        }
        if (locked != 0 || fstat(m_descriptor, &m_status) != 0) return Close();
        if ((m_status.st_mode & 0777) != OnlyForTheUser) fchmod(m_descriptor, OnlyForTheUser);
    }
    bool IsAt(const std::filesystem::path& path) const {
        struct stat named {};
        return stat(path.c_str(), &named) == 0 && named.st_ino == m_status.st_ino && named.st_dev == m_status.st_dev;
    }
    void Close() {
        if (m_descriptor >= 0) close(m_descriptor);
        m_descriptor = -1;
    }

    int m_descriptor = -1;
    struct stat m_status {}; ///< when it was locked
};

void MakeFolders(const std::filesystem::path& folder) {
    constexpr mode_t OnlyForTheUser = 0700;
    if (folder.empty() || mkdir(folder.c_str(), OnlyForTheUser) == 0 || errno != ENOENT) return;
    MakeFolders(folder.parent_path());
    mkdir(folder.c_str(), OnlyForTheUser);
}

} // namespace

std::filesystem::path History::DefaultFile() {
    const auto absolute = [](const char* variable) {
        const char* const value = std::getenv(variable);
        return std::filesystem::path(value && *value == '/' ? value : "");
    };
    std::filesystem::path folder = absolute("XDG_STATE_HOME");
    if (folder.empty() && !absolute("HOME").empty()) folder = absolute("HOME") / ".local/state";
    return folder.empty() ? folder : folder / "orbel/history";
}

History::History(std::filesystem::path file) : m_file(std::move(file)) {
    std::error_code ignored;
    if (!m_file.empty())
        m_file = std::filesystem::weakly_canonical(
            m_file, ignored); // a symbolic link is followed, so that renaming does not replace it
    if (m_file.empty()) return;
    const LockedFile locked(m_file, O_RDWR);
    if (!locked.IsOpen()) return;
    const std::string contents = locked.ReadEnd(MostBytes);
    if (contents.empty()) return;
    std::string_view rest = contents;
    if (locked.GetSize() > MostBytes) rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
    std::size_t count = 0;
    for (; !rest.empty(); ++count) {
        const auto end = std::min(rest.find('\n'), rest.size());
        Keep(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if ((count <= MostLines && locked.GetSize() <= MostBytes) || !locked.IsWritable()) return;

    std::string kept;
    for (const std::string& line : m_lines) (kept += line) += '\n';
    const std::filesystem::path shortened = m_file.string() + ".new";
    std::filesystem::remove(shortened, ignored);
    const LockedFile written(shortened, O_WRONLY | O_CREAT | O_EXCL);
    if (written.IsOpen() && written.Write(kept) && written.Flush()) std::filesystem::rename(shortened, m_file, ignored);
    else std::filesystem::remove(shortened, ignored);
}

void History::Keep(std::string_view line) {
    if (line.empty() || (!m_lines.empty() && m_lines.back() == line)) return;
    m_lines.emplace_back(line);
    if (m_lines.size() > MostLines) m_lines.pop_front();
}

void History::Add(std::string_view line) {
    if (!m_lines.empty() && m_lines.back() == line) return;
    Keep(line);
    if (m_file.empty() || line.size() > LongestInFile) return;
    MakeFolders(m_file.parent_path());
    const LockedFile locked(m_file, O_RDWR | O_APPEND | O_CREAT);
    if (!locked.IsOpen()) return;
    std::string entry = std::string(line) + '\n';
    const std::string end = locked.ReadEnd(entry.size() + 1); // another session may have written
    if (end == entry || end == '\n' + entry) return;
    if (!end.empty() && !end.ends_with('\n')) entry.insert(0, 1, '\n'); // a line without its end
    locked.Write(entry);
}

} // namespace Quarn
