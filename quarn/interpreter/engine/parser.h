#pragma once

#include "quarn/core/result.h"
#include "quarn/interpreter/language/language.h"

namespace Quarn {

/// One step of the evaluation of an expression. Steps work on a stack of operands: a leaf pushes a value, an operator
/// or a call replaces its operands with its result.
struct Step {
    enum class Kind : unsigned char {
        Fault,      ///< fails with the message `text`, as a `failure`; the fault is `at` this character of the text
        Flat,       ///< the flat value `word` of the type `type`
        Literal,    ///< `constructor` reads the literal `text`
        Construct,  ///< `constructor` reads the argument text `text`
        Name,       ///< the symbol, function or constructor called `text`
        Variable,   ///< the plain C++ variable bound to the name `text`; made by a formula, never by the parser
        Call,       ///< `functions`, called `text`, applied to the top `argumentCount` operands
        Binary,     ///< `op` applied to the top two operands
        LeftUnary,  ///< `op`, written after its operand
        RightUnary, ///< `op`, written before its operand
        Index,      ///< "[]" applied to the top two operands
    };
    Kind kind = Kind::Fault;
    bool isLast = false;      ///< gives the value of the expression
    bool isBracketed = false; ///< stands within round brackets
    bool isConstant = false;  ///< a literal that depends on nothing but its text
    std::uint32_t length = 0; ///< of the text, which the scanner of brackets keeps this short
    const char* begin = nullptr;
    union {
        const Constructor* constructor = nullptr;
        const FunctionOverloads* functions;
        const Operator* op;
        const struct BoundVariable* variable;
        const FlatType* type;
        const char* at;
    };
    union {
        Word word = 0;
        std::size_t argumentCount;
        FailureKind failure;
    };

    std::string_view GetText() const { return {begin, length}; }
    void SetText(std::string_view text) {
        begin = text.data();
        length = static_cast<std::uint32_t>(text.size());
    }
};

/// Receives the steps of an expression as they are found, in the order of evaluation. The text of a fault is valid
/// during the call only, any other text as long as the expression.
class StepSink {
public:
    /// Anything but `WentOn` ends the parsing. Nothing follows a fault.
    virtual Outcome Accept(const Step& step) = 0;
    /// That many operands are likely to come for a call.
    virtual void Expect(std::size_t) {}

protected:
    ~StepSink() = default;
};

/// The working memory of parsing, kept between expressions. Its lists are stacks, because the receiver of a step may
/// parse another expression.
struct ParserMemory {
    /// An operator whose right operand is not complete yet.
    struct WaitingOperator {
        const Operator* op;
        std::uint32_t position; ///< in the text
        bool hasLeftOperand;
    };
    /// An operator in whose beginning the left side of another one ends.
    struct End {
        const Operator* op;
        std::uint32_t position; ///< in the text
        unsigned priority;      ///< it is applied after what binds as tightly, or more
        bool hasOuter;          ///< so does the left side of the one that follows the other
    };
    /// A text, an indexing or a call that is not complete yet.
    struct Open;

    ParserMemory();
    ~ParserMemory();

    std::vector<WaitingOperator> waiting;
    std::vector<End> ends;
    std::vector<Open> open;
    Brackets::Memory brackets;
};

/// Passes the steps of the expression `text` to the sink, and returns the last outcome. Takes time linear in the text
/// and does not recurse, so brackets may nest without limit.
Outcome Parse(std::string_view text, const Language& language, ParserMemory& memory, StepSink& sink);

} // namespace Quarn
