#pragma once

#include <memory>
#include <vector>

#include "quarn/interpreter/flat_program.h"
#include "quarn/interpreter/operand.h"
#include "quarn/interpreter/parser.h"

namespace Quarn {

/// A text, or a part of one, that all who use it share.
struct SharedText {
    s_refptr<const s_str> whole; ///< keeps it alive
    std::string_view view;
};

/// A plain C++ variable that a name stands for in the expression of a formula. Not owned.
struct BoundVariable {
    const FlatType* type;
    const void* address;
    Word (*read)(const void* address);
};
using BoundVariables = std::map<s_str, BoundVariable, s_text_order>;

/// The steps of a text, kept. They point into the text, the registries, the operators, and the bound variables.
struct Program {
    struct KeptStep {
        Step step;
        Operand value;             ///< once that is known: of a constant, or of a symbol with a flat value
        std::uint64_t changes = 0; ///< of the symbols for which that value of a symbol holds
    };
    std::vector<KeptStep> steps;
    s_str message;                             ///< of the fault that ends them
    const BoundVariables* variables = nullptr; ///< owned by the formula; null for the expression of a reference
    unsigned generation = 0;                   ///< of the language that it was parsed in; 0 while it is empty
    unsigned deepest = 0;                      ///< the levels that were parsed
    unsigned nesting = 0;                      ///< the levels of brackets that its steps come from
    unsigned references = 0;                   ///< how many levels of references it evaluates for certain
    unsigned runs = 0;                         ///< how many are under way
    FlatProgram flat;                          ///< of a formula, see `Evaluator::EvaluateFormula`
    std::uint64_t flatChanges = 0;             ///< of the state for which `flat` holds
    std::uint64_t lastChanges = 0;             ///< of the state when the formula was evaluated last
    s_refptr<Program> before;                  ///< a program that this one replaced while it was running
};

/// What a reference evaluates: a text, or an operation on two other expressions. An operation means the text
/// `left op right`, which is put together only when it is shown. All copies of a reference share one expression.
class Expression {
public:
    struct Operand {
        s_refptr<Expression> expression;
        bool isBracketed; ///< its text stands in round brackets
    };
    struct Operation {
        Operand left;
        s_str op;
        Operand right;
        unsigned operatorsVersion;           ///< of the operators under which its text is this operation
        std::size_t length = 0;              ///< of the text
        s_refptr<Expression> next = nullptr; ///< in the list of those that are being destroyed
    };
    /// How a text behaves as an operand of an operation that is kept.
    enum class Shape : unsigned char {
        Plain,     ///< stands there as it is
        Bracketed, ///< keeps the brackets around it
        Irregular, ///< only the rewriting of the whole operation can tell
    };
    /// An evaluation that failed without a call of anything impure: it fails again until something changes.
    struct KnownFailure {
        std::uint64_t changes = 0; ///< of the state when it failed, see State::GetChanges; 0 for none
        unsigned depth = 0;        ///< the levels that it took
    };

    explicit Expression(SharedText text) : m_text(std::move(text)) {}
    explicit Expression(std::string_view text);
    explicit Expression(Operation operation);
    /// Does not recurse, since operations nest without bound.
    ~Expression();
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    /// The number of characters in the text.
    std::size_t GetLength() const { return m_operation ? m_operation->length : m_text.view.size(); }
    void AppendTo(s_str& text) const;
    s_str GetText() const;
    /// Whether both have the same text. Operations count as different.
    bool IsSameAs(const Expression& other) const {
        return this == &other || (!m_operation && !other.m_operation && m_text.view == other.m_text.view);
    }

    /// Null for a text.
    const Operation* GetOperation() const { return m_operation.get(); }
    /// Of a text only.
    const SharedText& GetSharedText() const { return m_text; }
    /// Turns an operation into its text if the operators have changed since it was made.
    void Update(unsigned operatorsVersion);
    Shape GetShape(const Operators& operators, unsigned operatorsVersion) const;

    static void* operator new(std::size_t) { return s_pool::Allocate<sizeof(Expression)>(); }
    static void operator delete(void* memory) { s_pool::Free<sizeof(Expression)>(memory); }

    s_refptr<Program> program; ///< of a text; null while it is not compiled
    KnownFailure knownFailure;
    bool isInUse = false; ///< being evaluated: to meet it again is a circle

private:
    SharedText m_text;
    std::unique_ptr<Operation> m_operation;
    mutable unsigned m_shapeVersion = 0; ///< of the operators for which the shape is known
    mutable Shape m_shape = Shape::Irregular;
};

} // namespace Quarn
