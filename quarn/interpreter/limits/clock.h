#pragma once

#include <cstdint>

namespace Quarn {

/// Tells whether what was remembered still holds. It counts what happens; a sum of counts is a reading, and what was
/// remembered holds as long as the reading that it depends on is the same:
///
/// | reading | ends with | what depends on it |
/// |---|---|---|
/// | `language` | a registry or the operators | programs |
/// | `Meanings` | also what a name stands for: nothing, a flat type, a reference, others | flat programs |
/// | `Names` | also any symbol but the last result | values of flat programs |
/// | `Values` | also the last result | failures |
/// | `Moment` | also the statement or evaluation | values |
struct Clock {
    std::uint64_t language = 1;
    std::uint64_t meanings = 0; ///< whenever this grows, so does `symbols`
    std::uint64_t symbols = 0;
    std::uint64_t lastResult = 0;
    std::uint64_t statements = 0; ///< and evaluations, that began

    std::uint64_t Meanings() const { return language + meanings; }
    std::uint64_t Names() const { return language + symbols; }
    std::uint64_t Values() const { return Names() + lastResult; }
    /// Always larger than `Values`, because at least one statement has begun.
    std::uint64_t Moment() const { return Values() + statements; }

    // These count what an evaluation did. If one of them grew, its result is not remembered.

    std::uint64_t deeds = 0;   ///< impure calls, and whatever was abandoned
    std::uint64_t entered = 0; ///< evaluations that callers outside of the engine asked for; only for flat programs
};

} // namespace Quarn
