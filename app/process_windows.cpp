#include "app/process.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "quarn/interpreter/limits/limits.h"

namespace Quarn {

namespace {

UINT OriginalCodePage; ///< of the console, which outlives the program

void RestoreCodePage() { SetConsoleOutputCP(OriginalCodePage); }

BOOL WINAPI OnControl(DWORD) {
    RestoreCodePage();
    return FALSE; // it ends the program
}

} // namespace

bool PrepareStreams() {
    // Closed descriptors need no care: the runtime never gives their numbers to files.
    for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
    OriginalCodePage = GetConsoleOutputCP();
    if (OriginalCodePage != 0 && SetConsoleOutputCP(CP_UTF8)) {
        std::atexit(RestoreCodePage);
        SetConsoleCtrlHandler(OnControl, TRUE); // a terminal's own handler comes first
    }
    return true;
}

void PrepareForLackOfMemory() {} // exceptions take none

s_str EmptyOwnFile(const s_str& name, const s_str& other) {
    std::error_code ignored;
    const bool isThere = std::filesystem::exists(std::filesystem::symlink_status(name.Get(), ignored));
    const bool isOwn = !std::filesystem::is_symlink(name.Get(), ignored) &&
                       std::filesystem::hard_link_count(name.Get(), ignored) == 1 &&
                       !std::filesystem::equivalent(name.Get(), other.Get(), ignored);
    return isThere && !isOwn ? s_str() : name;
}

unsigned FitNestingToStack() { return Limits::DeepestNesting; } // the linker sets the stack size

} // namespace Quarn
