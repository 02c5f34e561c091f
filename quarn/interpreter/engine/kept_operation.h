#pragma once

#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/language/language.h"
#include "quarn/interpreter/limits/engine_limits.h"

namespace Quarn {

class Expression;

/// An operation on two expressions of which one cannot be evaluated yet: it waits for its operands. It means the text
/// `left op right`, which is made only when somebody looks. Operations nest without limit, so nothing here recurses.
struct KeptOperation {
    struct Side {
        s_refptr<Expression> expression;
        bool isBracketed; ///< written in round brackets
    };
    /// How an expression behaves as an operand.
    enum class Shape : unsigned char {
        Plain,     ///< appears as it is
        Bracketed, ///< keeps the brackets around it
        Irregular, ///< only rewriting the whole operation can tell
    };

    Side left;
    s_str op;
    Side right;
    unsigned operatorsVersion;           ///< of the operators under which its text means this operation
    std::size_t length = 0;              ///< of the text
    s_refptr<Expression> next = nullptr; ///< in the list of operations being destroyed

    /// A kept operation grows with each use of an undefined symbol and doubles in `x = x + x`: without a limit, thirty
    /// such statements fill the memory. Reading a text of this length takes a few hundredths of a second.
    static constexpr TextWriter::Limit Longest{std::size_t{1} << 20, 0,
                                               "\tError : Expression longer than 1048576 characters"};

    /// The expression of an operation; null, with a message, if it would be too long, or its text has a fault. The text
    /// is made at once only if the operator cannot be written, or if the shapes of the operands do not tell how it
    /// reads. So the cost is that of what is added, however long the operands are.
    static s_refptr<Expression> Keep(const s_refptr<Expression>& left, std::string_view op,
                                     const s_refptr<Expression>& right, const Language& language, EngineLimits& limits,
                                     s_str& error);
    /// The shape of a text.
    static Shape ShapeOf(std::string_view text, const Operators& operators);
    /// Appends the text of an operation to `output`. In `text` both operands are in brackets; brackets around a single
    /// operand are removed. Takes time linear in the text.
    static Outcome Rewrite(std::string_view text, const Operators& operators, s_str& output, s_str& error);
};

} // namespace Quarn
