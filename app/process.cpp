#include "app/process.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <memory>
#include <new>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/descriptor_buffer.h"
#include "quarn/interpreter/limits/limits.h"

namespace Quarn {

namespace {

std::unique_ptr<char[]> SetAside;

/// Called when there is no more memory. The exception is the first, and what was set aside lets it sort its tables.
void ReportLackOfMemory() {
    SetAside.reset();
    std::set_new_handler(nullptr);
    throw std::bad_alloc();
}

bool IsSame(const struct stat& a, const struct stat& b) { return a.st_ino == b.st_ino && a.st_dev == b.st_dev; }

} // namespace

bool PrepareStreams() {
    const auto isClosed = [](int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; };
    const bool hasOutput = !isClosed(STDOUT_FILENO);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (isClosed(descriptor))
            open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY); // takes the lowest free number
    std::cin.rdbuf(new DescriptorBuffer(STDIN_FILENO));                          // used until the process ends
    std::cout.rdbuf(new DescriptorBuffer(STDOUT_FILENO));
    return hasOutput;
}

void PrepareForLackOfMemory() {
    constexpr std::size_t Enough = std::size_t{1} << 19; // a few times the tables of the program
    SetAside.reset(new (std::nothrow) char[Enough]);
    std::set_new_handler(ReportLackOfMemory);
}

s_str EmptyOwnFile(const s_str& name, const s_str& other) {
    constexpr mode_t ForAll = 0666; // less the user's mask
    const int file = open(name.Get().c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, ForAll);
    if (file < 0) return {};
    struct stat opened {};
    bool isOwn = fstat(file, &opened) == 0 && S_ISREG(opened.st_mode) && opened.st_nlink == 1;
    struct stat used {};
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fstat(stream, &used) == 0 && IsSame(used, opened)) isOwn = false;
    if (stat(other.Get().c_str(), &used) == 0 && IsSame(used, opened)) isOwn = false;
    if (!isOwn || ftruncate(file, 0) != 0) {
        close(file);
        return {};
    }
    return "/dev/fd/" + s_str(s_uint(file)); // by its name, another file could be opened by now
}

unsigned FitNestingToStack() {
    constexpr rlim_t Reserve = rlim_t{128} * 1024; // for everything that is not nested, including the environment
    const rlim_t wanted = Reserve + rlim_t{Limits::DeepestNesting} * Limits::StackPerLevel;
    rlimit limit{};
    if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= wanted) return Limits::DeepestNesting;
    rlimit raised = limit;
    raised.rlim_cur = std::min(wanted, limit.rlim_max);
    if (setrlimit(RLIMIT_STACK, &raised) == 0) limit = raised;
    const rlim_t usable = limit.rlim_cur - std::min(limit.rlim_cur, Reserve);
    return static_cast<unsigned>(std::min<rlim_t>(usable / Limits::StackPerLevel, Limits::DeepestNesting));
}

} // namespace Quarn
