#include "app/line_editor.h"
#include "app/terminal.h"

#include <array>

#include <windows.h>

// The console edits lines itself and keeps those typed before. Its program reads whole lines, in UTF-16. What only the
// line editor needs of a terminal is not defined, as it does not exist on Windows.

namespace Quarn {

namespace {

// Everything that the handler of Ctrl-C uses, which runs in a thread of its own.
std::atomic<bool> IsInterrupted = false;
std::atomic<ULONGLONG> LastInterrupt = 0; ///< milliseconds since the system started

BOOL WINAPI OnControl(DWORD event) {
    if (event != CTRL_C_EVENT) return FALSE;
    constexpr ULONGLONG LastResort = 1000;
    const ULONGLONG now = GetTickCount64();
    const ULONGLONG last = LastInterrupt.exchange(now);
    const bool isUnanswered = IsInterrupted.exchange(true);
    return isUnanswered && now - last < LastResort ? FALSE : TRUE; // FALSE ends the program
}

/// Waits for the handler, which may run a little after the line that it interrupts has been given up.
void AwaitInterrupt() {
    for (int waits = 0; !IsInterrupted && waits < 100; ++waits) Sleep(1);
}

std::string ToUtf8(const wchar_t* units, DWORD count) {
    const int length = static_cast<int>(count);
    const int size = WideCharToMultiByte(CP_UTF8, 0, units, length, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, units, length, text.data(), size, nullptr, nullptr);
    return text;
}

} // namespace

bool Terminal::IsPresent() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

Terminal::Terminal() { SetConsoleCtrlHandler(OnControl, TRUE); }

Terminal::~Terminal() { SetConsoleCtrlHandler(OnControl, FALSE); }

Terminal::Event Terminal::Read(std::string& bytes) {
    constexpr wchar_t CtrlZ = 0x1a;
    const HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    std::array<wchar_t, 4096> units;
    DWORD count = 0;
    // Room for one more unit: the second half of a surrogate pair.
    if (!ReadConsoleW(console, units.data(), static_cast<DWORD>(units.size() - 1), &count, nullptr)) return Event::Gone;
    if (count == 0) {
        AwaitInterrupt();
        return IsInterrupted ? Event::Interrupt : Event::Resized;
    }
    IsInterrupted = false; // some consoles drop the line at Ctrl-C and go on with an empty one
    if (bytes.empty() && units[0] == CtrlZ) return Event::EndOfFile;
    if (IS_HIGH_SURROGATE(units[count - 1])) {
        DWORD more = 0;
        ReadConsoleW(console, &units[count], 1, &more, nullptr);
        count += more;
    }
    bytes += ToUtf8(units.data(), count);
    return Event::Input;
}

void Terminal::Echo(std::string_view text) {
    const HANDLE console = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD written = 0;
    WriteConsoleA(console, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(console);
}

const std::atomic<bool>& Terminal::GetInterrupt() const { return IsInterrupted; }

void Terminal::AnswerInterrupt() { IsInterrupted = false; }

std::unique_ptr<LineInput> OpenLineEditor(State&) { return nullptr; }

} // namespace Quarn
