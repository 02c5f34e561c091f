#include "types/reference.h"

namespace Quarn {

namespace {

constexpr char Marker = '&';
constexpr const char* EmptyText = "null";

} // namespace

void Reference::Register(State& state) {
    Registry& registry = state.EditRegistry();
    registry.types[TypeName] = [&state](const s_str& name) { return make_refptr<Reference>(name, "", state); };
    registry.literalTests[TypeName] = [](std::string_view text) { return text.starts_with(Marker); };
    registry.constructors[TypeName] = [](State& owner, const s_str& name, std::string_view text, s_bool isLiteral,
                                         s_str&) {
        if (isLiteral) text.remove_prefix(1);
        return make_refptr<Reference>(name, s_str::Trimmed(text), owner);
    };
}

Reference::Reference(const s_str& name, std::string_view expression, State& state)
    : Symbol(name), m_expression(make_refptr<Expression>(expression)), m_state(&state) {}

s_str Reference::ToString() const {
    if (m_expression->text.IsEmpty()) return EmptyText; // without its name
    const Use use(*this);
    const s_refptr<Symbol> value = use.Follow();
    if (!value) return WithName(m_expression->text);
    const Reference* const last = From(*value);
    return WithName(last ? last->GetUnevaluatedText() : value->ToString());
}

const s_str& Reference::GetType() const {
    const s_refptr<Symbol> value = Use(*this).Follow();
    return value ? TypeOfFollowed(*value) : TypeName;
}

s_str Reference::GetUnevaluatedText() const {
    return m_expression->text.IsEmpty() ? s_str(EmptyText) : m_expression->text;
}

s_refptr<Symbol> Reference::Use::Follow() const {
    s_str unseen;
    return m_value ? m_state.Follow(m_value, unseen) : nullptr;
}

} // namespace Quarn
