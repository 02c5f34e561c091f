#include "quarn/types/reference.h"

#include "quarn/interpreter/text_writer.h"

namespace Quarn {

namespace {

constexpr const char* EmptyText = "null";

} // namespace

void Reference::Register(State& state) {
    Registry& registry = state.EditRegistry();
    registry.types[TypeNameOf<Reference>()] = [&state](const s_str& name) {
        return make_refptr<Reference>(name, "", state);
    };
    registry.literalTests[TypeNameOf<Reference>()] = [](std::string_view text) { return text.starts_with(Marker); };
    registry.constructors[TypeNameOf<Reference>()] =
        Pure<Constructor>([](State& owner, const s_str& name, std::string_view text, s_bool isLiteral, s_str&) {
            if (isLiteral) text.remove_prefix(1);
            return make_refptr<Reference>(name, s_str::Trimmed(text), owner);
        });
}

Reference::Reference(const s_str& name, std::string_view expression, State& state)
    : Symbol(name), m_expression(make_refptr<Expression>(state.ShareText(expression))), m_state(&state) {}

Reference::Reference(s_refptr<Expression> expression, State& state)
    : m_expression(std::move(expression)), m_state(&state) {}

s_str Reference::ToString() const { return TextWriter::TextOf(*this, m_state); }

s_bool Reference::WriteTo(TextWriter& writer) const {
    if (m_expression->GetLength() == 0) return writer.Append(EmptyText); // without its name
    if (!writer.AppendName(GetName())) return false;
    const TextWriter::Result result(writer, *m_expression, *m_state);
    const s_refptr<Symbol> value = result.IsCircle() ? nullptr : Evaluate();
    if (!writer.Spend(0)) return false;
    if (!value) return writer.Append(*m_expression);
    if (const Reference* last = From(*value)) return writer.Append(*last->GetUnevaluatedExpression());
    return writer.Nest([&] { return writer.Write(*value); });
}

const s_str& Reference::GetType() const {
    const s_refptr<Symbol> value = Evaluate();
    return value ? TypeOfFollowed(*value) : TypeNameOf<Reference>();
}

s_refptr<Symbol> Reference::Evaluate() const { return Use(*this).Follow(); }

s_refptr<Expression> Reference::GetUnevaluatedExpression() const {
    return m_expression->GetLength() == 0 ? make_refptr<Expression>(EmptyText) : m_expression;
}

s_refptr<Symbol> Reference::Use::Follow() const {
    s_str unseen;
    return m_value ? m_state.Follow(m_value, unseen) : nullptr;
}

} // namespace Quarn
