#include "app/services.h"

#include <ctime>
#include <iostream>

#include "core/file.h"
#include "core/time_manager.h"
#include "core/utils_manager.h"

namespace Quarn {

namespace {

// Initialises the standard streams before the file that is written beside them. A log that cannot be created is a
// closed file, which takes every line and loses it.
const std::ios_base::Init StandardStreams;
File LogFile("orbel.log", File::Write);

void WriteMessage(const s_str& text, s_bool, s_uint) {
    std::cout << text.View() << std::endl;
    LogFile.WriteLine(text);
    LogFile.Flush();
}

double ProcessorTime() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

} // namespace

void StartServices() {
    UtilsManager::Get().SetLogFunction(WriteMessage);
    TimeManager::Get().SetGetTimeFunction(ProcessorTime);
}

void StopServices() {
    TimeManager::Delete();
    UtilsManager::Delete();
}

} // namespace Quarn
