#pragma once

namespace Quarn {

/// A truth value. It tests in a condition and never turns into a number by accident.
///
/// Texts, counts, files, time, registered callables, and the operations of `State` that go with them give and take it.
/// Everything else uses bool.
template <class T> class s_bool_t {
public:
    constexpr s_bool_t() = default;
    constexpr s_bool_t(T value) : m_value(value) {}

    constexpr explicit operator bool() const { return m_value; }
    constexpr s_bool_t operator!() const { return !m_value; }
    friend constexpr bool operator==(s_bool_t, s_bool_t) = default;

private:
    T m_value = false;
};

using s_bool = s_bool_t<bool>;

} // namespace Quarn
