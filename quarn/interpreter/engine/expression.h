#pragma once

#include <memory>

#include "quarn/interpreter/engine/kept_operation.h"
#include "quarn/interpreter/engine/memo.h"
#include "quarn/interpreter/engine/program.h"

namespace Quarn {

/// A text, or a part of one, shared by all its users.
struct SharedText {
    s_refptr<const s_str> whole; ///< keeps it alive
    std::string_view view;
};

/// What a reference or a formula evaluates: a text, or a kept operation on two other expressions. All copies of a
/// reference share one expression.
class Expression {
public:
    explicit Expression(SharedText text) : m_text(std::move(text)) {}
    explicit Expression(std::string_view text);
    explicit Expression(KeptOperation operation);
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

    /// Texts up to this length keep programs, which take up to 52 bytes for each character. A program that does not fit
    /// into the caches runs hardly faster than its text is parsed.
    static constexpr std::size_t LongestWithProgram = std::size_t{1} << 16;

    /// Null for a text.
    const KeptOperation* GetOperation() const { return m_operation.get(); }
    /// For a text only.
    const SharedText& GetSharedText() const { return m_text; }
    /// Turns an operation into its text if the operators have changed since it was made.
    void Update(unsigned operatorsVersion);
    /// How it behaves as an operand of a kept operation.
    KeptOperation::Shape GetShape(const Operators& operators, unsigned operatorsVersion) const;

    static void* operator new(std::size_t) { return s_pool::Allocate<sizeof(Expression)>(); }
    static void operator delete(void* memory) { s_pool::Free<sizeof(Expression)>(memory); }

    s_refptr<Program> program; ///< of a text; null while it is not compiled
    Memo memo;
    bool isInUse = false; ///< being evaluated: meeting it again is a circle
    bool wasRun = false;  ///< without a program

private:
    SharedText m_text;
    std::unique_ptr<KeptOperation> m_operation;
    mutable unsigned m_shapeVersion = 0; ///< of the operators for which the shape is known
    mutable KeptOperation::Shape m_shape = KeptOperation::Shape::Irregular;
};

} // namespace Quarn
