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
// runs of pieces, without the blank pieces at their ends. Faults of the text become steps of the program: they are
// reported in the order of evaluation, and only if it comes that far.

#include "interpreter/compiler.h"

#include <algorithm>
#include <cassert>

namespace Quarn {

namespace {

constexpr char Blank = ' ';

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text, Blank); }

bool IsBlank(const Piece& piece) { return !piece.op && Trimmed(piece.text).empty(); }

// Three searches for one character each are much faster than one for any of three.
bool HasBrackets(std::string_view text) {
    return std::ranges::any_of(std::string_view("(<["),
                               [&](char bracket) { return text.find(bracket) != std::string_view::npos; });
}

bool IsName(std::string_view text) { return std::ranges::all_of(text, IsNameCharacter); }

class Compiler {
public:
    Compiler(std::string_view source, unsigned room, const Registry& registry, const Operators& operators,
             CompilerMemory& memory, Program& program)
        : m_source(source), m_room(room), m_registry(registry), m_operators(operators), m_pieces(memory.pieces),
          m_partners(memory.partners), m_program(program), m_partnersBase(memory.partners.size()),
          m_piecesBase(memory.pieces.size()) {
        if (HasBrackets(source)) FindPartners(source, m_partners);
    }
    Compiler(const Compiler&) = delete;
    Compiler& operator=(const Compiler&) = delete;
    ~Compiler() {
        m_partners.resize(m_partnersBase);
        m_pieces.resize(m_piecesBase);
    }

    void CompileText(std::string_view text, unsigned level);

private:
    using Position = std::size_t;

    void CompileRun(Position first, Position last, unsigned level);
    void CompilePiece(std::string_view piece, unsigned level);
    bool CompileLiteral(std::string_view piece);
    void CompileIndexing(std::string_view piece, unsigned level);
    void CompileCall(std::string_view piece, Position open, unsigned level);
    void CompileArguments(std::string_view text, std::string_view name, const FunctionOverloads& functions,
                          unsigned level);

    const char* CutIntoOperands(std::string_view text);
    const char* CutIntoArguments(std::string_view text);
    Position PartnerIn(std::string_view text, Position position) const;
    Step& Add(Step::Kind kind, std::string_view text);
    void AddFault(std::string_view begin, std::string_view middle = {}, std::string_view end = {});
    void AddMissingOperands(const Operator& op);

    const std::string_view m_source;
    const unsigned m_room;
    const Registry& m_registry;
    const Operators& m_operators;
    std::vector<Piece>& m_pieces;
    std::vector<std::size_t>& m_partners;
    Program& m_program;
    const Position m_partnersBase;
    const Position m_piecesBase;
};

void Compiler::CompileText(std::string_view text, unsigned level) {
    if (level > m_room) {
        m_program.isClipped = true;
        Add(Step::Kind::TooDeep, {});
        return;
    }
    m_program.nesting = std::max(m_program.nesting, level);
    text = Trimmed(text);
    if (text.empty()) return AddFault("\tError : Empty symbol");

    const Position first = m_pieces.size();
    if (const char* fault = CutIntoOperands(text)) {
        AddFault(fault);
    } else {
        CompileRun(first, m_pieces.size(), level);
        // Only a text that is nothing but a name may define it.
        if (level == 0) m_program.steps.front().isWholeText = m_program.steps.front().text == text;
    }
    m_pieces.resize(first);
}

void Compiler::CompileRun(Position first, Position last, unsigned level) {
    while (first < last && IsBlank(m_pieces[first])) ++first;
    while (first < last && IsBlank(m_pieces[last - 1])) --last;
    assert(first < last);
    if (last - first == 1 && !m_pieces[first].op) return CompilePiece(Trimmed(m_pieces[first].text), level);

    unsigned lowest = std::numeric_limits<unsigned>::max();
    for (Position i = first; i < last; ++i)
        if (m_pieces[i].op) lowest = std::min(lowest, m_pieces[i].op->priority);

    // All operators of the lowest priority, from left to right: each is applied to what has been compiled so far and
    // to the run that follows it up to the next one.
    const Operator* pending = nullptr;
    bool hasLeft = false;
    Position start = first;
    for (Position i = first; i <= last; ++i) {
        if (i < last && !(m_pieces[i].op && m_pieces[i].op->priority == lowest)) continue;
        const auto piecesBegin = m_pieces.begin();
        const auto begin = piecesBegin + static_cast<std::ptrdiff_t>(start);
        const auto end = piecesBegin + static_cast<std::ptrdiff_t>(i);
        const bool hasRun = !std::all_of(begin, end, IsBlank);
        if (hasRun) CompileRun(start, i, level);
        if (!pending) {
            hasLeft = hasRun;
        } else if (!hasLeft && !hasRun) {
            AddMissingOperands(*pending);
            hasLeft = true;
        } else {
            const Step::Kind kind = !hasLeft  ? Step::Kind::RightUnary
                                    : !hasRun ? Step::Kind::LeftUnary
                                              : Step::Kind::Binary;
            Add(kind, pending->text).op = pending;
            hasLeft = true;
        }
        if (i < last) pending = m_pieces[i].op;
        start = i + 1;
    }
}

void Compiler::CompilePiece(std::string_view piece, unsigned level) {
    if (const Operator* op = m_operators.Find(piece)) return AddMissingOperands(*op);
    if (piece.front() == '(' && piece.back() == ')' && piece.size() > 1)
        return CompileText(piece.substr(1, piece.size() - 2), level + 1);

    const bool isName = IsName(piece);
    if (!(isName && IsLetter(piece.front())) && CompileLiteral(piece)) return;
    if (isName || piece == "_") {
        Add(Step::Kind::Name, piece);
        return;
    }
    const Position open = piece.find('(');
    if (open == std::string_view::npos) CompileIndexing(piece, level);
    else CompileCall(piece, open, level);
}

/// False when no literal test accepts the piece.
bool Compiler::CompileLiteral(std::string_view piece) {
    const s_str* accepting = nullptr;
    s_str candidates;
    for (const auto& [type, test] : m_registry.literalTests) {
        if (!test(piece)) continue;
        if (accepting) {
            if (candidates.IsEmpty()) candidates = *accepting;
            candidates += ", " + type;
        }
        accepting = &type;
    }
    if (!accepting) return false;
    if (!candidates.IsEmpty()) {
        AddFault("\tError : Ambiguous constructor : '" + s_str(piece) +
                 "'.\n\t        Possible candidates : " + candidates);
    } else if (const Constructor* constructor = FindIn(m_registry.constructors, *accepting)) {
        Add(Step::Kind::Literal, piece).constructor = constructor;
    } else {
        AddFault("\tError : No constructor for the type '", *accepting, "'");
    }
    return true;
}

void Compiler::CompileIndexing(std::string_view piece, unsigned level) {
    const Position open = piece.find('[');
    const Position close = piece.find(']');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return AddFault("\tError : Unable to parse expression '", piece, "', no operator found");
    if (close == open + 1) return AddFault("\tError : Illegal use of '[.]' with empty argument");
    if (open == 0) return AddFault("\tError : Illegal use of '[.]' on empty object");
    CompileText(piece.substr(0, open), level + 1);
    CompileText(piece.substr(open + 1, close - open - 1), level + 1);
    Add(Step::Kind::Index, "[]").op = m_operators.Find("[]");
}

void Compiler::CompileCall(std::string_view piece, Position open, unsigned level) {
    const Position close = PartnerIn(piece, open);
    if (close == NoPartner) return AddFault(FaultOf(BracketOf('(')).unterminated);
    const std::string_view name = Trimmed(piece.substr(0, open));
    const std::string_view arguments = piece.substr(open + 1, close - open - 1);
    if (const FunctionOverloads* functions = FindIn(m_registry.functions, name))
        return CompileArguments(arguments, name, *functions, level);
    if (const Constructor* constructor = FindIn(m_registry.constructors, name)) {
        Add(Step::Kind::Construct, arguments).constructor = constructor;
        return;
    }
    AddFault("\tError : Undefined function '", name, "'");
}

void Compiler::CompileArguments(std::string_view text, std::string_view name, const FunctionOverloads& functions,
                                unsigned level) {
    const Position first = m_pieces.size();
    if (const char* fault = CutIntoArguments(text)) {
        AddFault(fault);
    } else {
        const Position last = m_pieces.size();
        for (Position i = first; i < last; ++i) CompileText(m_pieces[i].text, level + 1);
        Step& call = Add(Step::Kind::Call, name);
        call.functions = &functions;
        call.argumentCount = static_cast<unsigned>(last - first);
    }
    m_pieces.resize(first);
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
Compiler::Position Compiler::PartnerIn(std::string_view text, Position position) const {
    const Position offset = static_cast<Position>(text.data() - m_source.data());
    const Position partner = m_partners[m_partnersBase + offset + position];
    return partner == NoPartner || partner >= offset + text.size() ? NoPartner : partner - offset;
}

Step& Compiler::Add(Step::Kind kind, std::string_view text) {
    Step& step = m_program.steps.emplace_back();
    step.kind = kind;
    step.text = text;
    return step;
}

/// The message of the fault, in three parts. Messages are put together here and not where the faults are found, for the
/// sake of the stack: those places recurse.
void Compiler::AddFault(std::string_view begin, std::string_view middle, std::string_view end) {
    s_str& message = m_program.messages.emplace_front(begin);
    message += middle;
    message += end;
    Add(Step::Kind::Fault, message);
}

void Compiler::AddMissingOperands(const Operator& op) {
    AddFault("\tError : Operator '", op.text, "' is missing its operands");
}

} // namespace

void Compile(std::string_view text, unsigned room, const Registry& registry, const Operators& operators,
             CompilerMemory& memory, Program& program) {
    Compiler(text, room, registry, operators, memory, program).CompileText(text, 0);
}

void Program::Clear() {
    // A long expression should not keep its memory for the short ones that follow.
    constexpr std::size_t MostStepsKept = 256;
    if (steps.capacity() > MostStepsKept) steps = {};
    steps.clear();
    messages.clear();
    nesting = 0;
    isClipped = false;
}

} // namespace Quarn
