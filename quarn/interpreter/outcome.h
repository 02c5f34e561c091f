#pragma once

#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// What became of a piece of work. A failure has appended its message to the error text that was passed in; whoever
/// sees one returns it and adds nothing. It converts to the null pointer or the false that operations with a fixed
/// shape return.
class [[nodiscard]] Outcome {
public:
    enum Kind : unsigned char {
        WentOn,
        Failed,
        Abandoned, ///< a circle or a limit, as the message says: a reference passes it on, see `Limits::Abandon`
    };

    constexpr Outcome(Kind kind) : m_kind(kind) {}

    constexpr explicit operator bool() const { return m_kind == WentOn; }
    constexpr bool IsAbandoned() const { return m_kind == Abandoned; }

    operator s_bool() const { return m_kind == WentOn; }
    template <class T> operator s_refptr<T>() const { return {}; }

private:
    Kind m_kind;
};

/// Appends a message, on a line of its own. Not inlined: nearly every function can fail, and it rarely happens.
[[gnu::noinline]] inline void AppendMessage(s_str& error, std::string_view message) {
    if (!error.IsEmpty()) error += '\n';
    error += message;
}

/// Fails with a message.
[[gnu::noinline]] inline Outcome Fail(s_str& error, std::string_view message) {
    AppendMessage(error, message);
    return Outcome::Failed;
}

} // namespace Quarn
