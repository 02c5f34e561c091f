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
// Operators are recognised from the left, the first in ascending order wins. Those of several characters may overlap,
// see overlapping_operators.h: then a text is cut into its sides, and these are read anew.

#include "quarn/interpreter/engine/parser.h"

#include <algorithm>
#include <stdexcept>

#include "quarn/core/ranges.h"
#include "quarn/interpreter/engine/overlapping_operators.h"
#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/limits/limits.h"

namespace Quarn {

namespace {

constexpr const char* NoIndex = "\tError : Illegal use of '[.]' with empty argument";

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text); }

/// Where a text is in the expression.
struct Place {
    bool isWhole;             ///< all its brackets have their partners: it is not torn out between others
    bool isLast = true;       ///< gives the value of the expression
    bool isBracketed = false; ///< stands within round brackets

    Place Bracketed() const { return {isWhole, isLast, true}; }
    Place Operand() const { return {isWhole, false}; }
    Place Torn() const { return {false, false}; }
};

Step StepAt(Place place, Step::Kind kind, std::string_view text) {
    Step step;
    step.kind = kind;
    step.isLast = place.isLast;
    step.isBracketed = place.isBracketed;
    step.SetText(text);
    return step;
}

Step FlatStep(Place place, std::string_view text, const FlatType& type, Word word) {
    Step step = StepAt(place, Step::Kind::Flat, text);
    step.isConstant = true;
    step.type = &type;
    step.word = word;
    return step;
}

const char* EndOfWord(const char* begin, const char* textEnd, const ByteSet& isInWord) {
    while (begin != textEnd && isInWord[static_cast<unsigned char>(*begin)]) ++begin;
    return begin;
}

/// Makes the step of a text that is a name, or a flat literal of letters, digits and points. False for any other text.
bool ReadWord(std::string_view text, Place place, const Language& language, Step& step) {
    const Operators& operators = language.GetOperators();
    const bool isName = IsLetter(text.front());
    const char* const textEnd = text.data() + text.size();
    if (EndOfWord(text.data(), textEnd, isName ? operators.GetNameCharacters() : operators.GetNumberCharacters()) !=
        textEnd)
        return false;
    if (isName) {
        step = StepAt(place, Step::Kind::Name, text);
        return true;
    }
    Word word = 0;
    const FlatType* const type = language.ReadFlatLiteral(text, word);
    if (type) step = FlatStep(place, text, *type, word);
    return type != nullptr;
}

} // namespace

struct ParserMemory::Open {
    enum class Kind : unsigned char {
        Text,      ///< operators and operands
        Sides,     ///< of an operator, each a text by itself
        Index,     ///< the text between the square brackets; the object is open above it
        Arguments, ///< of a call
    };
    Open(Kind whatKind, Place where, std::string_view whole) : kind(whatKind), place(where), text(whole) {}

    Kind kind;
    Place place;
    bool hasOperand = false;      ///< since the last operator of a text; on the left one of two sides
    bool hasRight = false;        ///< whether there is a right side
    bool endsInOperators = false; ///< the operand, see `ParserMemory::ends`
    std::string_view text;
    std::size_t position = 0;     ///< where the rest begins
    std::size_t count = 0;        ///< of the waiting operators of a text, or of the arguments so far
    std::string_view second = {}; ///< the right side, or the name of the called function
    union {
        const Operator* op = nullptr;       ///< between two sides
        const FunctionOverloads* functions; ///< of that name
    };
};

ParserMemory::ParserMemory() = default;
ParserMemory::~ParserMemory() = default;

namespace {

using Open = ParserMemory::Open;

class Parser {
public:
    Parser(std::string_view text, const Language& language, ParserMemory& memory, StepSink& sink)
        : m_brackets(text, memory.brackets), m_language(language), m_operators(language.GetOperators()),
          m_memory(memory), m_sink(sink) {}
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser() {
        while (m_openCount > 0) {
            for (; Top().kind == Open::Kind::Text && Top().count > 0; --Top().count) m_memory.waiting.pop_back();
            while (Top().endsInOperators) TakeEnd();
            Pop();
        }
    }

    Outcome Parse(std::string_view text) {
        const bool isWhole = !m_operators.HaveBrackets() && m_brackets.AreBalanced();
        Outcome outcome = OpenText(text, {isWhole});
        while (outcome && m_openCount > 0) outcome = Continue();
        return outcome;
    }

private:
    Open& Top() { return m_memory.open.back(); }
    Open& Push(Open::Kind kind, Place place, std::string_view text) {
        Open& open = m_memory.open.emplace_back(kind, place, text);
        ++m_openCount;
        return open;
    }
    void Pop() {
        m_memory.open.pop_back();
        --m_openCount;
    }

    /// Nothing is left to do for a text that is a single piece, so it takes no memory while the piece is read.
    void CloseIfWhole(std::string_view piece) {
        if (piece.size() == Top().text.size()) Pop();
    }
    /// Every operand is looked at several times.
    bool MustStopBefore(std::size_t characters) {
        return m_memory.brackets.limits && m_memory.brackets.limits->MustStopBefore(characters);
    }
    [[gnu::noinline]] const char* FindFault(std::string_view text) {
        const bool hasBrackets = !AllOf(text, [](char c) { return Bracket(c).IsNone(); });
        return hasBrackets ? m_brackets.FindFault(text, OperatorSeparators{m_operators}) : nullptr;
    }
    Outcome OpenText(std::string_view text, Place place);
    Outcome OpenPiece(std::string_view piece, Place place);
    Outcome OpenBrackets(std::string_view piece, Place place);
    Outcome OpenIndexing(std::string_view piece, Place place);
    Outcome OpenCall(std::string_view piece, std::size_t parenthesis, Place place);
    Outcome Continue();
    Outcome ContinueText();
    Outcome TakeNext(Open& text);
    const Operator* FindPiece(Open& text, std::size_t begin, std::string_view& piece);
    Outcome TakeOperator(const Operator& op);
    bool TakeWord(Open& text, const Operator*& following, Outcome& outcome);
    Outcome ApplyDownTo(unsigned priority);
    Outcome TakeOperand(std::string_view piece);
    std::string_view CutEnds(std::string_view operand, const Operator& following);
    ParserMemory::End TakeEnd();
    Outcome ApplyEnds();
    Outcome FinishText();
    void OpenSides(std::string_view text, const Token& op, Place place);
    Outcome ContinueSides();
    Outcome ContinueIndexing();
    Outcome ContinueCall();
    Outcome ApplyWaiting(Open& text, Place place);

    Outcome EmitName(std::string_view name, Place place) {
        return m_sink.Accept(StepAt(place, Step::Kind::Name, name));
    }
    Outcome EmitFlat(std::string_view text, const FlatType& type, Word word, Place place);
    Outcome EmitLiteral(std::string_view text, const Literal& literal, Place place);
    Outcome EmitOperation(const Operator& op, const char* at, bool hasLeftOperand, bool hasRightOperand, Place place);
    Outcome EmitOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place);
    Outcome EmitFault(const char* at, Place place, std::string_view begin, std::string_view middle = {},
                      std::string_view end = {}, FailureKind kind = FailureKind::Text);
    Outcome EmitFault(const char* bracket, Place place) {
        return EmitFault(bracket, place, Bracket(*bracket).GetFault());
    }
    Outcome EmitMissingOperands(const Operator& op, const char* at, Place place);
    Outcome EmitAmbiguity(std::string_view piece, Place place);

    Brackets m_brackets;
    const Language& m_language;
    const Operators& m_operators;
    ParserMemory& m_memory;
    StepSink& m_sink;
    std::size_t m_openCount = 0; ///< how many in the memory are of this parser
};

Outcome Parser::OpenText(std::string_view text, Place place) {
    text = Trimmed(text);
    if (text.empty()) return EmitFault(text.data(), place, "\tError : Empty symbol");
    if (!place.isWhole)
        if (const char* fault = FindFault(text)) return EmitFault(fault, place);
    if (m_operators.AreLong())
        if (const std::optional<Token> op = FindCuttingOperator(text, m_brackets, m_operators)) {
            OpenSides(text, *op, place);
            return Outcome::WentOn;
        }
    Push(Open::Kind::Text, place, text);
    return Outcome::WentOn;
}

Outcome Parser::Continue() {
    switch (Top().kind) {
    case Open::Kind::Text: return ContinueText();
    case Open::Kind::Sides: return ContinueSides();
    case Open::Kind::Index: return ContinueIndexing();
    case Open::Kind::Arguments: return ContinueCall();
    }
    return Outcome::Failed;
}

/// Continues until a piece opens something, or to the end of the text.
Outcome Parser::ContinueText() {
    const Open* const current = &Top();
    Outcome outcome = Outcome::WentOn;
    // Accepting a step may have moved it, and a call may have taken its place.
    while (outcome && m_openCount > 0 && &Top() == current && current->kind == Open::Kind::Text)
        outcome = TakeNext(Top());
    return outcome;
}

/// Takes what comes next in a text: an operand, an operator, or a word and the operator behind it.
[[gnu::always_inline]] inline Outcome Parser::TakeNext(Open& text) {
    if (text.endsInOperators) return ApplyEnds();
    const std::size_t begin = text.position;
    if (begin >= text.text.size()) return FinishText();
    const Operator* op = nullptr;
    if (m_operators.IsPlain(text.text[begin])) {
        Outcome outcome = Outcome::WentOn;
        const bool isTaken = TakeWord(text, op, outcome);
        if (isTaken && (!outcome || !op || &Top() != &text)) return outcome;
    } else if (Bracket(text.text[begin]).IsNone()) {
        op = m_operators.Match(text.text, begin);
    }
    std::string_view piece;
    if (op) text.position += op->text.View().size();
    else op = FindPiece(text, begin, piece);
    return op ? TakeOperator(*op) : TakeOperand(piece);
}

/// Finds the end of an operand. Null unless it is an operator after all, "[]".
inline const Operator* Parser::FindPiece(Open& text, std::size_t begin, std::string_view& piece) {
    const char* none = nullptr; // the brackets were checked before
    text.position = m_brackets.FindSeparator(text.text, text.position, OperatorSeparators{m_operators}, none);
    piece = {text.text.data() + begin, text.position - begin};
    return Bracket(piece.front()).IsNone() ? nullptr : m_operators.Find(piece);
}

/// Takes the next operand if it is a name, or a flat literal of letters, digits and points, as most operands are. Also
/// finds the operator that follows it. False for any other operand; the search for the end of that operand continues at
/// the position, which may be after its first word.
inline bool Parser::TakeWord(Open& text, const Operator*& following, Outcome& outcome) {
    const char* const textEnd = text.text.data() + text.text.size();
    const char* begin = text.text.data() + text.position;
    while (*begin == ' ') ++begin; // ends, because the text is trimmed
    const bool isName = IsLetter(*begin);
    const char* const end =
        EndOfWord(begin, textEnd, isName ? m_operators.GetNameCharacters() : m_operators.GetNumberCharacters());
    if (end == begin) return false;
    const char* next = end;
    while (next != textEnd && *next == ' ' && m_operators.IsPlain(' ')) ++next;
    const auto position = static_cast<std::size_t>(next - text.text.data());
    const bool isLast = next == textEnd;
    const Operator* const op = !isLast && Bracket(*next).IsNone() ? m_operators.Match(text.text, position) : nullptr;
    if (!op && !isLast) {
        text.position = position;
        return false;
    }
    const std::string_view word(begin, static_cast<std::size_t>(end - begin));
    Word value = 0;
    const FlatType* const type = isName ? nullptr : m_language.ReadFlatLiteral(word, value);
    if (!isName && !type) return false;
    const Place place = word.size() == text.text.size() ? text.place : text.place.Operand();
    text.position = position;
    text.hasOperand = true;
    following = op;
    outcome = isName ? EmitName(word, place) : EmitFlat(word, *type, value, place);
    return true;
}

/// Applies the last of the operators that wait in a text.
inline Outcome Parser::ApplyWaiting(Open& text, Place place) {
    const auto [op, position, hasLeftOperand] = m_memory.waiting.back();
    m_memory.waiting.pop_back();
    --text.count;
    return EmitOperation(*op, &text.text[position], hasLeftOperand, std::exchange(text.hasOperand, true), place);
}

/// Applies the operators that wait and bind as tightly, or more.
[[gnu::always_inline]] inline Outcome Parser::ApplyDownTo(unsigned priority) {
    const Place place = Top().place.Operand();
    while (Top().count > 0 && m_memory.waiting.back().op->priority >= priority)
        if (const Outcome outcome = ApplyWaiting(Top(), place); !outcome) return outcome;
    return Outcome::WentOn;
}

/// Lets the operator wait for its right operand, after those that must be applied first.
Outcome Parser::TakeOperator(const Operator& op) {
    if (const Outcome outcome = ApplyDownTo(op.priority); !outcome) return outcome;
    Open& text = Top();
    const auto position = static_cast<std::uint32_t>(text.position - op.text.View().size());
    m_memory.waiting.push_back({&op, position, std::exchange(text.hasOperand, false)});
    ++text.count;
    return Outcome::WentOn;
}

Outcome Parser::OpenPiece(std::string_view piece, Place place) {
    if (MustStopBefore(piece.size())) return Outcome::Failed;
    if (const Operator* op = m_operators.Find(piece)) return EmitMissingOperands(*op, piece.data(), place);
    if (piece.front() == '(' && piece.back() == ')' && piece.size() > 1) return OpenBrackets(piece, place);

    std::size_t nameEnd = 0;
    while (nameEnd < piece.size() && IsNameCharacter(piece[nameEnd])) ++nameEnd;
    const bool isName = nameEnd == piece.size();
    if (isName && IsLetter(piece.front())) return EmitName(piece, place);
    Word word = 0;
    if (const FlatType* type = m_language.ReadFlatLiteral(piece, word)) return EmitFlat(piece, *type, word, place);
    const auto [count, literal] = m_language.FindLiteral(piece);
    if (count > 1) return EmitAmbiguity(piece, place);
    if (literal) return EmitLiteral(piece, *literal, place);
    if (isName || piece == "_") return EmitName(piece, place);
    const std::size_t parenthesis = piece[nameEnd] == '(' ? nameEnd : piece.find('(', nameEnd);
    return parenthesis == std::string_view::npos ? OpenIndexing(piece, place) : OpenCall(piece, parenthesis, place);
}

Outcome Parser::OpenBrackets(std::string_view piece, Place place) {
    if (place.isWhole && m_brackets.FindPartner(piece, 0) != piece.size() - 1) place.isWhole = false;
    CloseIfWhole(piece);
    return OpenText(piece.substr(1, piece.size() - 2), place.Bracketed());
}

Outcome Parser::TakeOperand(std::string_view piece) {
    std::string_view operand = Trimmed(piece);
    Open& text = Top();
    if (m_operators.AreLong() && text.position < text.text.size()) // an operator follows
        operand = CutEnds(operand, *m_operators.Match(text.text, text.position));
    if (operand.empty()) return Outcome::WentOn;
    text.hasOperand = true;
    return OpenPiece(operand, piece.size() == text.text.size() ? text.place : text.place.Operand());
}

/// Cuts off the operators that end the left side of the following one, and remembers them.
std::string_view Parser::CutEnds(std::string_view operand, const Operator& following) {
    unsigned priority = following.priority;
    std::size_t position = 0;
    while (const Operator* const op = m_operators.MatchAtEnd(operand, position)) {
        priority = std::max(priority, op->priority);
        const auto at = static_cast<std::uint32_t>(operand.data() + position - Top().text.data());
        m_memory.ends.push_back({op, at, priority, std::exchange(Top().endsInOperators, true)});
        operand = Trimmed(operand.substr(0, position));
    }
    return operand;
}

ParserMemory::End Parser::TakeEnd() {
    const ParserMemory::End end = m_memory.ends.back();
    m_memory.ends.pop_back();
    Top().endsInOperators = end.hasOuter;
    return end;
}

/// Applies the innermost of the operators that end the operand.
Outcome Parser::ApplyEnds() {
    const ParserMemory::End end = TakeEnd();
    if (const Outcome outcome = ApplyDownTo(end.priority); !outcome) return outcome;
    Open& text = Top();
    m_memory.waiting.push_back({end.op, end.position, std::exchange(text.hasOperand, false)});
    ++text.count;
    return ApplyWaiting(text, text.place.Operand());
}

/// Applies all operators that wait.
Outcome Parser::FinishText() {
    const Place place = Top().place;
    while (Top().count > 0) {
        const bool isLast = Top().count == 1;
        if (const Outcome outcome = ApplyWaiting(Top(), isLast ? place : place.Operand()); !outcome) return outcome;
    }
    Pop();
    return Outcome::WentOn;
}

/// Cuts the text at the operator that is applied last.
void Parser::OpenSides(std::string_view text, const Token& op, Place place) {
    Open& sides = Push(Open::Kind::Sides, place, text.substr(0, op.begin));
    sides.op = op.op;
    sides.second = text.substr(op.end);
    sides.hasOperand = op.begin > 0;
    sides.hasRight = op.end < text.size();
}

/// Opens the left side, then the right side, then applies the operator.
Outcome Parser::ContinueSides() {
    Open& sides = Top();
    for (std::string_view* side : {&sides.text, &sides.second})
        if (!side->empty()) return OpenText(std::exchange(*side, {}), sides.place.Operand());
    const Open done = sides;
    Pop();
    return EmitOperation(*done.op, nullptr, done.hasOperand, done.hasRight, done.place); // one side is there
}

Outcome Parser::OpenIndexing(std::string_view piece, Place place) {
    const std::size_t open = piece.find('[');
    const std::size_t close = piece.find(']');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return EmitFault(piece.data(), place, "\tError : Unable to parse expression '", piece, "', no operator found");
    if (close == open + 1) return EmitFault(piece.data() + open, place, NoIndex);
    if (open == 0) return EmitFault(piece.data(), place, "\tError : Illegal use of '[.]' on empty object");
    Push(Open::Kind::Index, place, piece.substr(open + 1, close - open - 1));
    return OpenText(piece.substr(0, open), place.Torn());
}

Outcome Parser::ContinueIndexing() {
    Open& indexing = Top();
    if (const std::string_view index = std::exchange(indexing.text, {}); !index.empty())
        return OpenText(index, indexing.place.Torn());
    const Place place = indexing.place;
    Pop();
    return EmitOperator(Step::Kind::Index, m_operators.Find("[]"), "[]", place);
}

Outcome Parser::OpenCall(std::string_view piece, std::size_t parenthesis, Place place) {
    const std::size_t partner = m_brackets.FindPartner(piece, parenthesis);
    if (partner == Brackets::None) return EmitFault(&piece[parenthesis], place);
    const std::string_view name = Trimmed(piece.substr(0, parenthesis));
    const std::string_view arguments = piece.substr(parenthesis + 1, partner - parenthesis - 1);
    if (const FunctionOverloads* functions = m_language.FindFunctions(name)) {
        if (const char* fault = place.isWhole ? nullptr : m_brackets.FindFault(arguments, Commas()))
            return EmitFault(fault, place);
        CloseIfWhole(piece);
        Open& call = Push(Open::Kind::Arguments, place, arguments);
        call.second = name;
        call.functions = functions;
        return Outcome::WentOn;
    }
    const Constructor* constructor = FindIn(m_language.GetRegistry().constructors, name);
    if (!constructor)
        return EmitFault(name.data(), place, "\tError : Undefined function '", name, "'", FailureKind::UnknownName);
    Step step = StepAt(place, Step::Kind::Construct, arguments);
    step.constructor = constructor;
    return m_sink.Accept(step);
}

Outcome Parser::ContinueCall() {
    Open& call = Top();
    std::size_t& position = call.position;
    while (position < call.text.size() && call.text[position] == ',') ++position;
    if (const std::size_t begin = position; begin < call.text.size()) {
        const char* none = nullptr; // the brackets were checked before
        position = m_brackets.FindSeparator(call.text, begin, Commas(), none);
        constexpr std::size_t Many = 4096;
        if (++call.count == Many) // as many again for each part of the text as long as this one
            m_sink.Expect(Many * (call.text.size() / position + 1));
        return OpenText(call.text.substr(begin, position - begin), call.place.Operand());
    }
    Step step = StepAt(call.place, Step::Kind::Call, call.second);
    step.functions = call.functions;
    step.argumentCount = call.count;
    Pop();
    return m_sink.Accept(step);
}

Outcome Parser::EmitFlat(std::string_view text, const FlatType& type, Word word, Place place) {
    return m_sink.Accept(FlatStep(place, text, type, word));
}

Outcome Parser::EmitLiteral(std::string_view text, const Literal& literal, Place place) {
    Word word = 0;
    if (literal.reader && literal.reader.read(text, word)) return EmitFlat(text, *literal.reader.type, word, place);
    if (!literal.constructor)
        return EmitFault(text.data(), place, "\tError : No constructor for the type '", *literal.type, "'");
    Step step = StepAt(place, Step::Kind::Literal, text);
    step.constructor = literal.constructor;
    step.isConstant = literal.isConstant;
    return m_sink.Accept(step);
}

Outcome Parser::EmitOperation(const Operator& op, const char* at, bool hasLeftOperand, bool hasRightOperand,
                              Place place) {
    if (!hasLeftOperand && !hasRightOperand) return EmitMissingOperands(op, at, place);
    const Step::Kind kind = !hasLeftOperand    ? Step::Kind::RightUnary
                            : !hasRightOperand ? Step::Kind::LeftUnary
                                               : Step::Kind::Binary;
    return EmitOperator(kind, &op, op.text, place);
}

Outcome Parser::EmitOperator(Step::Kind kind, const Operator* op, std::string_view text, Place place) {
    Step step = StepAt(place, kind, text);
    step.op = op;
    return m_sink.Accept(step);
}

/// The message of the fault comes in three parts.
Outcome Parser::EmitFault(const char* at, Place place, std::string_view begin, std::string_view middle,
                          std::string_view end, FailureKind kind) {
    s_str message = begin;
    message += middle;
    message += end;
    Step step = StepAt(place, Step::Kind::Fault, message);
    step.at = at;
    step.failure = kind;
    const Outcome outcome = m_sink.Accept(step);
    return outcome ? Outcome::Failed : outcome;
}

/// "[]" without operands is an index without text: it is no operator that the scanner finds.
Outcome Parser::EmitMissingOperands(const Operator& op, const char* at, Place place) {
    if (op.text == "[]") return EmitFault(at, place, NoIndex);
    return EmitFault(at, place, "\tError : Operator '", op.text, "' is missing its operands");
}

Outcome Parser::EmitAmbiguity(std::string_view piece, Place place) {
    s_str candidates;
    m_language.ForEachLiteral(
        piece, [&](const Literal& literal) { candidates += (candidates.IsEmpty() ? "" : ", ") + *literal.type; });
    return EmitFault(piece.data(), place, "\tError : Ambiguous constructor : '",
                     s_str(piece) + "'.\n\t        Possible candidates : ", candidates);
}

} // namespace

Outcome Parse(std::string_view text, const Language& language, ParserMemory& memory, StepSink& sink) {
    if (text.size() >= Brackets::Pair::NoPartner) throw std::length_error("a text of 4 GiB");
    // Many texts are a single word, like most elements of vectors. They have no brackets to match.
    const std::string_view word = Trimmed(text);
    Step step;
    if (!word.empty() && ReadWord(word, {true}, language, step)) return sink.Accept(step);
    return Parser(text, language, memory, sink).Parse(text);
}

} // namespace Quarn
