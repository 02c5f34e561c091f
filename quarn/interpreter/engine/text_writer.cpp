#include "quarn/interpreter/engine/text_writer.h"

#include <algorithm>

#include "quarn/interpreter/engine/expression.h"
#include "quarn/types/reference.h"

namespace Quarn {

TextWriter::TextWriter(Limits* limits, s_str& text, s_str& error, const Limit& limit)
    : m_limits(limits ? &EngineLimits::Of(*limits) : nullptr), m_text(text), m_error(error), m_limit(limit) {}

TextWriter::~TextWriter() = default;

s_str TextWriter::TextOf(const Symbol& value, Limits* limits) {
    s_str text;
    s_str error;
    return TextWriter(limits, text, error).Write(value) ? text : error;
}

Outcome TextWriter::Write(const Symbol& value) {
    m_size += m_limit.perValue;
    return value.WriteTo(*this);
}

Outcome TextWriter::Write(const Operand& value) {
    const FlatType* const type = value.GetFlatType();
    if (!type) return Write(*value.GetObject());
    m_size += m_limit.perValue;
    return type->write(value.GetWord(), *this);
}

Outcome TextWriter::Append(std::string_view text) {
    if (m_limits && m_limits->MustStopBefore(text.size())) return m_limits->CheckStopped(m_error);
    const Outcome outcome = Count(text.size());
    if (outcome) m_text += text;
    return outcome;
}

Outcome TextWriter::Append(const Expression& expression) {
    Outcome outcome = Count(expression.GetLength());
    if (outcome) outcome = Spend(expression.GetLength());
    if (outcome) expression.AppendTo(m_text);
    return outcome;
}

Outcome TextWriter::AppendName(const s_str& name) {
    if (name.IsEmpty()) return Outcome::WentOn;
    const Outcome outcome = Append(name);
    return outcome ? Append(" = ") : outcome;
}

Limits* TextWriter::GetLimits() const { return m_limits; }

Outcome TextWriter::Spend(std::size_t steps) {
    return m_limits ? m_limits->Spend(steps, m_error) : Outcome(Outcome::WentOn);
}

Outcome TextWriter::CheckStopped() {
    return m_limits && m_limits->MustStop() ? m_limits->CheckStopped(m_error) : Outcome(Outcome::WentOn);
}

/// The result of an expression while it is written. Meeting the expression again within it is a circle. The outermost
/// reference does not count: its result reads as that value reads by itself.
class TextWriter::ExpressionResult {
public:
    ExpressionResult(TextWriter& writer, const Expression& expression)
        : m_writer(writer), m_expression(expression), m_isNested(writer.m_isNested), m_outer(writer.m_innermost) {
        if (m_isNested) writer.m_innermost = this;
    }
    ~ExpressionResult() {
        if (m_isNested) m_writer.m_innermost = m_outer;
    }
    ExpressionResult(const ExpressionResult&) = delete;
    ExpressionResult& operator=(const ExpressionResult&) = delete;

    bool IsCircle() const {
        for (const ExpressionResult* outer = m_outer; outer; outer = outer->m_outer)
            if (outer->m_expression.IsSameAs(m_expression)) return true;
        return false;
    }

private:
    TextWriter& m_writer;
    const Expression& m_expression;
    const bool m_isNested;
    const ExpressionResult* const m_outer;
};

Outcome TextWriter::WriteResult(const Reference& reference, Limits& limits) {
    if (!m_limits) m_limits = &EngineLimits::Of(limits);
    const ExpressionResult result(*this, *reference.GetExpression());
    return WriteOnce(reference, result.IsCircle());
}

/// Writes the result, or copies it if it was written before and nothing has changed since: texts that double with each
/// reference are stopped early.
Outcome TextWriter::WriteOnce(const Reference& reference, bool isCircle) {
    const s_refptr<Expression>& expression = reference.GetExpression();
    if (const Written* const written = FindWritten(*expression)) return Repeat(*written);
    const Recording recording(*m_limits);
    const std::uint64_t circles = m_circles;
    if (isCircle) ++m_circles;
    Written written{expression, recording.GetMoment(), m_text.View().size(), 0, m_size};
    const Outcome outcome = WriteValue(reference, isCircle);
    if (outcome && recording.IsRepeatable() && m_circles == circles) Remember(std::move(written), recording);
    return outcome;
}

Outcome TextWriter::WriteValue(const Reference& reference, bool isCircle) {
    const Operand value = isCircle ? Operand() : reference.Evaluate();
    if (const Outcome outcome = CheckStopped(); !outcome) return outcome;
    if (!value) return Append(*reference.GetExpression());
    if (const Reference* last = Reference::In(value)) return Append(*last->GetUnevaluatedExpression());
    return Nest([&] { return Write(value); });
}

const TextWriter::Written* TextWriter::FindWritten(const Expression& expression) const {
    const auto found = m_written.find(&expression);
    const bool isValid = found != m_written.end() && found->second.moment == m_limits->GetClock().Moment() &&
                         found->second.depth <= m_limits->GetRemainingLevels();
    return isValid ? &found->second : nullptr;
}

Outcome TextWriter::Repeat(const Written& written) {
    m_limits->Reach(written.depth);
    Outcome outcome = Count(written.size);
    if (outcome) outcome = Spend(written.steps);
    if (!outcome) return outcome;
    m_text.Reserve(std::max(m_text.View().size() + written.length, m_text.View().size() * 3 / 2)); // it is a part of it
    m_text += m_text.View().substr(written.begin, written.length);
    return outcome;
}

void TextWriter::Remember(Written written, const Recording& recording) {
    constexpr std::size_t WorthIt = 256;
    written.length = m_text.View().size() - written.begin;
    if (written.length < WorthIt) return;
    written.size = m_size - written.size;
    written.steps = recording.GetSteps();
    written.depth = recording.GetDepth();
    m_written.insert_or_assign(written.expression.Get(), std::move(written));
}

Outcome TextWriter::Count(std::size_t size) {
    m_size += size;
    if (m_size <= m_limit.size) return Outcome::WentOn;
    return m_limits ? m_limits->Abandon(m_error, m_limit.message) : Fail(m_error, m_limit.message);
}

} // namespace Quarn
