#pragma once

#include "quarn/core/api.h"
#include "quarn/core/profiler.h"

namespace Quarn {

/// A scoped stopwatch that reports what it measured to a profiler.
class QUARN_API Chrono {
public:
    inline static const s_str ClassName = "Chrono";

    /// Starts at once. The profiler is not owned and must outlive the stopwatch; null measures nothing.
    explicit Chrono(Profiler* profiler);
    /// Ends a running measurement as `Stop` does. Time kept by a stopped one is lost.
    ~Chrono();
    Chrono(const Chrono&) = delete;
    Chrono& operator=(const Chrono&) = delete;

    /// Ends the measurement and reports it. With `keep`, keeps it instead for `Start` to continue.
    void Stop(s_bool keep = false);
    /// Continues after a `Stop`. Does nothing if running.
    void Start();

private:
    Profiler* m_profiler;
    double m_start;
    double m_accumulated = 0;
    s_bool m_isStopped = false;
};

} // namespace Quarn
