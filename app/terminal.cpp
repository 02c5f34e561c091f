#include "app/terminal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "app/descriptor_buffer.h"

namespace Quarn {

namespace {

// Everything that signal handlers use. There is one terminal, as there is one set of signal handlers.

std::atomic<bool> IsInterrupted = false;
std::atomic<bool> IsResized = false;
std::atomic<bool> IsContinued = false;
std::atomic<std::int64_t> LastInterrupt = 0; ///< milliseconds of the monotonic clock
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<std::int64_t>::is_always_lock_free &&
              std::atomic<std::size_t>::is_always_lock_free);

std::atomic<bool> ArePastesMarked = false; ///< while a line is edited
std::atomic<std::size_t> RowsBelow = 0;
std::atomic<bool> HasStopped = false;
termios OriginalModes;
termios ModesWhenStopped;

std::int64_t Milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

void Handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

constexpr std::string_view PasteMarksOn = "\033[?2004h";
constexpr std::string_view PasteMarksOff = "\033[?2004l";

/// Whether the terminal is this program's to use. In the background its modes belong to another one.
bool IsInForeground() { return tcgetpgrp(STDIN_FILENO) == getpgrp(); }

/// Lets the signal do what it does by default, with the terminal as it was. Returns if that stops the program and it
/// goes on.
void RaiseDefault(int signal) {
    if (IsInForeground()) {
        tcsetattr(STDIN_FILENO, TCSANOW, &OriginalModes);
        if (ArePastesMarked) {
            constexpr std::string_view Down = "\033[B";
            for (std::size_t rows = RowsBelow; rows > 0; --rows) WriteAll(STDOUT_FILENO, Down);
            WriteAll(STDOUT_FILENO, "\n\r\033[J");
            WriteAll(STDOUT_FILENO, PasteMarksOff);
        }
    }
    Handle(signal, SIG_DFL);
    sigset_t only;
    sigset_t before;
    sigemptyset(&only);
    sigaddset(&only, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &only, &before);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

void OnEnd(int signal) { RaiseDefault(signal); }

/// Takes the terminal back after a stop.
void Continue() {
    if (HasStopped && IsInForeground()) {
        tcsetattr(STDIN_FILENO, TCSANOW, &ModesWhenStopped);
        if (ArePastesMarked) WriteAll(STDOUT_FILENO, PasteMarksOn);
        HasStopped = false;
    }
    IsContinued = true;
}

void OnStop(int signal) {
    const int error = errno;
    tcgetattr(STDIN_FILENO, &ModesWhenStopped);
    HasStopped = true;
    RaiseDefault(signal);
    Handle(signal, OnStop);
    Continue(); // nothing has stopped it if no shell could let it go on
    errno = error;
}

void OnContinue(int) {
    const int error = errno;
    Continue();
    errno = error;
}

void OnResize(int) { IsResized = true; }

void OnInterrupt(int signal) {
    const int error = errno;
    constexpr std::int64_t LastResort = 1000;
    const std::int64_t now = Milliseconds();
    const std::int64_t last = LastInterrupt.exchange(now);
    if (IsInterrupted.exchange(true) && now - last < LastResort) RaiseDefault(signal);
    errno = error;
}

struct SignalHandler {
    int signal;
    void (*handler)(int);
};

constexpr std::array SignalHandlers = {
    SignalHandler{SIGINT, OnInterrupt}, SignalHandler{SIGTSTP, OnStop}, SignalHandler{SIGCONT, OnContinue},
    SignalHandler{SIGWINCH, OnResize},  SignalHandler{SIGHUP, OnEnd},   SignalHandler{SIGQUIT, OnEnd},
    SignalHandler{SIGTERM, OnEnd},
};

/// Has the terminal pass on what is typed as it is, but for the keys of signals if `signals` is ISIG. They do not drop
/// what was typed before.
void SetModes(tcflag_t signals) {
    termios modes = OriginalModes;
    modes.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR | IXON | ISTRIP);
    modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN | ISIG);
    modes.c_lflag |= NOFLSH | signals;
    modes.c_cc[VMIN] = 1;
    modes.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &modes);
}

bool HasHungUp() {
    pollfd terminal{STDIN_FILENO, POLLIN, 0};
    return poll(&terminal, 1, 0) > 0 && (terminal.revents & POLLHUP) != 0;
}

/// Waits for input while the signals are let in. False, with errno, if there is none.
bool Wait(const sigset_t& allowed) {
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    return pselect(STDIN_FILENO + 1, &input, nullptr, nullptr, nullptr, &allowed) >= 0;
}

/// None if there was nothing to read after all.
std::optional<Terminal::Event> ReadWaiting(std::string& bytes) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
        return Terminal::Event::Input;
    }
    if (count == 0) return HasHungUp() ? Terminal::Event::Gone : Terminal::Event::EndOfFile;
    if (errno == EINTR || errno == EAGAIN) return std::nullopt;
    return Terminal::Event::Gone;
}

} // namespace

bool Terminal::IsPresent() { return isatty(STDIN_FILENO) == 1; }

Terminal::Terminal() {
    tcgetattr(STDIN_FILENO, &OriginalModes);
    for (const SignalHandler& entry : SignalHandlers) {
        struct sigaction before {};
        sigaction(entry.signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN)
            Handle(entry.signal, entry.handler); // what is ignored from the start, as by nohup, stays ignored
    }
}

Terminal::~Terminal() {
    tcsetattr(STDIN_FILENO, TCSADRAIN, &OriginalModes);
    for (const SignalHandler& entry : SignalHandlers) {
        struct sigaction now {};
        sigaction(entry.signal, nullptr, &now);
        if (now.sa_handler == entry.handler) Handle(entry.signal, SIG_DFL);
    }
}

Terminal::Event Terminal::Read(std::string& bytes) {
    // The signals are let in only while it waits, so that none comes unseen just before.
    sigset_t waited;
    sigset_t allowed;
    sigemptyset(&waited);
    for (const int signal : {SIGINT, SIGTSTP, SIGCONT, SIGWINCH}) sigaddset(&waited, signal);
    sigprocmask(SIG_BLOCK, &waited, &allowed);
    std::optional<Event> event;
    while (!event) {
        if (IsInterrupted) event = Event::Interrupt;
        else if (IsContinued.exchange(false)) event = Event::Continued;
        else if (IsResized.exchange(false)) event = Event::Resized;
        else if (Wait(allowed)) event = ReadWaiting(bytes);
        else if (errno != EINTR) event = Event::Gone;
    }
    sigprocmask(SIG_SETMASK, &allowed, nullptr);
    return *event;
}

void Terminal::Echo(std::string_view text) {
    const bool isReadOnly = (fcntl(STDIN_FILENO, F_GETFL) & O_ACCMODE) == O_RDONLY;
    const int terminal = isReadOnly ? open("/dev/tty", O_WRONLY | O_CLOEXEC) : STDIN_FILENO;
    WriteAll(terminal, text);
    if (isReadOnly && terminal >= 0) close(terminal);
}

bool Terminal::HasInput(int milliseconds) const {
    pollfd terminal{STDIN_FILENO, POLLIN, 0};
    int count = 0;
    do count = poll(&terminal, 1, milliseconds);
    while (count < 0 && errno == EINTR);
    return count > 0;
}

Terminal::Size Terminal::GetSize() const {
    winsize window{};
    Size size;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_row > 0 && window.ws_col > 0)
        size = {window.ws_row, window.ws_col};
    return size;
}

void Terminal::Write(std::string_view text) { WriteAll(STDOUT_FILENO, text); }

void Terminal::BeginEditing() {
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    if (flags != -1 && (flags & O_NONBLOCK) != 0) fcntl(STDOUT_FILENO, F_SETFL, flags & ~O_NONBLOCK);
    SetModes(0);
    ArePastesMarked = true;
    Write(PasteMarksOn);
}

void Terminal::EndEditing() {
    SetModes(ISIG);
    ArePastesMarked = false;
    Write(PasteMarksOff);
}

void Terminal::SetRowsBelow(std::size_t rows) { RowsBelow = rows; }

void Terminal::Suspend() { raise(SIGTSTP); }

const std::atomic<bool>& Terminal::GetInterrupt() const { return IsInterrupted; }

void Terminal::Interrupt() { IsInterrupted = true; }

void Terminal::AnswerInterrupt() { IsInterrupted = false; }

} // namespace Quarn
