#pragma once

#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// What a failed operation returns: a null pointer or false, whichever its caller promised.
struct Failure {
    template <class T> operator s_refptr<T>() const { return {}; }
    operator s_bool() const { return false; }
};

/// The one way to fail: appends the message, on a line of its own, to the error text that the caller passed in.
/// Operations that fail return this call; those that see a failure below them pass it up and add nothing. Not inlined:
/// it stands in nearly every function, and is rarely called.
[[gnu::noinline]] inline Failure Fail(s_str& error, std::string_view message) {
    if (!error.IsEmpty()) error += '\n';
    error += message;
    return {};
}

} // namespace Quarn
