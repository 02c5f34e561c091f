#include "app/process.h"

#include <algorithm>

#include "quarn/interpreter/state.h"

#ifndef _WIN32
#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace Quarn {

#ifdef _WIN32

// The runtime keeps the numbers of closed descriptors free of files, and the linker set the size of the stack.

void OpenClosedDescriptors() {}

unsigned FitNestingToStack() { return State::DeepestNesting; }

#else

void OpenClosedDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isClosed = fcntl(descriptor, F_GETFD) == -1 && errno == EBADF;
        if (isClosed)
            open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY); // gets the lowest free number
    }
}

unsigned FitNestingToStack() {
    constexpr rlim_t Reserve = rlim_t{128} * 1024; // for what is not nested, the environment included
    const rlim_t wanted = Reserve + rlim_t{State::DeepestNesting} * State::StackPerLevel;
    rlimit limit{};
    if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= wanted) return State::DeepestNesting;
    rlimit raised = limit;
    raised.rlim_cur = std::min(wanted, limit.rlim_max);
    if (setrlimit(RLIMIT_STACK, &raised) == 0) limit = raised;
    const rlim_t usable = limit.rlim_cur - std::min(limit.rlim_cur, Reserve);
    return static_cast<unsigned>(std::min<rlim_t>(usable / State::StackPerLevel, State::DeepestNesting));
}

#endif

} // namespace Quarn
