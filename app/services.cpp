#include "app/services.h"

#include <ctime>
#include <iostream>
#include <memory>

#include "app/process.h"
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
    const s_str log = EmptyOwnFile(LogPath, script);
    if (!log.IsEmpty()) LogFile = std::make_unique<File>(log, File::Write);
    UtilsManager::Get().SetLogFunction(WriteMessage);
    TimeManager::Get().SetGetTimeFunction(ProcessorTime);
}

void StopServices() {
    TimeManager::Delete();
    UtilsManager::Delete();
}

} // namespace Quarn
