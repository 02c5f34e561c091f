#pragma once

#include "core/manager.h"
#include "core/s_str.h"

namespace Quarn {

/// The one source of time. Where time comes from is for the application to say, by its callback.
class TimeManager : public Manager<TimeManager> {
public:
    inline static const s_str ClassName = "TimeManager";

    /// Returns the current time in seconds, from whatever start.
    using GetTimeFunction = double (*)();

    void SetGetTimeFunction(GetTimeFunction function) { m_getTime = function; }

    /// The current time in seconds; 0.0 without a callback.
    double GetTime() const { return m_getTime ? m_getTime() : 0.0; }

private:
    GetTimeFunction m_getTime = nullptr;
};

} // namespace Quarn
