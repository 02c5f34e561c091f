#pragma once

#include <vector>

#include "quarn/core/api.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// The statistics of one named piece of work.
class QUARN_API Profiler {
public:
    inline static const s_str ClassName = "Profiler";

    /// Durations below this, in seconds, are counted but not timed: they are too short to distinguish from the clock's
    /// own cost.
    static constexpr double ShortestTimed = 1e-6;

    /// With `listRecords`, keeps and lists every duration.
    Profiler(const s_str& name, s_uint group, s_bool listRecords = false)
        : m_name(name), m_group(group), m_listRecords(listRecords) {}

    /// Adds one call that lasted `duration` seconds.
    void AddRecord(double duration);

    /// Logs the statistics; `profilingTotal` is the duration of all profiling in seconds.
    void Print(double profilingTotal) const;

    const s_str& GetName() const { return m_name; }
    s_uint GetGroup() const { return m_group; }
    s_uint GetCallCount() const { return m_callCount; }
    s_uint GetNotTimedCount() const { return m_notTimedCount; }
    /// In seconds.
    double GetTotal() const { return m_total; }
    /// In seconds; -1 if no call was timed. The same for the lowest.
    double GetHighest() const { return m_highest; }
    double GetLowest() const { return m_lowest; }
    const std::vector<double>& GetRecords() const { return m_records; }

private:
    static constexpr double None = -1;

    s_str m_name;
    s_uint m_group;
    double m_total = 0;
    double m_highest = None;
    double m_lowest = None;
    s_uint m_callCount;
    s_uint m_notTimedCount;
    s_bool m_listRecords;
    std::vector<double> m_records;
};

} // namespace Quarn
