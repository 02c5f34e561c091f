#pragma once

#include "quarn/core/api.h"
#include "quarn/core/manager.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// Routes every log line to the one sink that the application chose.
class QUARN_API UtilsManager : public Manager<UtilsManager> {
public:
    inline static const s_str ClassName = "UtilsManager";

    /// Receives a line, a flag (true from every caller in this library) and the prefix length: the number of leading
    /// characters that form the header, so that a sink can align continuation lines; 0 for a plain line.
    using LogFunction = void (*)(const s_str& text, s_bool flag, s_uint prefixLength);

    virtual ~UtilsManager() = default;

    /// Replaces the sink. Null, the default, drops every line.
    void SetLogFunction(LogFunction function) { m_logFunction = function; }

    void Log(const s_str& text, s_bool flag, s_uint prefixLength) const {
        if (m_logFunction) m_logFunction(text, flag, prefixLength);
    }

private:
    LogFunction m_logFunction = nullptr;
};

} // namespace Quarn
