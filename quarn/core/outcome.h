#pragma once

#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// The outcome of an operation. A failed one has appended its message to the error text that was passed in; the caller
/// returns the outcome and adds nothing. It converts to null or false, for operations with a fixed return type.
class [[nodiscard]] Outcome {
public:
    enum Kind : unsigned char {
        WentOn,
        Failed,
        Abandoned, ///< a circle or a limit, as the message says: references pass it on, see `Limits::Abandon`
    };

    constexpr Outcome(Kind kind) : m_kind(kind) {}

    constexpr explicit operator bool() const { return m_kind == WentOn; }
    constexpr bool IsAbandoned() const { return m_kind == Abandoned; }

    operator s_bool() const { return m_kind == WentOn; }
    template <class T> operator s_refptr<T>() const { return {}; }

private:
    Kind m_kind;
};

/// Appends a message on a line of its own. Not inlined: nearly every function can fail, but rarely does.
[[gnu::noinline]] inline void AppendMessage(s_str& error, std::string_view message) {
    if (!error.IsEmpty()) error += '\n';
    error += message;
}

[[gnu::noinline]] inline Outcome Fail(s_str& error, std::string_view message) {
    AppendMessage(error, message);
    return Outcome::Failed;
}

} // namespace Quarn
