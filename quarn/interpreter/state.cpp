#include "quarn/interpreter/state.h"

#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/help.h"
#include "quarn/interpreter/interpreter.h"
#include "quarn/types/reference.h"
#include "quarn/types/scalar.h"

namespace Quarn {

State::State() : m_interpreter(make_refptr<Interpreter>(*this)) {
    SetOperatorPriorities({{"[]", 5}}); // written around its operand, for whatever type
    Symbol::Register(*this);
    Reference::Register(*this);
    Scalar::Register(*this);
    SetLastResult(nullptr);
}

State::~State() = default;

bool State::ParseLine(std::string_view line) { return m_interpreter->statements.ParseLine(line); }

void State::SetInteractive(s_bool interactive) {
    m_interpreter->statements.SetInteractive(static_cast<bool>(interactive));
}

void State::SetStreams(std::istream& input, std::ostream& output) {
    m_interpreter->statements.SetStreams(input, output);
}

void State::PrintHelp() { m_interpreter->statements.Print(HelpText()); }

Completions State::Complete(std::string_view line, std::size_t position) {
    return Quarn::Complete(line, position, m_interpreter->language, m_interpreter->symbols);
}

Result<s_str> State::PreviewFor(std::string_view line, double seconds) {
    return m_interpreter->statements.Preview(line, seconds);
}

std::vector<std::string_view> State::FindUnknownNames(std::string_view line) {
    return Quarn::FindUnknownNames(line, m_interpreter->language, m_interpreter->symbols);
}

void State::PrintOutOfMemory() { m_interpreter->statements.Print("\tError : Out of memory\n"); }

const State::SymbolMap& State::GetSymbols() const { return m_interpreter->symbols.GetMap(); }

s_refptr<Symbol> State::Get(std::string_view name) const {
    if (name == SymbolTable::LastResultName) ++m_interpreter->clock.entered; // its changes do not end what is kept
    const s_refptr<Symbol>* const value = m_interpreter->symbols.Find(name);
    return value ? *value : nullptr;
}

Result<s_refptr<Symbol>> State::Set(std::string_view name, s_refptr<Symbol> value) {
    s_str error;
    if (!m_interpreter->statements.CheckDefinable(name, error)) return Result<s_refptr<Symbol>>::Error(error);
    return Store(name, std::move(value)); // copied: `name` may point into the value
}

s_refptr<Symbol> State::Assign(std::string_view name, const FlatType& type, Word word) {
    if (m_interpreter->language.MayBeTaken(name) || GetLimits().GetMemory() != Limits::Unlimited) return nullptr;
    return m_interpreter->symbols.Assign(name, type, word);
}

Result<s_refptr<Symbol>> State::SetConstant(std::string_view name, s_refptr<Symbol> value) {
    s_str error;
    if (!CheckSymbolName(name, error)) return Result<s_refptr<Symbol>>::Error(error);
    const s_str key = name;
    Result<s_refptr<Symbol>> stored = Store(key, std::move(value));
    if (stored) m_interpreter->symbols.MakeConstant(key);
    return stored;
}

Result<s_refptr<Symbol>> State::Store(const s_str& name, s_refptr<Symbol> value) {
    using Stored = Result<s_refptr<Symbol>>;
    s_str error;
    if (name.IsEmpty()) return Stored::Error("\tError : A symbol needs a name");
    if (!m_interpreter->statements.CheckUntaken(name, error)) return Stored::Error(error);
    if (!value) return Stored::Error("\tError : No value for the symbol '" + name + "'");
    s_refptr<Symbol> named = Symbol::Named(std::move(value), name);
    SymbolTable& symbols = m_interpreter->symbols;
    s_refptr<Symbol> before = symbols.Exchange(name, named);
    const bool isLimited = GetLimits().GetMemory() != Limits::Unlimited;
    if (isLimited && !m_interpreter->statements.CheckMemory(*symbols.Find(SymbolTable::LastResultName), error)) {
        if (before) before = symbols.Exchange(name, before);
        else symbols.Erase(name);
    }
    GetLimits().Destroy(std::move(before));
    if (!error.IsEmpty()) return Stored::Error(error, FailureKind::MemoryLimit);
    return named;
}

bool State::Erase(std::string_view name) {
    s_refptr<Symbol> value = m_interpreter->symbols.Erase(name);
    const bool wasThere = static_cast<bool>(value);
    GetLimits().Destroy(std::move(value));
    return wasThere;
}

void State::SetLastResult(s_refptr<Symbol> value) { m_interpreter->statements.SetLastResult(std::move(value)); }

s_bool State::CheckSymbolName(std::string_view name, s_str& error) const {
    return m_interpreter->statements.CheckSymbolName(name, error);
}

Result<s_refptr<Symbol>> State::Evaluate(std::string_view expression) {
    Failure failure;
    Operand value = m_interpreter->Answer(expression, failure, [&](s_str& error) {
        return m_interpreter->evaluator.Evaluate({}, expression, error, false);
    });
    return value ? Result(std::move(value).ToObject()) : std::move(failure);
}

s_refptr<Symbol> State::ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew) {
    return m_interpreter
        ->Enter(error,
                [&] { return m_interpreter->evaluator.Evaluate(name, expression, error, static_cast<bool>(allowNew)); })
        .ToObject();
}

Operand State::ParseOperand(std::string_view expression, s_str& error) {
    return m_interpreter->Enter(error, [&] { return m_interpreter->evaluator.Evaluate({}, expression, error, false); });
}

Result<Operand> State::EvaluateAndResolve(std::string_view expression) {
    Failure failure;
    Operand resolved = m_interpreter->Answer(expression, failure, [&](s_str& error) { // one budget for both
        const Operand value = m_interpreter->evaluator.Evaluate({}, expression, error, false);
        return value ? Reference::Resolve(value, error) : Operand();
    });
    return resolved ? Result(std::move(resolved)) : std::move(failure);
}

Result<s_refptr<Symbol>> State::Resolve(s_refptr<Symbol> value) {
    Failure failure;
    Operand resolved =
        m_interpreter->Answer({}, failure, [&](s_str& error) { return Reference::Resolve(Operand(value), error); });
    return resolved ? Result(std::move(resolved).ToObject()) : std::move(failure);
}

Result<s_str> State::TextOf(const Symbol& value) {
    EngineLimits& limits = m_interpreter->limits;
    const Limits::Level level(limits);
    s_str text;
    Failure failure;
    Outcome outcome = TextWriter(&limits, text, failure.error).Write(value);
    if (limits.IsStopped()) outcome = limits.CheckStopped(failure.error, 0);
    if (outcome) return text;
    m_interpreter->evaluator.Explain(failure, {});
    return failure;
}

namespace {

/// Separators found by a matcher.
struct MatchedSeparators {
    const State::Matcher& matcher;
    const s_str& text;
    s_str& matched;

    std::size_t Match(std::string_view, std::size_t position) const {
        return matcher(position, text, matched) ? matched.View().size() : 0;
    }
    std::size_t SkipPlain(std::string_view, std::size_t position) const { return position; }
};

} // namespace

s_bool State::SplitExpression(s_ctnr<s_str>& pieces, const s_str& text, const Matcher& matcher, s_str& error,
                              s_bool keepSeparators) const {
    s_str matched;
    const MatchedSeparators separators{matcher, text, matched};
    Brackets brackets(text, m_interpreter->evaluator.GetBrackets());
    Cut cut(text);
    for (std::string_view piece; brackets.Next(cut, separators, piece);) {
        if (!cut.isSeparator) {
            pieces.PushBack(piece);
        } else if (keepSeparators) {
            separators.Match(text, static_cast<std::size_t>(piece.data() - text.View().data()));
            pieces.PushBack(matched);
        }
    }
    return cut.fault ? Fail(error, Bracket(*cut.fault).GetFault()) : Outcome(Outcome::WentOn);
}

s_bool State::SplitOperators(s_ctnr<s_str>& pieces, const s_str& text, s_str& error) const {
    return SplitExpression(
        pieces, text,
        [this](std::size_t position, const s_str& wholeText, s_str& matchedText) {
            return MatchOperator(position, wholeText, matchedText);
        },
        error, true);
}

s_bool State::MatchOperator(std::size_t position, const s_str& wholeText, s_str& matchedText) const {
    const Operators& operators = m_interpreter->language.GetOperators();
    const bool isAtEnd = position >= wholeText.View().size();
    const Operator* const op = isAtEnd ? operators.GetFirst() : operators.Match(wholeText, position);
    if (op) matchedText = op->text;
    return op != nullptr;
}

bool State::SplitArguments(std::vector<std::string_view>& arguments, std::string_view text, s_str& error) const {
    Brackets brackets(text, m_interpreter->evaluator.GetBrackets());
    Cut cut(text);
    for (std::string_view piece; brackets.Next(cut, Commas(), piece);) {
        if (cut.isSeparator) continue;
        arguments.push_back(piece);
        constexpr std::size_t Many = 4096;
        if (arguments.size() % Many == 0 && m_interpreter->limits.MustStop()) return false;
        if (arguments.size() == Many) // as many again for each part of the text as long as this one
            arguments.reserve(Many * (text.size() / cut.position + 1));
    }
    if (!cut.fault) return true;
    const char* const message = Bracket(*cut.fault).GetFault();
    return static_cast<bool>(m_interpreter->evaluator.FailAt(cut.fault, FailureKind::Text, message, error));
}

s_refptr<Symbol> State::ApplyBinaryOperator(std::string_view op, const s_refptr<Symbol>& left,
                                            const s_refptr<Symbol>& right, s_str& error) {
    return ApplyBinaryOperator(op, Operand::Flattened(left), Operand::Flattened(right), error).ToObject();
}

Operand State::ApplyBinaryOperator(std::string_view op, const Operand& left, const Operand& right, s_str& error) {
    return m_interpreter->evaluator.ApplyBinary(op, left, right, error);
}

s_refptr<Symbol> State::ApplyLeftUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error) {
    return m_interpreter->evaluator.ApplyLeftUnary(op, Operand::Flattened(operand), error).ToObject();
}

s_refptr<Symbol> State::ApplyRightUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error) {
    return ApplyRightUnaryOperator(op, Operand::Flattened(operand), error).ToObject();
}

Operand State::ApplyRightUnaryOperator(std::string_view op, const Operand& operand, s_str& error) {
    return m_interpreter->evaluator.ApplyRightUnary(op, operand, error);
}

const Registry& State::GetRegistry() const { return m_interpreter->language.GetRegistry(); }

Registry& State::EditRegistry() { return m_interpreter->language.EditRegistry(); }

void State::RegisterFunction(const s_str& name, const s_str& signature, Function function) {
    EditRegistry().functions[name][signature] = std::move(function);
}

bool State::RemoveFunction(std::string_view name) {
    return m_interpreter->limits.IsIdle() && m_interpreter->language.RemoveFunction(name);
}

const OperatorPriorities& State::GetOperatorPriorities() const { return m_interpreter->language.GetPriorities(); }

s_uint State::GetOperatorPriority(std::string_view op) const {
    const auto found = GetOperatorPriorities().find(op);
    return found == GetOperatorPriorities().end() ? s_uint::NaN : found->second;
}

bool State::SetOperatorPriorities(const OperatorPriorities& priorities, s_str& error) {
    const Outcome outcome =
        m_interpreter->limits.IsIdle()
            ? m_interpreter->language.SetPriorities(priorities, error)
            : Fail(error, "\tError : Operators cannot be replaced while an expression is evaluated");
    return static_cast<bool>(outcome);
}

bool State::SetOperatorPriorities(const OperatorPriorities& priorities) {
    s_str unseen;
    return SetOperatorPriorities(priorities, unseen);
}

bool State::AddOperators(OperatorPriorities priorities, s_str& error) {
    priorities.insert(GetOperatorPriorities().begin(), GetOperatorPriorities().end());
    return SetOperatorPriorities(priorities, error);
}

Limits& State::GetLimits() { return m_interpreter->limits; }

} // namespace Quarn
