#pragma once

#include "quarn/core/profiler.h"

namespace Quarn {

/// A stopwatch that hands what it measured to a profiler: a span ends with the scope it stands in.
class Chrono {
public:
    inline static const s_str ClassName = "Chrono";

    /// Runs at once. The profiler is not owned and must outlive the stopwatch; null measures nothing.
    explicit Chrono(Profiler* profiler);
    /// Ends a running measurement as `Stop` does. What a stopped one kept is lost.
    ~Chrono();
    Chrono(const Chrono&) = delete;
    Chrono& operator=(const Chrono&) = delete;

    /// Ends the measurement and hands it over; with `keep` it is kept, for `Start` to go on with.
    void Stop(s_bool keep = false);
    /// Goes on after a `Stop`; nothing happens to a running stopwatch.
    void Start();

private:
    Profiler* m_profiler;
    double m_start;
    double m_accumulated = 0;
    s_bool m_isStopped = false;
};

} // namespace Quarn
