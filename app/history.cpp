#include "app/history.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quarn {

namespace {

/// The file, locked unless somebody else keeps it locked; closed and unlocked by the destructor.
class LockedFile {
public:
    /// Waits for the lock only if it is free as far as is known.
    LockedFile(const std::filesystem::path& path, int flags, bool& isLockFree) {
        do {
            Close();
            Open(path, flags);
            if (IsOpen() && !Lock(isLockFree)) Close();
        } while (IsOpen() && !IsAt(path)); // another session may have replaced it meanwhile
    }
    ~LockedFile() { Close(); }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    bool IsOpen() const { return m_descriptor >= 0; }
    bool IsLocked() const { return m_isLocked; }
    /// The superuser can write to any file, but should not to one that its owner has made read-only.
    bool IsWritable() const {
        return (fcntl(m_descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY && (m_status.st_mode & S_IWUSR) != 0;
    }

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
        if (count > 0 && m_isLocked) static_cast<void>(ftruncate(m_descriptor, m_status.st_size) == 0);
        return false;
    }
    bool Flush() const { return fsync(m_descriptor) == 0; }
    std::size_t GetSize() const { return static_cast<std::size_t>(m_status.st_size); }

private:
    void Open(const std::filesystem::path& path, int flags) {
        constexpr mode_t OnlyForTheUser = 0600;
        m_descriptor = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, OnlyForTheUser); // never waits for a pipe
        if (!IsOpen() && flags == O_RDWR) m_descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    /// False if it is no regular file.
    bool Lock(bool& isLockFree) {
        if (fstat(m_descriptor, &m_status) != 0 || !S_ISREG(m_status.st_mode)) return false;
        constexpr int Attempts = 20;
        constexpr timespec Pause{0, 10'000'000};
        const int kind = IsWritable() ? LOCK_EX : LOCK_SH;
        for (int attempt = 0; !m_isLocked && attempt < (isLockFree ? Attempts : 1); ++attempt) {
            if (attempt > 0) nanosleep(&Pause, nullptr);
            m_isLocked = flock(m_descriptor, kind | LOCK_NB) == 0;
        }
        isLockFree = m_isLocked;
        constexpr mode_t ForOthers = 077;
        if (fstat(m_descriptor, &m_status) != 0) return false;
        if ((m_status.st_mode & ForOthers) != 0) fchmod(m_descriptor, m_status.st_mode & 07777 & ~ForOthers);
        return true;
    }
    bool IsAt(const std::filesystem::path& path) const {
        struct stat named {};
        return stat(path.c_str(), &named) == 0 && named.st_ino == m_status.st_ino && named.st_dev == m_status.st_dev;
    }
    void Close() {
        if (m_descriptor >= 0) close(m_descriptor);
        m_descriptor = -1;
        m_isLocked = false;
    }

    int m_descriptor = -1;
    bool m_isLocked = false;
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
    const LockedFile locked(m_file, O_RDWR, m_isLockFree);
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
    if ((count <= MostLines && locked.GetSize() <= MostBytes) || !locked.IsWritable() || !locked.IsLocked()) return;

    std::string kept;
    for (const std::string& line : m_lines) (kept += line) += '\n';
    const std::filesystem::path shortened = m_file.string() + ".new";
    std::filesystem::remove(shortened, ignored);
    const LockedFile written(shortened, O_WRONLY | O_CREAT | O_EXCL, m_isLockFree);
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
    const LockedFile locked(m_file, O_RDWR | O_APPEND | O_CREAT, m_isLockFree);
    if (!locked.IsOpen() || !locked.IsWritable()) return;
    std::string entry = std::string(line) + '\n';
    const std::string end = locked.ReadEnd(entry.size() + 1); // another session may have written
    if (end == entry || end == '\n' + entry) return;
    if (!end.empty() && !end.ends_with('\n')) entry.insert(0, 1, '\n'); // a line without its end
    locked.Write(entry);
}

} // namespace Quarn
