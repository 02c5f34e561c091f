#pragma once

#include <cassert>
#include <concepts>
#include <optional>
#include <utility>

#include "quarn/core/s_str.h"

namespace Quarn {

/// A value, or the text of the error that prevented it.
template <class T> class Result {
public:
    Result(T value) : m_value(std::move(value)) {}
    template <std::convertible_to<T> Other>
    requires(!std::same_as<std::remove_cvref_t<Other>, T>) Result(Other&& value)
        : m_value(std::forward<Other>(value)) {}
    static Result Error(s_str error) {
        Result result;
        result.m_error = std::move(error);
        return result;
    }

    explicit operator bool() const { return m_value.has_value(); }
    /// Only if there is a value. That of a temporary result is moved out, so it may be kept.
    const T& operator*() const& {
        assert(m_value);
        return *m_value;
    }
    T operator*() && {
        assert(m_value);
        return std::move(*m_value);
    }
    const T* operator->() const { return &**this; }
    /// One message a line, each with its tab; empty for a value. A callable may fail without a message.
    const s_str& GetError() const { return m_error; }

private:
    Result() = default;

    std::optional<T> m_value;
    s_str m_error;
};

} // namespace Quarn
