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
// The pieces of a side, joined again, would be cut at the same places, so that a text is cut once and its sides are
// runs of pieces, without the blank pieces at their ends. Steps are given out as soon as they are found; a fault of the
// text is a step too, so that it is reported in the order of evaluation, and only if that comes so far.

#include "interpreter/compiler.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <utility>

#include "interpreter/names.h"

namespace Quarn {

namespace {

/// From this length on memory for the pieces is set aside at once: some hundred kilobytes are worth it.
constexpr std::size_t LongText = 1 << 16;

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text); }

bool IsBlank(const Piece& piece) {
    const std::string_view text = piece.GetText();
    return text.front() == ' ' && !piece.GetOperator() && Trimmed(text).empty();
}

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
          m_literals(vocabulary.GetLiterals()), m_pieces(memory.pieces), m_partners(memory.partners), m_sink(sink),
          m_partnersBase(memory.partners.size()), m_piecesBase(memory.pieces.size()) {}
    Compiler(const Compiler&) = delete;
    Compiler& operator=(const Compiler&) = delete;
    ~Compiler() {
        CutBack(m_partners, m_partnersBase);
        CutBack(m_pieces, m_piecesBase);
    }

    bool CompileText(std::string_view text, Place place);

private:
    using Position = std::size_t;

    bool CompileRun(Position first, Position last, Place place);
    bool CompilePiece(std::string_view piece, Place place);
    bool CompileLiteral(std::string_view piece, const Literal& literal, Place place);
    bool CompileIndexing(std::string_view piece, Place place);
    bool CompileCall(std::string_view piece, Position open, Place place);
    bool CompileArguments(std::string_view text, std::string_view name, const FunctionOverloads& functions,
                          Place place);

    const Literal* FindLiteral(std::string_view piece) const;
    const char* CutIntoOperands(std::string_view text);
    const char* CutIntoArguments(std::string_view text);
    Position PartnerIn(std::string_view text, Position position);

    static Step StepAt(Place place, Step::Kind kind, std::string_view text);
    bool Give(Step::Kind kind, std::string_view text, Place place);
    bool GiveConstructor(Step::Kind kind, const Constructor* constructor, std::string_view text, Place place);
    bool GiveOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place);
    bool GiveFault(std::string_view begin, std::string_view middle = {}, std::string_view end = {});
    bool GiveMissingOperands(const Operator& op);
    bool GiveAmbiguity(std::string_view piece);

    /// A long expression should not keep its memory for the short ones that follow; some pages do not matter.
    template <class T> static void CutBack(std::vector<T>& stack, std::size_t size) {
        constexpr std::size_t MostKept = 4096;
        stack.resize(size);
        if (size == 0 && stack.capacity() > MostKept) stack = {};
    }

    const std::string_view m_source;
    const unsigned m_room;
    const Registry& m_registry;
    const Operators& m_operators;
    const std::vector<Literal>& m_literals;
    std::vector<Piece>& m_pieces;
    std::vector<std::size_t>& m_partners;
    StepSink& m_sink;
    const Position m_partnersBase;
    const Position m_piecesBase;
    bool m_hasPartners = false; ///< found when the first bracket is met: most texts have none
};

bool Compiler::CompileText(std::string_view text, Place place) {
    if (place.level > m_room) return Give(Step::Kind::TooDeep, {}, place);
    text = Trimmed(text);
    if (text.empty()) return GiveFault("\tError : Empty symbol");

    const Position first = m_pieces.size();
    // Growing step by step, the memory for a long expression would be touched twice. There are no more pieces than
    // characters, and what is not used is never touched.
    if (place.level == 0 && text.size() > LongText) m_pieces.reserve(first + text.size());
    const char* const fault = CutIntoOperands(text);
    const bool goesOn = fault ? GiveFault(fault) : CompileRun(first, m_pieces.size(), place);
    m_pieces.resize(first);
    return goesOn;
}

bool Compiler::CompileRun(Position first, Position last, Place place) {
    while (first < last && IsBlank(m_pieces[first])) ++first;
    while (first < last && IsBlank(m_pieces[last - 1])) --last;
    assert(first < last);
    if (last - first == 1 && !m_pieces[first].GetOperator())
        return CompilePiece(Trimmed(m_pieces[first].GetText()), place);

    unsigned lowest = std::numeric_limits<unsigned>::max();
    for (Position i = first; i < last; ++i)
        if (const Operator* op = m_pieces[i].GetOperator()) lowest = std::min(lowest, op->priority);

    // All operators of the lowest priority, from left to right: each is applied to what has been compiled so far and
    // to the run that follows it up to the next one.
    const Operator* pending = nullptr;
    bool hasLeft = false;
    Position start = first;
    for (Position i = first; i <= last; ++i) {
        const Operator* const next = i < last ? m_pieces[i].GetOperator() : nullptr;
        if (i < last && !(next && next->priority == lowest)) continue;
        while (start < i && IsBlank(m_pieces[start])) ++start;
        const bool hasRun = start < i;
        if (hasRun) {
            const bool isOperand = i - start == 1 && !m_pieces[start].GetOperator();
            if (!(isOperand ? CompilePiece(Trimmed(m_pieces[start].GetText()), place.Operand())
                            : CompileRun(start, i, place.Operand())))
                return false;
        }
        if (pending) {
            if (!hasLeft && !hasRun) return GiveMissingOperands(*pending);
            const Step::Kind kind = !hasLeft  ? Step::Kind::RightUnary
                                    : !hasRun ? Step::Kind::LeftUnary
                                              : Step::Kind::Binary;
            if (!GiveOperator(kind, pending, pending->text, i == last ? place : place.Operand())) return false;
        }
        hasLeft = hasLeft || hasRun || pending;
        pending = next;
        start = i + 1;
    }
    return true;
}

bool Compiler::CompilePiece(std::string_view piece, Place place) {
    if (const Operator* op = m_operators.Find(piece)) return GiveMissingOperands(*op);
    if (piece.front() == '(' && piece.back() == ')' && piece.size() > 1)
        return CompileText(piece.substr(1, piece.size() - 2), place.Bracketed());

    const bool isName = IsName(piece);
    if (!isName || !IsLetter(piece.front())) {
        if (const Literal* literal = FindLiteral(piece)) return CompileLiteral(piece, *literal, place);
    }
    if (isName || piece == "_") return Give(Step::Kind::Name, piece, place);
    const Position open = piece.find('(');
    return open == std::string_view::npos ? CompileIndexing(piece, place) : CompileCall(piece, open, place);
}

/// `literal` is the first that accepts the piece.
bool Compiler::CompileLiteral(std::string_view piece, const Literal& literal, Place place) {
    for (const Literal* other = &literal + 1; other != m_literals.data() + m_literals.size(); ++other)
        if ((*other->test)(piece)) return GiveAmbiguity(piece);
    if (!literal.constructor) return GiveFault("\tError : No constructor for the type '", *literal.type, "'");
    return GiveConstructor(Step::Kind::Literal, literal.constructor, piece, place);
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
    if (close == NoPartner) return GiveFault(FaultOf(BracketOf('(')).unterminated);
    const std::string_view name = Trimmed(piece.substr(0, open));
    const std::string_view arguments = piece.substr(open + 1, close - open - 1);
    if (const FunctionOverloads* functions = FindIn(m_registry.functions, name))
        return CompileArguments(arguments, name, *functions, place);
    if (const Constructor* constructor = FindIn(m_registry.constructors, name))
        return GiveConstructor(Step::Kind::Construct, constructor, arguments, place);
    return GiveFault("\tError : Undefined function '", name, "'");
}

bool Compiler::CompileArguments(std::string_view text, std::string_view name, const FunctionOverloads& functions,
                                Place place) {
    const Position first = m_pieces.size();
    if (const char* fault = CutIntoArguments(text)) return GiveFault(fault);
    const Position last = m_pieces.size();
    for (Position i = first; i < last; ++i)
        if (!CompileText(m_pieces[i].GetText(), place.Inner())) return false;
    m_pieces.resize(first);
    Step step = StepAt(place, Step::Kind::Call, name);
    step.functions = &functions;
    step.argumentCount = static_cast<unsigned>(last - first);
    return m_sink.Take(step);
}

/// The first literal whose test accepts the piece, or null.
const Literal* Compiler::FindLiteral(std::string_view piece) const {
    for (const Literal& literal : m_literals)
        if ((*literal.test)(piece)) return &literal;
    return nullptr;
}

/// Appends the pieces of the text. Returns null, or the message on its first fault.
const char* Compiler::CutIntoOperands(std::string_view text) {
    return CutAtOperators(
        text, [&](Position i) { return PartnerIn(text, i); }, m_operators, m_pieces);
}

const char* Compiler::CutIntoArguments(std::string_view text) {
    return CutAtCommas(
        text, [&](Position i) { return PartnerIn(text, i); }, m_pieces);
}

/// The partner of the opening bracket at `position` of the text, a part of the source, if it closes within the text.
Compiler::Position Compiler::PartnerIn(std::string_view text, Position position) {
    if (!std::exchange(m_hasPartners, true)) FindPartners(m_source, m_partners);
    const Position offset = static_cast<Position>(text.data() - m_source.data());
    const Position partner = m_partners[m_partnersBase + offset + position];
    return partner == NoPartner || partner >= offset + text.size() ? NoPartner : partner - offset;
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

bool Compiler::GiveConstructor(Step::Kind kind, const Constructor* constructor, std::string_view text, Place place) {
    Step step = StepAt(place, kind, text);
    step.constructor = constructor;
    return m_sink.Take(step);
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
