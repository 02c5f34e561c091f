#pragma once

#include "quarn/types/operand.h"
#include "quarn/types/value.h"

namespace Quarn {

class Expression;

/// The text of an expression, evaluated again on every use. While it can be evaluated it acts as its result; otherwise
/// it is a value of type "Reference" that shows its text. Querying it reports no errors.
class QUARN_API Reference final : public Value<Reference> {
public:
    static constexpr std::string_view TypeName = "Reference";
    static constexpr char Marker = '&'; ///< begins its literals

    /// Registers the type, `&expression` as its literal, and `Reference(expression)`.
    static void Register(State& state);

    /// The state is not owned and must outlive the reference.
    Reference(const s_str& name, std::string_view expression, State& state);
    Reference(s_refptr<Expression> expression, State& state);
    Reference(const Reference&);
    ~Reference() override;

    /// Follows the references from a value: gives a value that is no reference, or the last reference on the way if
    /// that cannot be evaluated. Each one is evaluated once. Null, with a message, only if an evaluation was abandoned.
    static s_refptr<Symbol> Resolve(const s_refptr<Symbol>& value, s_str& error);
    static Operand Resolve(const Operand& value, s_str& error);
    /// The type of a resolved value: if it is still a reference, it could not be evaluated.
    static const s_str& TypeOfResolved(const Symbol& value) {
        return As<Reference>(value) ? TypeNameOf<Reference>() : value.GetType();
    }
    static const s_str& TypeOfResolved(const Operand& value) {
        return value.GetFlatType() ? *value.GetFlatType()->name : TypeOfResolved(*value.GetObject());
    }
    /// The operand as a reference; null if it is none.
    static const Reference* In(const Operand& operand) {
        return operand.GetObject() ? As<Reference>(*operand.GetObject()) : nullptr;
    }

    s_str ToString() const override;
    const s_str& GetType() const override;
    const s_str& GetRealType() const override { return TypeNameOf<Reference>(); }
    s_str GetFullType() const override { return TypeName; }
    Outcome WriteTo(TextWriter& writer) const override;
    std::size_t GetWeight() const override;

    /// The value that it leads to; null if it cannot be evaluated.
    Operand Evaluate() const;
    const s_refptr<Expression>& GetExpression() const { return m_expression; }
    State& GetState() const { return *m_state; }
    /// What it shows if it cannot be evaluated: its expression, or "null" if that is empty.
    s_refptr<Expression> GetUnevaluatedExpression() const;

    static void* operator new(std::size_t) { return s_pool::Allocate<sizeof(Reference)>(); }
    static void operator delete(void* memory) { s_pool::Free<sizeof(Reference)>(memory); }

private:
    /// Evaluates it and the references that it leads to. Fails without a message if it cannot be evaluated.
    Outcome Follow(Operand& value, s_str& error) const;

    s_refptr<Expression> m_expression;
    State* m_state;
};

} // namespace Quarn
