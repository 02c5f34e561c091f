#include "pseudo_terminal.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr auto Patience = std::chrono::seconds(30);

} // namespace

PseudoTerminal::PseudoTerminal(const Folder& folder, const std::string& kind, const std::string& behind,
                               const std::string& before) {
    const std::string command = "cd '" + folder.Path("") + "' && unset XDG_STATE_HOME && export HOME=\"$PWD\" TERM='" +
                                kind + "' && { " + before + " exec '" ORBEL_PROGRAM "' " + behind + "; }";
    const winsize size{24, 80, 0, 0};
    m_process = forkpty(&m_master, nullptr, nullptr, &size);
    if (m_process != 0) return;
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
}

PseudoTerminal::~PseudoTerminal() {
    HangUp();
    if (m_process <= 0) return;
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
}

void PseudoTerminal::HangUp() {
    if (m_master >= 0) close(m_master);
    m_master = -1;
}

bool PseudoTerminal::EditsLines() const {
    termios modes{};
    constexpr tcflag_t Both = ICANON | ECHO;
    return tcgetattr(m_master, &modes) == 0 && (modes.c_lflag & Both) == Both;
}

void PseudoTerminal::Resize(unsigned short columns) const {
    const winsize size{24, columns, 0, 0};
    ioctl(m_master, TIOCSWINSZ, &size);
}

void PseudoTerminal::Signal(int signal) const { kill(m_process, signal); }

void PseudoTerminal::InterruptUntilItEnds() const {
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    while (!HasEnded() && std::chrono::steady_clock::now() < deadline) {
        if (write(m_master, "\x03", 1) < 0) return;
        usleep(1000); // two signals at once count as one
    }
}

void PseudoTerminal::WaitUntilBlocked() const {
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    constexpr int Enough = 50; // it may be about to go on the first time that it is seen asleep
    for (int asleep = 0; asleep < Enough && std::chrono::steady_clock::now() < deadline; usleep(1000)) {
        int ignored = 0;
        std::string name;
        std::string state;
        std::ifstream("/proc/" + std::to_string(m_process) + "/stat") >> ignored >> name >> state;
        asleep = state == "S" ? asleep + 1 : 0;
    }
}

void PseudoTerminal::Type(std::string_view keys) {
    while (!keys.empty()) { // what is shown must be read meanwhile, or both sides wait
        const ssize_t typed = write(m_master, keys.data(), std::min<std::size_t>(keys.size(), 1024));
        if (typed < 0) return;
        keys.remove_prefix(static_cast<std::size_t>(typed));
        while (ReadMore(0)) {
        }
    }
}

bool PseudoTerminal::ReadMore(int milliseconds) {
    pollfd output{m_master, POLLIN, 0};
    std::array<char, 65536> buffer;
    if (poll(&output, 1, milliseconds) <= 0) return false;
    const ssize_t count = read(m_master, buffer.data(), buffer.size());
    if (count <= 0) return false;
    m_shown.append(buffer.data(), static_cast<std::size_t>(count));
    for (std::size_t begin = m_shown.find("\033[", m_plain); begin != std::string::npos;
         begin = m_shown.find("\033[", begin)) {
        const std::size_t end = m_shown.find_first_not_of("0123456789;", begin + 2);
        m_plain = begin;
        if (end == std::string::npos) return true;
        if (m_shown[end] == 'm') m_shown.erase(begin, end + 1 - begin);
        else begin = end;
    }
    m_plain = m_shown.size() - (m_shown.ends_with('\033') ? 1 : 0);
    return true;
}

bool PseudoTerminal::HasEnded() const {
    siginfo_t status{};
    return waitid(P_PID, static_cast<id_t>(m_process), &status, WEXITED | WNOHANG | WNOWAIT) != 0 || status.si_pid != 0;
}

bool PseudoTerminal::Shows(std::string_view text) {
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    for (std::size_t from = m_found;;) {
        const auto found = m_shown.find(text, from);
        if (found != std::string::npos) {
            m_found = found + text.size();
            return true;
        }
        from = std::max(m_found, m_shown.size() - std::min(m_shown.size(), text.size()));
        if (!ReadMore(100) && (HasEnded() || std::chrono::steady_clock::now() > deadline))
            return m_shown.find(text, m_found) != std::string::npos;
    }
}

std::string PseudoTerminal::ShownBefore(std::string_view text) {
    const std::size_t begin = m_found;
    return Shows(text) ? m_shown.substr(begin, m_found - text.size() - begin) : "";
}

int PseudoTerminal::WaitForEnd() {
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    int status = 0;
    while (waitpid(m_process, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) return -1000;
        if (m_master < 0) usleep(1000);
        else ReadMore(10);
    }
    m_process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
