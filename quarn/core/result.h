#pragma once

#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <utility>

#include "quarn/core/api.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// Why something failed.
enum class FailureKind {
    Text,         ///< the text is no expression
    UnknownName,  ///< a symbol or function that does not exist
    Evaluation,   ///< an operation, a callable or a conversion failed, or a reference leads to itself
    StepLimit,    ///< `Limits::SetStepBudget`
    TimeLimit,    ///< `Limits::SetTimeLimit`
    NestingLimit, ///< `Limits::SetDeepestNesting`
    SizeLimit,    ///< a vector, a kept operation, or the text of a value is too large
    MemoryLimit,  ///< `Limits::SetMemory`
    Cancelled,    ///< `Limits::SetCancellation`
    OutOfMemory,
};

struct Failure {
    s_str error; ///< see `Result::GetError`
    FailureKind kind = FailureKind::Evaluation;
    /// Where the fault is, or the unknown name, in the text that was evaluated, in bytes; none for other kinds, and
    /// for a fault in what that text refers to.
    std::optional<std::size_t> position = std::nullopt;
};

/// The messages of an error text without what a console shows before them, tabs and "Error : ".
QUARN_API s_str MessageOf(std::string_view error);

/// A value, or why there is none.
template <class T> class Result {
public:
    Result(T value) : m_value(std::move(value)) {}
    template <std::convertible_to<T> Other>
    requires(!std::same_as<Other, T>) Result(Other value) : m_value(std::move(value)) {}
    Result(Failure failure) : m_failure(std::move(failure)) {}
    static Result Error(s_str error, FailureKind kind = FailureKind::Evaluation) {
        return Failure{std::move(error), kind};
    }

    explicit operator bool() const { return m_value.has_value(); }
    /// Only if there is a value; a debug build stops with the error otherwise. The value of a temporary result is moved
    /// out, so it may be kept.
    const T& operator*() const& {
        CheckValue();
        return *m_value;
    }
    T operator*() && {
        CheckValue();
        return std::move(*m_value);
    }
    const T* operator->() const { return &**this; }
    T value_or(T other) const { return m_value ? *m_value : std::move(other); }

    const Failure& GetFailure() const { return m_failure; }
    /// One message a line, each with its tab; empty for a value. A callable may fail without a message.
    const s_str& GetError() const { return m_failure.error; }
    /// The messages without what a console shows before them: "Unterminated '('".
    s_str GetMessage() const { return MessageOf(m_failure.error); }
    FailureKind GetKind() const { return m_failure.kind; }
    std::optional<std::size_t> GetPosition() const { return m_failure.position; }

private:
    void CheckValue() const {
#ifndef NDEBUG
        if (!m_value) std::fprintf(stderr, "A result without a value:\n%s\n", m_failure.error.Get().c_str());
#endif
        assert(m_value);
    }

    std::optional<T> m_value;
    Failure m_failure;
};

} // namespace Quarn
