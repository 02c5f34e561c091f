#include "quarn/interpreter/text_writer.h"

#include "quarn/interpreter/expression.h"
#include "quarn/interpreter/operand.h"
#include "quarn/types/symbol.h"

namespace Quarn {

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
    for (const ExpressionResult* outer = m_outer; outer; outer = outer->m_outer)
        if (outer->m_expression.IsSameAs(m_expression)) return true;
    return false;
}

} // namespace Quarn
