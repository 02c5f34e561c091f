#include "quarn/core/profiler.h"

#include "quarn/core/log.h"

namespace Quarn {

namespace {

constexpr unsigned TimeDigits = 4;

s_str MillisecondsText(double milliseconds) { return s_str::Significant(milliseconds, TimeDigits) + " ms"; }

} // namespace

void Profiler::AddRecord(double duration) {
    ++m_callCount;
    if (duration < ShortestTimed) {
        ++m_notTimedCount;
        return;
    }
    if (m_lowest == None || duration < m_lowest) m_lowest = duration;
    if (m_highest == None || duration > m_highest) m_highest = duration;
    m_total += duration;
    if (m_listRecords) m_records.push_back(duration);
}

void Profiler::Print(double profilingTotal) const {
    Log("  - " + m_name + " :");
    Log("     - call number     : " + s_str(m_callCount) + " (" + s_str(m_notTimedCount) + " not timed)");
    if (m_callCount.IsZero()) return;

    // Without a timed call this divides by zero, and so does the total line if the report has no duration. The special
    // texts then replace the digits.
    const double timedCount = (m_callCount - m_notTimedCount).ToDouble();
    Log("     - total time      : " + s_str::Significant(m_total, TimeDigits) + " s (" +
        s_str(100 * m_total / profilingTotal, 2u, 2u) + "% of total)");
    Log("     - average time    : " + MillisecondsText(1000 * m_total / timedCount));
    Log("     - highest time    : " + MillisecondsText(1000 * m_highest));
    Log("     - lowest time     : " + MillisecondsText(1000 * m_lowest));
    if (!m_listRecords) return;
    Log("     - listing records :");
    s_uint number;
    for (const double record : m_records) {
        ++number;
        Log("        [" + s_str(number) + "] : " + s_str(1000 * record) + " ms");
    }
}

} // namespace Quarn
