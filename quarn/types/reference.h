#pragma once

#include <typeinfo>
#include <utility>

#include "quarn/interpreter/expression.h"
#include "quarn/types/symbol.h"

namespace Quarn {

/// The text of an expression, evaluated again on every use. While it can be evaluated it passes for its result;
/// otherwise it is a value of type "Reference" that shows its text. Asking it reports no errors.
class Reference final : public Symbol {
public:
    static constexpr std::string_view TypeName = "Reference";
    static constexpr char Marker = '&'; ///< begins its literals

    /// Registers the type, `&expression` as its literal, and `Reference(expression)`.
    static void Register(State& state);

    /// The state is not owned and must outlive the reference.
    Reference(const s_str& name, std::string_view expression, State& state);
    Reference(s_refptr<Expression> expression, State& state);

    /// The value as a reference, or null.
    static const Reference* From(const Symbol& value) {
        // Asked for every operand. The class is final and known to one library only, so that its type information is
        // one object: comparing addresses saves a comparison of names for every number.
        return &typeid(value) == &typeid(Reference) ? static_cast<const Reference*>(&value) : nullptr;
    }
    /// The type of a value that references were followed to: a reference among those was not to be evaluated.
    static const s_str& TypeOfFollowed(const Symbol& value) {
        return From(value) ? TypeNameOf<Reference>() : value.GetType();
    }

    s_str ToString() const override;
    const s_str& GetType() const override;
    const s_str& GetRealType() const override { return TypeNameOf<Reference>(); }
    s_str GetFullType() const override { return TypeName; }
    s_refptr<Symbol> Clone() const override { return s_refptr<Symbol>(new Reference(*this)); }
    s_bool WriteTo(TextWriter& writer) const override;

    const s_refptr<Expression>& GetExpression() const { return m_expression; }
    /// What it shows when it cannot be evaluated: its expression, or "null" when that is empty.
    s_refptr<Expression> GetUnevaluatedExpression() const;

    /// One evaluation of a reference, which must outlive it. As long as it lives the expression counts as in use, so
    /// that a circle is noticed. An empty expression has no value.
    class Use {
    public:
        explicit Use(const Reference& reference);

        /// Null when it cannot be evaluated.
        const s_refptr<Symbol>& GetValue() const { return m_value; }
        s_refptr<Symbol> TakeValue() { return std::move(m_value); }
        /// Whether it failed by a circle, a limit, or the like: for an operation a failure of its own.
        bool WasAbandoned() const { return m_wasAbandoned; }
        const s_str& GetError() const { return m_error; }
        /// What the value leads to when it is a reference again, as `State::Follow` has it; null when the value is, or
        /// when that was abandoned.
        s_refptr<Symbol> Follow() const;

    private:
        /// Marks an expression as in use, unless another use of it has done so.
        class Mark {
        public:
            explicit Mark(Expression& expression)
                : m_expression(expression), m_isFirst(!std::exchange(expression.isInUse, true)) {}
            ~Mark() {
                if (m_isFirst) m_expression.isInUse = false;
            }
            Mark(const Mark&) = delete;
            Mark& operator=(const Mark&) = delete;
            bool IsFirst() const { return m_isFirst; }

        private:
            Expression& m_expression;
            const bool m_isFirst;
        };

        State& m_state;
        const State::Level m_level;
        Expression& m_expression; ///< kept alive by the reference
        const Mark m_mark;
        s_refptr<Symbol> m_value;
        bool m_wasAbandoned = false;
        s_str m_error;
    };

    static void* operator new(std::size_t) { return s_pool::Take<sizeof(Reference)>(); }
    static void operator delete(void* memory) { s_pool::GiveBack<sizeof(Reference)>(memory); }

private:
    Reference(const Reference&) = default;

    /// What it leads to; null when it cannot be evaluated.
    s_refptr<Symbol> Evaluate() const;

    s_refptr<Expression> m_expression;
    State* m_state;
};

// In the header, as evaluation recurses through it: chains of references are as fast as their calls are few.
inline Reference::Use::Use(const Reference& reference)
    : m_state(*reference.m_state), m_level(m_state), m_expression(*reference.m_expression), m_mark(m_expression) {
    if (m_expression.GetLength() == 0) return;
    const State::Abandonment outer = std::exchange(m_state.m_abandonment, {}); // of another error text
    if (!m_level) m_state.AbandonTooDeep(m_error);
    else if (!m_mark.IsFirst()) m_state.AbandonCircle(m_expression, m_error);
    else m_value = m_state.Evaluate(m_expression, m_error);
    m_wasAbandoned = !m_value && m_state.IsAbandoned(m_error);
    m_state.m_abandonment = outer;
}

} // namespace Quarn
