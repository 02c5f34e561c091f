// The grammar of expressions.
//
// A text, trimmed of ' ', is cut at its top bracket level into operators and the pieces between them.
//
// Several pieces: of the operators with the lowest priority, the last one in the text is applied last, to everything on
// its left and everything on its right, each a text by the same rules. So binary operators of one priority group to the
// left, and a leading sign takes everything after it that binds more tightly. With nothing on one side the operator is
// unary: `op operand` is right-unary, `operand op` is left-unary; nothing on both sides is an error.
//
// A single piece is the first of these that applies:
//   operator         an error, it has no operands
//   ( text )         a text; `(1)(2)` begins and ends like one too, and fails on `1)(2`
//   name             begins with a letter and has letters and digits only: a symbol, else a function without
//                    arguments, else a constructor, else new or unknown
//   literal          what exactly one literal test accepts
//   digits or _      a name as above that no literal test accepted, or the last result
//   name ( a, b )    if it has a "(" anywhere, so `v[sqrt(4)]` is a call of `v[sqrt`: from the first "(" to its
//                    partner; the rest is ignored. A function of values, or a constructor, which gets the text between
//                    the parentheses
//   object [ index ] from the first "[" to the first "]", in this order; the rest is ignored
// and an error otherwise.
//
// Read from the left, an operator waits for its right side until an operator comes that binds no more tightly, or the
// text ends. Then it is applied to what was found since (perhaps nothing) and to what stood on its left. So a text is
// read once, whatever the priorities. A blank side counts as nothing. Steps are passed on as soon as they are found. A
// fault of the text is a step too, so it is reported in the order of evaluation, and only when evaluation reaches it.
// Brackets are checked first: nothing of a text is evaluated unless each bracket at its top level has its partner.
//
// Operators are recognised once, in the whole text. With operators of several characters a side may end in the
// beginning of one, which does not count as an operator there.

#include "quarn/interpreter/parser.h"

#include <algorithm>

#include "quarn/interpreter/names.h"

namespace Quarn {

namespace {

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text); }

bool IsName(std::string_view text) { return std::ranges::all_of(text, IsNameCharacter); }

/// Where a text is in the expression.
struct Place {
    unsigned level = 0; ///< of brackets around it
    bool isLast = true; ///< gives the value of the expression

    Place Inner() const { return {level + 1, false}; }
    Place Bracketed() const { return {level + 1, isLast}; }
    Place Operand() const { return {level, false}; }
};

} // namespace

struct ParserMemory::Open {
    enum class Kind : unsigned char {
        Text,      ///< operators and operands
        Index,     ///< the text between the square brackets; the object is open above it
        Arguments, ///< of a call
    };
    Kind kind;
    bool hasOperand = false; ///< since the last operator of a text
    Place place;
    Cut rest;
    std::size_t waiting = 0;                      ///< where the waiting operators of a text begin
    std::string_view name = {};                   ///< of the called function
    const FunctionOverloads* functions = nullptr; ///< of that name
    unsigned argumentCount = 0;
};

ParserMemory::ParserMemory() = default;
ParserMemory::~ParserMemory() = default;

namespace {

using Open = ParserMemory::Open;

class Parser {
public:
    Parser(std::string_view text, unsigned deepest, const Language& language, ParserMemory& memory, StepSink& sink)
        : m_brackets(text, memory.brackets), m_deepest(deepest), m_language(language),
          m_operators(language.GetOperators()), m_memory(memory), m_sink(sink), m_openBase(memory.open.size()),
          m_waitingBase(memory.waiting.size()) {}
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser() {
        m_memory.open.erase(m_memory.open.begin() + static_cast<std::ptrdiff_t>(m_openBase), m_memory.open.end());
        m_memory.waiting.resize(m_waitingBase);
    }

    Outcome Parse(std::string_view text) {
        Outcome outcome = OpenText(text, {});
        while (outcome && m_memory.open.size() > m_openBase) outcome = Continue();
        return outcome;
    }

private:
    Open& Top() { return m_memory.open.back(); }

    Outcome OpenText(std::string_view text, Place place);
    Outcome OpenPiece(std::string_view piece, Place place);
    Outcome OpenIndexing(std::string_view piece, Place place);
    Outcome OpenCall(std::string_view piece, std::size_t parenthesis, Place place);
    Outcome Continue();
    Outcome ContinueText();
    Outcome ContinueIndexing();
    Outcome ContinueCall();
    Outcome ApplyWaiting(Open& text, Place place);

    static Step StepAt(Place place, Step::Kind kind, std::string_view text);
    Outcome EmitName(std::string_view name, Place place) {
        return m_sink.Accept(StepAt(place, Step::Kind::Name, name));
    }
    Outcome EmitLiteral(std::string_view text, const Literal& literal, Place place);
    Outcome EmitOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place);
    Outcome EmitFault(Place place, std::string_view begin, std::string_view middle = {}, std::string_view end = {});
    Outcome EmitMissingOperands(const Operator& op, Place place);
    Outcome EmitAmbiguity(std::string_view piece, Place place);

    Brackets m_brackets;
    const unsigned m_deepest;
    const Language& m_language;
    const Operators& m_operators;
    ParserMemory& m_memory;
    StepSink& m_sink;
    const std::size_t m_openBase;
    const std::size_t m_waitingBase;
};

Outcome Parser::OpenText(std::string_view text, Place place) {
    if (place.level > m_deepest) return EmitFault(place, {});
    text = Trimmed(text);
    if (text.empty()) return EmitFault(place, "\tError : Empty symbol");
    const bool hasBrackets = !std::ranges::all_of(text, [](char c) { return Bracket(c).IsNone(); });
    if (hasBrackets)
        if (const char* fault = m_brackets.FindFault(text, OperatorSeparators{m_operators}))
            return EmitFault(place, fault);
    m_memory.open.push_back({Open::Kind::Text, false, place, Cut(text), m_memory.waiting.size()});
    return Outcome::WentOn;
}

Outcome Parser::Continue() {
    switch (Top().kind) {
    case Open::Kind::Text: return ContinueText();
    case Open::Kind::Index: return ContinueIndexing();
    case Open::Kind::Arguments: return ContinueCall();
    }
    return Outcome::Failed;
}

/// Continues until a piece opens something, or to the end of the text.
Outcome Parser::ContinueText() {
    const std::size_t depth = m_memory.open.size();
    while (m_memory.open.size() == depth) {
        Open& text = Top(); // accepting a step may move it
        const Place place = text.place;
        Piece piece;
        if (!NextPiece(m_brackets, text.rest, m_operators, piece)) {
            if (m_memory.waiting.size() == text.waiting) {
                m_memory.open.pop_back();
                return Outcome::WentOn;
            }
            const bool isLast = m_memory.waiting.size() == text.waiting + 1;
            if (const Outcome outcome = ApplyWaiting(text, isLast ? place : place.Operand()); !outcome) return outcome;
        } else if (piece.op) {
            const auto& waiting = m_memory.waiting;
            while (waiting.size() > Top().waiting && waiting.back().op->priority >= piece.op->priority)
                if (const Outcome outcome = ApplyWaiting(Top(), place.Operand()); !outcome) return outcome;
            m_memory.waiting.push_back({piece.op, std::exchange(Top().hasOperand, false)});
        } else if (const std::string_view operand = Trimmed(piece.text); !operand.empty()) {
            text.hasOperand = true;
            const bool isWholeText = piece.text.size() == text.rest.text.size();
            if (const Outcome outcome = OpenPiece(operand, isWholeText ? place : place.Operand()); !outcome)
                return outcome;
        }
    }
    return Outcome::WentOn;
}

/// Applies the last of the operators that wait in a text.
Outcome Parser::ApplyWaiting(Open& text, Place place) {
    const auto [op, hasLeftOperand] = m_memory.waiting.back();
    m_memory.waiting.pop_back();
    const bool hasRightOperand = std::exchange(text.hasOperand, true);
    if (!hasLeftOperand && !hasRightOperand) return EmitMissingOperands(*op, place);
    const Step::Kind kind = !hasLeftOperand    ? Step::Kind::RightUnary
                            : !hasRightOperand ? Step::Kind::LeftUnary
                                               : Step::Kind::Binary;
    return EmitOperator(kind, op, op->text, place);
}

Outcome Parser::OpenPiece(std::string_view piece, Place place) {
    if (const Operator* op = m_operators.Find(piece)) return EmitMissingOperands(*op, place);
    if (piece.front() == '(' && piece.back() == ')' && piece.size() > 1)
        return OpenText(piece.substr(1, piece.size() - 2), place.Bracketed());

    const bool isName = IsName(piece);
    if (!isName || !IsLetter(piece.front())) {
        const Literal* literal = nullptr;
        for (const Literal& candidate : m_language.GetLiterals()) {
            if (!m_language.IsLiteral(candidate, piece)) continue;
            if (literal) return EmitAmbiguity(piece, place);
            literal = &candidate;
        }
        if (literal) return EmitLiteral(piece, *literal, place);
    }
    if (isName || piece == "_") return EmitName(piece, place);
    const std::size_t parenthesis = piece.find('(');
    return parenthesis == std::string_view::npos ? OpenIndexing(piece, place) : OpenCall(piece, parenthesis, place);
}

Outcome Parser::OpenIndexing(std::string_view piece, Place place) {
    const std::size_t open = piece.find('[');
    const std::size_t close = piece.find(']');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return EmitFault(place, "\tError : Unable to parse expression '", piece, "', no operator found");
    if (close == open + 1) return EmitFault(place, "\tError : Illegal use of '[.]' with empty argument");
    if (open == 0) return EmitFault(place, "\tError : Illegal use of '[.]' on empty object");
    m_memory.open.push_back({Open::Kind::Index, false, place, Cut(piece.substr(open + 1, close - open - 1))});
    return OpenText(piece.substr(0, open), place.Inner());
}

Outcome Parser::ContinueIndexing() {
    Open& indexing = Top();
    if (const std::string_view index = std::exchange(indexing.rest.text, {}); !index.empty())
        return OpenText(index, indexing.place.Inner());
    const Place place = indexing.place;
    m_memory.open.pop_back();
    return EmitOperator(Step::Kind::Index, m_operators.Find("[]"), "[]", place);
}

Outcome Parser::OpenCall(std::string_view piece, std::size_t parenthesis, Place place) {
    const std::size_t partner = m_brackets.FindPartner(piece, parenthesis);
    if (partner == Brackets::None) return EmitFault(place, Bracket('(').GetFault());
    const std::string_view name = Trimmed(piece.substr(0, parenthesis));
    const std::string_view arguments = piece.substr(parenthesis + 1, partner - parenthesis - 1);
    const Registry& registry = m_language.GetRegistry();
    if (const FunctionOverloads* functions = FindIn(registry.functions, name)) {
        if (const char* fault = m_brackets.FindFault(arguments, Commas())) return EmitFault(place, fault);
        m_memory.open.push_back({Open::Kind::Arguments, false, place, Cut(arguments), 0, name, functions});
        return Outcome::WentOn;
    }
    const Constructor* constructor = FindIn(registry.constructors, name);
    if (!constructor) return EmitFault(place, "\tError : Undefined function '", name, "'");
    Step step = StepAt(place, Step::Kind::Construct, arguments);
    step.constructor = constructor;
    return m_sink.Accept(step);
}

Outcome Parser::ContinueCall() {
    Open& call = Top();
    std::string_view argument;
    while (m_brackets.Next(call.rest, Commas(), argument)) {
        if (call.rest.isSeparator) continue;
        ++call.argumentCount;
        return OpenText(argument, call.place.Inner());
    }
    Step step = StepAt(call.place, Step::Kind::Call, call.name);
    step.functions = call.functions;
    step.argumentCount = call.argumentCount;
    m_memory.open.pop_back();
    return m_sink.Accept(step);
}

Step Parser::StepAt(Place place, Step::Kind kind, std::string_view text) {
    Step step;
    step.kind = kind;
    step.isLast = place.isLast;
    step.level = place.level;
    step.text = text;
    return step;
}

Outcome Parser::EmitLiteral(std::string_view text, const Literal& literal, Place place) {
    if (!literal.constructor) return EmitFault(place, "\tError : No constructor for the type '", *literal.type, "'");
    Step step = StepAt(place, Step::Kind::Literal, text);
    step.constructor = literal.constructor;
    step.isConstant = literal.isConstant;
    return m_sink.Accept(step);
}

Outcome Parser::EmitOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place) {
    Step step = StepAt(place, kind, text);
    step.op = op;
    return m_sink.Accept(step);
}

/// The message of the fault comes in three parts.
Outcome Parser::EmitFault(Place place, std::string_view begin, std::string_view middle, std::string_view end) {
    s_str message = begin;
    message += middle;
    message += end;
    const Outcome outcome = m_sink.Accept(StepAt(place, Step::Kind::Fault, message));
    return outcome ? Outcome::Failed : outcome;
}

Outcome Parser::EmitMissingOperands(const Operator& op, Place place) {
    return EmitFault(place, "\tError : Operator '", op.text, "' is missing its operands");
}

Outcome Parser::EmitAmbiguity(std::string_view piece, Place place) {
    s_str candidates;
    for (const Literal& literal : m_language.GetLiterals())
        if (m_language.IsLiteral(literal, piece)) candidates += (candidates.IsEmpty() ? "" : ", ") + *literal.type;
    return EmitFault(place, "\tError : Ambiguous constructor : '",
                     s_str(piece) + "'.\n\t        Possible candidates : ", candidates);
}

} // namespace

Outcome Parse(std::string_view text, unsigned deepest, const Language& language, ParserMemory& memory, StepSink& sink) {
    return Parser(text, deepest, language, memory, sink).Parse(text);
}

} // namespace Quarn
