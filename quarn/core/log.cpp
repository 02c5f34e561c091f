#include "quarn/core/log.h"

#include "quarn/core/utils_manager.h"

namespace Quarn {

namespace {

void LogWithHeader(s_str line, const s_str& location, const s_str& message) {
    if (!location.IsEmpty()) line += location + " : ";
    const s_uint prefixLength = line.Length();
    Log(line + message, true, prefixLength);
}

} // namespace

void Log(const s_str& text, s_bool flag, s_uint prefixLength) { UtilsManager::Get().Log(text, flag, prefixLength); }

void Error(const s_str& location, const s_str& message) { LogWithHeader("# Error # : ", location, message); }

void Warning(const s_str& location, const s_str& message) { LogWithHeader("# Warning # : ", location, message); }

} // namespace Quarn
