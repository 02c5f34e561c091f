#include "app/services.h"

#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>

#include "quarn/core/file.h"
#include "quarn/core/time_manager.h"
#include "quarn/core/utils_manager.h"

namespace Quarn {

namespace {

constexpr const char* LogPath = "orbel.log";

std::unique_ptr<File> LogFile; // null if deliberately not opened

void WriteMessage(const s_str& text, s_bool, s_uint) {
    std::cout << text.View() << std::endl;
    if (!LogFile) return;
    LogFile->WriteLine(text);
    LogFile->Flush();
}

double ProcessorTime() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

} // namespace

void StartServices(const s_str& script) {
    std::error_code ignored;
    if (!std::filesystem::is_fifo(LogPath, ignored) && !std::filesystem::equivalent(LogPath, script.Get(), ignored))
        LogFile = std::make_unique<File>(LogPath, File::Write);
    UtilsManager::Get().SetLogFunction(WriteMessage);
    TimeManager::Get().SetGetTimeFunction(ProcessorTime);
}

void StopServices() {
    TimeManager::Delete();
    UtilsManager::Delete();
}

} // namespace Quarn
