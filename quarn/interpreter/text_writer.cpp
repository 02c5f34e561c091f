#include "quarn/interpreter/text_writer.h"

#include <algorithm>

#include "quarn/interpreter/expression.h"
#include "quarn/interpreter/operand.h"
#include "quarn/types/symbol.h"

namespace Quarn {

TextWriter::TextWriter(Limits* limits, s_str& text, s_str& error, const Limit& limit)
    : m_limits(limits), m_text(text), m_error(error), m_limit(limit) {}

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

const TextWriter::Written* TextWriter::FindWritten(const Expression& expression, std::uint64_t moment) const {
    const auto found = m_written.find(&expression);
    const bool isValid = found != m_written.end() && found->second.moment == moment &&
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

void TextWriter::Remember(Written written, unsigned depth) {
    constexpr std::size_t WorthIt = 256;
    written.length = m_text.View().size() - written.begin;
    if (written.length < WorthIt) return;
    written.size = m_size - written.size;
    written.steps = m_limits->GetSpent() - written.steps;
    written.depth = depth;
    m_written.insert_or_assign(written.expression.Get(), std::move(written));
}

Outcome TextWriter::Count(std::size_t size) {
    m_size += size;
    if (m_size <= m_limit.size) return Outcome::WentOn;
    return m_limits ? m_limits->Abandon(m_error, m_limit.message) : Fail(m_error, m_limit.message);
}

TextWriter::ExpressionResult::ExpressionResult(TextWriter& writer, const Expression& expression, Limits& limits)
    : m_writer(writer), m_expression(expression), m_isNested(writer.m_isNested), m_outer(writer.m_innermost) {
    if (!writer.m_limits) writer.m_limits = &limits;
    if (m_isNested) writer.m_innermost = this;
}

bool TextWriter::ExpressionResult::IsCircle() const {
    for (const ExpressionResult* outer = m_outer; outer; outer = outer->m_outer) {
        if (!outer->m_expression.IsSameAs(m_expression)) continue;
        ++m_writer.m_circles;
        return true;
    }
    return false;
}

} // namespace Quarn
