#include "app/process.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "quarn/interpreter/limits.h"

namespace Quarn {

bool PrepareStreams() {
    const auto isClosed = [](int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; };
    const bool hasOutput = !isClosed(STDOUT_FILENO);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (isClosed(descriptor))
            open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY); // takes the lowest free number
    return hasOutput;
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
