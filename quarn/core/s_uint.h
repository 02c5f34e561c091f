#pragma once

#include <concepts>
#include <limits>
#include <utility>

#include "quarn/core/elementary.h"
#include "quarn/core/s_bool.h"

namespace Quarn {

/// An unsigned count or position that can also be infinity or NaN. A failed search or a value that does not fit thus
/// becomes a special state instead of wrapping. The default is an ordinary 0.
template <class T> class s_uint_t {
public:
    enum class State : int { Ordinary = 0, Infinity = 1, NaN = 2 };

    static const s_uint_t Infinity;
    static const s_uint_t NaN;

    constexpr s_uint_t() = default;
    /// Infinity if the number is negative or does not fit.
    template <std::integral Number> constexpr s_uint_t(Number value) {
        if (std::in_range<T>(value)) m_value = static_cast<T>(value);
        else m_state = State::Infinity;
    }
    /// The nearest integer (halves away from zero); infinity if the value is negative, infinite or too large.
    s_uint_t(double value) {
        const double rounded = Elementary::Round(value);
        constexpr double Beyond = 2.0 * (T{1} << (std::numeric_limits<T>::digits - 1));
        if (value != value) m_state = State::NaN;
        else if (value < 0 || rounded >= Beyond) m_state = State::Infinity;
        else m_value = static_cast<T>(rounded);
    }

    constexpr State GetState() const { return m_state; }
    constexpr s_bool IsValid() const { return m_state == State::Ordinary; }
    constexpr s_bool IsZero() const { return m_state == State::Ordinary && m_value == 0; }

    /// Meaningful in the ordinary state only.
    constexpr T Get() const { return m_value; }

    double ToDouble() const {
        switch (m_state) {
        case State::NaN: return std::numeric_limits<double>::quiet_NaN();
        case State::Infinity: return std::numeric_limits<double>::infinity();
        case State::Ordinary: break;
        }
        return m_value;
    }

    /// NaN equals nothing, not even itself; infinity equals infinity.
    friend constexpr s_bool operator==(s_uint_t a, s_uint_t b) {
        if (a.m_state == State::NaN || b.m_state == State::NaN) return false;
        return a.m_state == b.m_state && (a.m_state == State::Infinity || a.m_value == b.m_value);
    }

    /// Ordinary values wrap around below zero (3 - 5 is 2^32 - 2): callers compare positions by such differences. Only
    /// the special states propagate. Pinned by "SubtractionWrapsBetweenOrdinaryValues".
    friend constexpr s_uint_t operator-(s_uint_t a, s_uint_t b) {
        if (a.m_state == State::NaN || b.m_state == State::NaN) return NaN;
        if (a.m_state == State::Infinity || b.m_state == State::Infinity) return Infinity;
        return static_cast<T>(a.m_value - b.m_value);
    }

    /// Special states propagate; a sum that does not fit is infinity.
    friend constexpr s_uint_t operator+(s_uint_t a, s_uint_t b) {
        if (a.m_state == State::NaN || b.m_state == State::NaN) return NaN;
        const T sum = static_cast<T>(a.m_value + b.m_value);
        const bool fits = a.IsValid() && b.IsValid() && sum >= a.m_value;
        return fits ? s_uint_t(sum) : Infinity;
    }

    /// Infinity is above every number; NaN is neither below nor above anything.
    friend constexpr s_bool operator<(s_uint_t a, s_uint_t b) {
        if (!a.IsValid() || b.m_state == State::NaN) return false;
        return b.m_state == State::Infinity || a.m_value < b.m_value;
    }

    /// A special state stays as it is; the largest ordinary value becomes infinity.
    constexpr s_uint_t& operator++() {
        if (m_state == State::Ordinary && ++m_value == 0) *this = Infinity;
        return *this;
    }

private:
    constexpr explicit s_uint_t(State state) : m_state(state) {}

    T m_value = 0;
    State m_state = State::Ordinary;
};

template <class T> inline constexpr s_uint_t<T> s_uint_t<T>::Infinity{State::Infinity};
template <class T> inline constexpr s_uint_t<T> s_uint_t<T>::NaN{State::NaN};

using s_uint = s_uint_t<unsigned int>;

} // namespace Quarn
