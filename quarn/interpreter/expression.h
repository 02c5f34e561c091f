#pragma once

#include <memory>
#include <vector>

#include "quarn/interpreter/flat_program.h"
#include "quarn/interpreter/operand.h"
#include "quarn/interpreter/parser.h"

namespace Quarn {

/// A text, or a part of one, shared by all its users.
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

/// The parsed steps of a text. They point into the text, the registries, the operators, and the bound variables.
struct Program {
    /// A step with what is known of its value. That of a constant literal becomes flat if its value can be. In that of
    /// a name, `type` and `word` are the flat value of its symbol while the bindings (see `Workspace::GetBindings`) are
    /// the same.
    struct KeptStep {
        Step step;
        std::uint64_t bindings = 0;
        /// The object of a constant literal counts from 1 in `objects`; 0 if it is not known.
        std::size_t& Object() { return step.argumentCount; }
    };
    std::vector<KeptStep> steps;
    std::vector<s_refptr<Symbol>> objects;    ///< of the constant literals
    s_str message;                            ///< of the fault that ends them
    s_refptr<const BoundVariables> variables; ///< of a formula; null for a reference
    unsigned generation = 0;                  ///< of the language that it was parsed in; 0 if it must be parsed
    unsigned references = 0;                  ///< how many levels of references it certainly evaluates
    unsigned runs = 0;                        ///< how many evaluations of it are under way
    FlatProgram flat;                         ///< once it is worth it, see `Evaluator::Translate`
    std::uint64_t lastBindings = 0;           ///< the `Workspace::GetBindings` of the last evaluation
    s_refptr<Program> before;                 ///< a program that this one replaced while it was running
};

/// What a reference or a formula evaluates: a text, or an operation on two other expressions. An operation means the
/// text `left op right`, which is built only when needed. All copies of a reference share one expression.
class Expression {
public:
    struct Side {
        s_refptr<Expression> expression;
        bool isBracketed; ///< written in round brackets
    };
    struct Operation {
        Side left;
        s_str op;
        Side right;
        unsigned operatorsVersion;           ///< of the operators under which its text means this operation
        std::size_t length = 0;              ///< of the text
        s_refptr<Expression> next = nullptr; ///< in the list of operations being destroyed
    };
    /// How a text behaves as an operand of a kept operation.
    enum class Shape : unsigned char {
        Plain,     ///< appears as it is
        Bracketed, ///< keeps the brackets around it
        Irregular, ///< only rewriting the whole operation can tell
    };
    /// The result of an evaluation that called nothing impure. Another one has the same result until something changes.
    struct Known {
        std::uint64_t moment = 0; ///< the `Evaluator::GetMoment`, or for a failure the `Dispatcher::GetChanges`, for
                                  ///< which it holds; 0 for none
        const FlatType* type = nullptr; ///< null for an object, or a failure
        Word word = 0;                  ///< the flat value, or the number of an object that the limits keep
        unsigned depth = 0;             ///< the levels of nesting that it took
        bool isFailure = false;
    };

    explicit Expression(SharedText text) : m_text(std::move(text)) {}
    explicit Expression(std::string_view text);
    explicit Expression(Operation operation);
    /// Does not recurse, since operations nest without limit.
    ~Expression();
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    /// The number of characters in the text.
    std::size_t GetLength() const { return m_operation ? m_operation->length : m_text.view.size(); }
    /// How much memory it takes, in bytes, with the program that it may have: an estimate.
    std::size_t GetWeight() const;
    void AppendTo(s_str& text) const;
    s_str GetText() const;
    /// Whether both have the same text. Operations count as different.
    bool IsSameAs(const Expression& other) const {
        return this == &other || (!m_operation && !other.m_operation && m_text.view == other.m_text.view);
    }

    /// Texts up to this length keep a program, which takes about 50 bytes for each character. A program that does not
    /// fit into the caches runs hardly faster than its text is parsed.
    static constexpr std::size_t LongestWithProgram = std::size_t{1} << 16;

    /// Null for a text.
    const Operation* GetOperation() const { return m_operation.get(); }
    /// For a text only.
    const SharedText& GetSharedText() const { return m_text; }
    /// Turns an operation into its text if the operators have changed since it was made.
    void Update(unsigned operatorsVersion);
    Shape GetShape(const Operators& operators, unsigned operatorsVersion) const;

    static void* operator new(std::size_t) { return s_pool::Allocate<sizeof(Expression)>(); }
    static void operator delete(void* memory) { s_pool::Free<sizeof(Expression)>(memory); }

    s_refptr<Program> program; ///< of a text; null while it is not compiled
    Known known;
    bool isInUse = false; ///< being evaluated: meeting it again is a circle
    bool wasRun = false;  ///< without a program

private:
    SharedText m_text;
    std::unique_ptr<Operation> m_operation;
    mutable unsigned m_shapeVersion = 0; ///< of the operators for which the shape is known
    mutable Shape m_shape = Shape::Irregular;
};

} // namespace Quarn
