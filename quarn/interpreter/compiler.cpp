// The grammar of expressions.
//
// A text, trimmed of ' ', is cut at its top bracket level into operators and what stands between them.
//
// Several pieces: of the operators of the lowest priority the last one in the text is applied last, to all that stands
// left of it and all that stands right of it, each a text by the same rules. So binary operators of one priority group
// to the left, and a leading sign takes everything after it that binds more tightly. With nothing on one side the
// operator is unary: `op operand` is right-unary, `operand op` is left-unary, nothing on both sides is an error.
//
// A single piece is the first of these that applies:
//   operator         an error, it has no operands
//   ( text )         a text; `(1)(2)` begins and ends like one too, and fails on `1)(2`
//   name             begins with a letter and has letters and digits only: a symbol, else a function without
//                    arguments, else a constructor, else new or unknown
//   literal          what exactly one literal test accepts
//   digits or _      a name as above that no literal test wanted, or the last result
//   object [ index ] up to the first "[", and from there to the first "]"; the rest of the piece is not looked at, nor
//                    is this form when the piece holds a "("
//   name ( a, b )    from the first "(" to its partner; the rest of the piece is not looked at. A function of values,
//                    or a constructor, which gets the text between the parentheses
// and an error otherwise.
//
// Seen from the left that means: an operator waits for its right side until an operator comes that binds no more
// tightly, or the end of the text. Then it is applied, to what has been found since (perhaps nothing) and to what stood
// on its left when it came. So a text is gone through once, whatever the priorities, and a blank side is a side with
// nothing on it. Steps are given out as soon as they are found; a fault of the text is a step too, so that it is
// reported in the order of evaluation, and only if that comes so far. But the brackets of a text are looked at before
// anything of it.
//
// Operators are recognised once, in the whole text: with some of several characters a side may end in the beginning of
// one, and that is none there.

#include "quarn/interpreter/compiler.h"

#include <algorithm>
#include <utility>

#include "quarn/interpreter/names.h"
#include "quarn/interpreter/scanner.h"

namespace Quarn {

namespace {

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text); }

bool IsName(std::string_view text) { return std::ranges::all_of(text, IsNameCharacter); }

/// Where in the expression a text stands.
struct Place {
    unsigned level = 0; ///< of brackets around it
    bool isLast = true; ///< what it gives is the value of the expression

    Place Inner() const { return {level + 1, false}; }
    Place Bracketed() const { return {level + 1, isLast}; }
    Place Operand() const { return {level, false}; }
};

/// Every function returns false when the sink wants no more.
class Compiler {
public:
    Compiler(std::string_view source, unsigned room, const Registry& registry, const Vocabulary& vocabulary,
             CompilerMemory& memory, StepSink& sink)
        : m_source(source), m_room(room), m_registry(registry), m_operators(vocabulary.GetOperators()),
          m_literals(vocabulary.GetLiterals()), m_memory(memory), m_sink(sink), m_waitingBase(memory.waiting.size()),
          m_partnersBase(memory.partners.size()), m_outerPaired(memory.paired) {}
    Compiler(const Compiler&) = delete;
    Compiler& operator=(const Compiler&) = delete;
    ~Compiler() {
        m_memory.waiting.resize(m_waitingBase);
        m_memory.partners.resize(m_partnersBase);
        m_memory.paired = m_outerPaired;
        // A long expression should not keep its memory for the short ones that follow; some pages do not matter.
        constexpr std::size_t MostKept = 4096;
        if (m_partnersBase == 0 && m_memory.partners.capacity() > MostKept)
            std::vector<Position>().swap(m_memory.partners);
    }

    bool CompileText(std::string_view text, Place place);

private:
    using Position = std::size_t;

    bool CompileWaiting(bool hasRightOperand, Place place);
    // Not inlined into each other: what recurses stands on the stack for every level of nesting.
    [[gnu::noinline]] bool CompilePiece(std::string_view piece, Place place);
    bool CompileLiteral(std::string_view piece, const Literal& literal, Place place);
    [[gnu::noinline]] bool CompileIndexing(std::string_view piece, Place place);
    [[gnu::noinline]] bool CompileCall(std::string_view piece, Position open, Place place);
    bool CompileArguments(std::string_view text, std::string_view name, const FunctionOverloads& functions,
                          Place place);

    template <class Take> const char* CutIntoOperands(std::string_view text, const Take& take);
    template <class Take> const char* CutIntoArguments(std::string_view text, const Take& take);
    Position PartnerIn(std::string_view text, Position position);
    const char* FindBracketFault(std::string_view text);

    static Step StepAt(Place place, Step::Kind kind, std::string_view text);
    bool Give(Step::Kind kind, std::string_view text, Place place);
    bool GiveOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place);
    bool GiveFault(std::string_view begin, std::string_view middle = {}, std::string_view end = {});
    bool GiveMissingOperands(const Operator& op);
    [[gnu::noinline]] bool GiveAmbiguity(std::string_view piece);

    const std::string_view m_source;
    const unsigned m_room;
    const Registry& m_registry;
    const Operators& m_operators;
    const std::vector<Literal>& m_literals;
    CompilerMemory& m_memory;
    StepSink& m_sink;
    const Position m_waitingBase;
    const Position m_partnersBase;
    const PairedText m_outerPaired;
};

bool Compiler::CompileText(std::string_view text, Place place) {
    if (place.level > m_room) return Give(Step::Kind::TooDeep, {}, place);
    text = Trimmed(text);
    if (text.empty()) return GiveFault("\tError : Empty symbol");

    if (const char* fault = FindBracketFault(text)) return GiveFault(fault);

    auto& waiting = m_memory.waiting;
    const Position base = waiting.size();
    const auto mustNotWait = [&](const Operator& next) {
        return waiting.size() > base && waiting.back().op->priority >= next.priority;
    };
    bool hasOperand = false;
    bool goesOn = true;
    CutIntoOperands(text, [&](const Piece& piece) {
        if (piece.op) {
            while (goesOn && mustNotWait(*piece.op)) {
                goesOn = CompileWaiting(hasOperand, place.Operand());
                hasOperand = true;
            }
            waiting.push_back({piece.op, hasOperand});
            hasOperand = false;
        } else if (const std::string_view operand = Trimmed(piece.text); !operand.empty()) {
            const bool isWholeText = piece.text.size() == text.size();
            goesOn = CompilePiece(operand, isWholeText ? place : place.Operand());
            hasOperand = true;
        }
        return goesOn;
    });
    while (goesOn && waiting.size() > base) {
        goesOn = CompileWaiting(hasOperand, waiting.size() == base + 1 ? place : place.Operand());
        hasOperand = true;
    }
    return goesOn;
}

/// Applies the operator that came last of those that wait.
bool Compiler::CompileWaiting(bool hasRightOperand, Place place) {
    const auto [op, hasLeftOperand] = m_memory.waiting.back();
    m_memory.waiting.pop_back();
    if (!hasLeftOperand && !hasRightOperand) return GiveMissingOperands(*op);
    const Step::Kind kind = !hasLeftOperand    ? Step::Kind::RightUnary
                            : !hasRightOperand ? Step::Kind::LeftUnary
                                               : Step::Kind::Binary;
    return GiveOperator(kind, op, op->text, place);
}

bool Compiler::CompilePiece(std::string_view piece, Place place) {
    if (const Operator* op = m_operators.Find(piece)) return GiveMissingOperands(*op);
    if (piece.front() == '(' && piece.back() == ')' && piece.size() > 1)
        return CompileText(piece.substr(1, piece.size() - 2), place.Bracketed());

    const bool isName = IsName(piece);
    if (!isName || !IsLetter(piece.front())) {
        const Literal* literal = nullptr;
        for (const Literal& candidate : m_literals) {
            if (!(*candidate.test)(piece)) continue;
            if (literal) return GiveAmbiguity(piece);
            literal = &candidate;
        }
        if (literal) return CompileLiteral(piece, *literal, place);
    }
    if (isName || piece == "_") return Give(Step::Kind::Name, piece, place);
    const Position open = piece.find('(');
    return open == std::string_view::npos ? CompileIndexing(piece, place) : CompileCall(piece, open, place);
}

bool Compiler::CompileLiteral(std::string_view piece, const Literal& literal, Place place) {
    if (!literal.constructor) return GiveFault("\tError : No constructor for the type '", *literal.type, "'");
    Step step = StepAt(place, Step::Kind::Literal, piece);
    step.constructor = literal.constructor;
    step.isConstant = literal.isConstant;
    return m_sink.Take(step);
}

bool Compiler::CompileIndexing(std::string_view piece, Place place) {
    const Position open = piece.find('[');
    const Position close = piece.find(']');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return GiveFault("\tError : Unable to parse expression '", piece, "', no operator found");
    if (close == open + 1) return GiveFault("\tError : Illegal use of '[.]' with empty argument");
    if (open == 0) return GiveFault("\tError : Illegal use of '[.]' on empty object");
    return CompileText(piece.substr(0, open), place.Inner()) &&
           CompileText(piece.substr(open + 1, close - open - 1), place.Inner()) &&
           GiveOperator(Step::Kind::Index, m_operators.Find("[]"), "[]", place);
}

bool Compiler::CompileCall(std::string_view piece, Position open, Place place) {
    const Position close = PartnerIn(piece, open);
    if (close == NoPartner) return GiveFault(FaultOf(Bracket('(')).unterminated);
    const std::string_view name = Trimmed(piece.substr(0, open));
    const std::string_view arguments = piece.substr(open + 1, close - open - 1);
    if (const FunctionOverloads* functions = FindIn(m_registry.functions, name))
        return CompileArguments(arguments, name, *functions, place);
    const Constructor* constructor = FindIn(m_registry.constructors, name);
    if (!constructor) return GiveFault("\tError : Undefined function '", name, "'");
    Step step = StepAt(place, Step::Kind::Construct, arguments);
    step.constructor = constructor;
    return m_sink.Take(step);
}

bool Compiler::CompileArguments(std::string_view text, std::string_view name, const FunctionOverloads& functions,
                                Place place) {
    if (const char* fault = CutIntoArguments(text, [](std::string_view) { return true; })) return GiveFault(fault);
    unsigned count = 0;
    bool goesOn = true;
    CutIntoArguments(text, [&](std::string_view argument) {
        ++count;
        return goesOn = CompileText(argument, place.Inner());
    });
    if (!goesOn) return false;
    Step step = StepAt(place, Step::Kind::Call, name);
    step.functions = &functions;
    step.argumentCount = count;
    return m_sink.Take(step);
}

template <class Take> const char* Compiler::CutIntoOperands(std::string_view text, const Take& take) {
    return CutAtOperators(
        text, [&](Position i) { return PartnerIn(text, i); }, m_operators, take);
}

template <class Take> const char* Compiler::CutIntoArguments(std::string_view text, const Take& take) {
    return CutAtCommas(
        text, [&](Position i) { return PartnerIn(text, i); }, take);
}

/// The message on the first bracket of the text without a partner, or null.
const char* Compiler::FindBracketFault(std::string_view text) {
    const bool hasBrackets = !std::ranges::all_of(text, [](char c) { return Bracket(c).IsNone(); });
    return hasBrackets ? CutIntoOperands(text, [](const Piece&) { return true; }) : nullptr;
}

/// The partner of the opening bracket at `position` of the text, a part of the source, if it closes within the text.
Compiler::Position Compiler::PartnerIn(std::string_view text, Position position) {
    if (!m_memory.paired.Contains(text)) {
        const PairedText paired{m_source, m_memory.partners.size()};
        FindPartners(m_source, m_memory.partners);
        m_memory.paired = paired;
    }
    return m_memory.paired.FindPartnerIn(text, position, m_memory.partners);
}

Step Compiler::StepAt(Place place, Step::Kind kind, std::string_view text) {
    Step step;
    step.kind = kind;
    step.isLast = place.isLast;
    step.level = place.level;
    step.text = text;
    return step;
}

bool Compiler::Give(Step::Kind kind, std::string_view text, Place place) {
    return m_sink.Take(StepAt(place, kind, text));
}

bool Compiler::GiveOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place) {
    Step step = StepAt(place, kind, text);
    step.op = op;
    return m_sink.Take(step);
}

/// The message of the fault, in three parts. Messages are put together here and not where the faults are found, for the
/// sake of the stack: those places recurse.
bool Compiler::GiveFault(std::string_view begin, std::string_view middle, std::string_view end) {
    s_str message = begin;
    message += middle;
    message += end;
    return Give(Step::Kind::Fault, message, {});
}

bool Compiler::GiveMissingOperands(const Operator& op) {
    return GiveFault("\tError : Operator '", op.text, "' is missing its operands");
}

bool Compiler::GiveAmbiguity(std::string_view piece) {
    s_str candidates;
    for (const Literal& literal : m_literals)
        if ((*literal.test)(piece)) candidates += (candidates.IsEmpty() ? "" : ", ") + *literal.type;
    return GiveFault("\tError : Ambiguous constructor : '",
                     s_str(piece) + "'.\n\t        Possible candidates : ", candidates);
}

} // namespace

bool Compile(std::string_view text, unsigned room, const Registry& registry, const Vocabulary& vocabulary,
             CompilerMemory& memory, StepSink& sink) {
    return Compiler(text, room, registry, vocabulary, memory, sink).CompileText(text, {});
}

} // namespace Quarn
