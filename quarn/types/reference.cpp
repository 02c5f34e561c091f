#include "quarn/types/reference.h"

#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/interpreter.h"

namespace Quarn {

namespace {

constexpr const char* EmptyText = "null";

/// Marks an expression as in use, unless another use has already done so.
class InUse {
public:
    explicit InUse(Expression& expression)
        : m_expression(expression), m_isFirst(!std::exchange(expression.isInUse, true)) {}
    ~InUse() {
        if (m_isFirst) m_expression.isInUse = false;
    }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;

    bool IsFirst() const { return m_isFirst; }

private:
    Expression& m_expression;
    const bool m_isFirst;
};

std::string_view ExpressionIn(std::string_view text, bool isLiteral) {
    return s_str::Trimmed(isLiteral ? text.substr(1) : text);
}

} // namespace

void Reference::Register(State& state) {
    Registry& registry = state.EditRegistry();
    registry.types[TypeNameOf<Reference>()] = [&state](const s_str& name) {
        return make_refptr<Reference>(name, "", state);
    };
    LiteralTest& test = registry.literalTests[TypeNameOf<Reference>()];
    test = [](std::string_view text) { return text.starts_with(Marker); };
    test.beginnings = "&";
    Constructor& constructor = registry.constructors[TypeNameOf<Reference>()];
    constructor =
        Pure<Constructor>([](State& owner, const s_str& name, std::string_view text, s_bool isLiteral, s_str&) {
            return make_refptr<Reference>(name, ExpressionIn(text, static_cast<bool>(isLiteral)), owner);
        });
    constructor.expressionsIn = ExpressionIn;
    constructor.keepsExpressions = true;
}

Reference::Reference(const s_str& name, std::string_view expression, State& state)
    : Value(name), m_expression(make_refptr<Expression>(Interpreter::Of(state).evaluator.ShareText(expression))),
      m_state(&state) {}

Reference::Reference(s_refptr<Expression> expression, State& state)
    : m_expression(std::move(expression)), m_state(&state) {}

Reference::Reference(const Reference&) = default;
Reference::~Reference() = default;

/// Inlined, because evaluation recurses through it.
[[gnu::always_inline]] inline Outcome Reference::Follow(Operand& value, s_str& error) const {
    if (m_expression->GetLength() == 0) return Outcome::Failed;
    Interpreter& interpreter = Interpreter::Of(*m_state);
    EngineLimits& limits = interpreter.limits;
    const Limits::Level level(limits);
    const InUse use(*m_expression); // until the value is followed, to notice a circle of references
    Failure reason;
    {
        EngineLimits::PrivateError failure(limits);
        if (!level) (void)limits.AbandonTooDeep(failure.text);
        else if (!use.IsFirst()) (void)interpreter.dispatcher.AbandonCircle(*m_expression, failure.text);
        else value = interpreter.evaluator.Evaluate(*m_expression, failure.text);
        if (!value) {
            if (!limits.OutcomeOf(false, failure.text).IsAbandoned()) return Outcome::Failed;
            reason = {std::move(failure.text), limits.GetAbandonment()->kind};
        }
    }
    if (!value) return limits.Abandon(error, reason.error, reason.kind);
    if (In(value)) value = interpreter.dispatcher.Resolve(value, error);
    return value ? Outcome::WentOn : Outcome::Abandoned;
}

s_refptr<Symbol> Reference::Resolve(const s_refptr<Symbol>& value, s_str& error) {
    return As<Reference>(*value) ? Resolve(Operand(value), error).ToObject() : value;
}

Operand Reference::Resolve(const Operand& value, s_str& error) {
    const Reference* const reference = In(value);
    if (!reference) return value;
    Operand resolved;
    const Outcome outcome = reference->Follow(resolved, error);
    if (outcome) return resolved;
    return outcome.IsAbandoned() ? Operand() : value;
}

Operand Reference::Evaluate() const {
    Operand value;
    EngineLimits::PrivateError unseen(Interpreter::Of(*m_state).limits);
    return Follow(value, unseen.text) ? value : Operand();
}

s_str Reference::ToString() const { return TextWriter::TextOf(*this, &m_state->GetLimits()); }

Outcome Reference::WriteTo(TextWriter& writer) const {
    if (m_expression->GetLength() == 0) return writer.Append(EmptyText); // without its name
    if (const Outcome outcome = writer.AppendName(GetName()); !outcome) return outcome;
    return writer.WriteResult(*this, m_state->GetLimits());
}

std::size_t Reference::GetWeight() const { return Value::GetWeight() + m_expression->GetWeight(); }

const s_str& Reference::GetType() const {
    const Operand value = Evaluate();
    return value ? TypeOfResolved(value) : TypeNameOf<Reference>();
}

s_refptr<Expression> Reference::GetUnevaluatedExpression() const {
    return m_expression->GetLength() == 0 ? make_refptr<Expression>(EmptyText) : m_expression;
}

} // namespace Quarn
