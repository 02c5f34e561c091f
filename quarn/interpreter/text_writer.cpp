#include "quarn/interpreter/text_writer.h"

#include "quarn/interpreter/expression.h"

namespace Quarn {

s_str TextWriter::TextOf(const Symbol& value, State* state) {
    s_str text;
    s_str error;
    return TextWriter(state, text, error).Write(value) ? text : error;
}

s_bool TextWriter::Write(const Symbol& value) {
    m_size += m_limit.perValue;
    return value.WriteTo(*this);
}

s_bool TextWriter::Append(std::string_view text) {
    if (!Count(text.size())) return false;
    m_text += text;
    return true;
}

s_bool TextWriter::Append(const Expression& expression) {
    if (!Count(expression.GetLength()) || !Spend(expression.GetLength())) return false;
    expression.AppendTo(m_text);
    return true;
}

s_bool TextWriter::AppendName(const s_str& name) { return name.IsEmpty() || (Append(name) && Append(" = ")); }

s_bool TextWriter::Count(std::size_t size) {
    m_size += size;
    if (m_size <= m_limit.size) return true;
    return m_state ? m_state->Abandon(m_error, m_limit.message) : Fail(m_error, m_limit.message);
}

TextWriter::Result::Result(TextWriter& writer, const Expression& expression, State& state)
    : m_writer(writer), m_expression(expression), m_isNested(writer.m_isNested), m_outer(writer.m_innermost) {
    if (!writer.m_state) writer.m_state = &state;
    if (m_isNested) writer.m_innermost = this;
}

bool TextWriter::Result::IsCircle() const {
    for (const Result* outer = m_outer; outer; outer = outer->m_outer)
        if (outer->m_expression.IsSameAs(m_expression)) return true;
    return false;
}

} // namespace Quarn
