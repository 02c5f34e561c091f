#pragma once

#include "quarn/core/manager.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// Routes every line of the log to the one sink that the application chose.
class UtilsManager : public Manager<UtilsManager> {
public:
    inline static const s_str ClassName = "UtilsManager";

    /// Receives a line, a flag (true from every caller in this library) and the prefix length: how many leading
    /// characters of the line are its header, so that a sink can align continuation lines; 0 for a plain line.
    using LogFunction = void (*)(const s_str& text, s_bool flag, s_uint prefixLength);

    virtual ~UtilsManager() = default;

    /// Replaces the sink; null drops every line.
    void SetLogFunction(LogFunction function) { m_logFunction = function; }

    /// Hands the line to the sink. Without one it is dropped.
    void Log(const s_str& text, s_bool flag, s_uint prefixLength) const {
        if (m_logFunction) m_logFunction(text, flag, prefixLength);
    }

private:
    LogFunction m_logFunction = nullptr;
};

} // namespace Quarn
