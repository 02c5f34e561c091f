#include "slow_evaluator.h"

using namespace Quarn;

namespace {

bool IsOperator(const State& state, const s_str& piece) { return state.GetOperatorPriorities().contains(piece); }

s_refptr<Symbol> WithName(s_refptr<Symbol> value, const s_str& name) {
    return value ? Symbol::Named(value, name) : nullptr;
}

} // namespace

s_refptr<Symbol> SlowEvaluator::ParseSymbol(const s_str& name, s_str expression, s_str& error, bool allowNew) {
    expression.Trim(' ');
    if (expression.IsEmpty()) return Fail(error, "\tError : Empty symbol");
    s_ctnr_t<s_str> pieces;
    if (!m_state.SplitOperators(pieces, expression, error)) return nullptr;
    // "[]" is an operator that the scanner does not find.
    if (pieces.Count() == 1 && (pieces[0] == "[]" || !IsOperator(m_state, pieces[0]))) {
        bool fallsThrough = false;
        const Value value = ParsePiece(name, pieces[0], error, allowNew, fallsThrough);
        if (!fallsThrough) return value;
    }
    return ParseOperators(name, expression, pieces, error);
}

SlowEvaluator::Value SlowEvaluator::ParsePiece(const s_str& name, const s_str& piece, s_str& error, bool allowNew,
                                               bool& fallsThrough) {
    const Registry& registry = m_state.GetRegistry();
    const std::string& text = piece.Get();
    if (text.size() > 1 && text.front() == '(' && text.back() == ')')
        return ParseSymbol(name, text.substr(1, text.size() - 2), error, false);

    s_str unseen;
    const bool isName = static_cast<bool>(m_state.CheckSymbolName(piece, unseen));
    if (!isName || !std::isalpha(static_cast<unsigned char>(text.front()))) {
        std::vector<s_str> accepting;
        for (const auto& [type, test] : registry.literalTests)
            if (test(text)) accepting.push_back(type);
        if (accepting.size() == 1) return registry.constructors.at(accepting.front())(m_state, name, text, true, error);
    }
    if (const auto symbol = m_state.GetSymbols().find(text); symbol != m_state.GetSymbols().end()) {
        const Value clone = Symbol::Named(symbol->second->Clone(), name);
        if (clone->GetType() == "Symbol" && !name.IsEmpty())
            AppendMessage(error, "\tWarning : 'Symbol=Symbol' does nothing");
        return clone;
    }
    if (text.find('(') != std::string::npos) return ParseCall(text, error);
    if (isName) {
        if (registry.functions.contains(text)) return CallFunction(text, "", error);
        if (const auto found = registry.constructors.find(text); found != registry.constructors.end())
            return found->second(m_state, "", "", false, error);
        if (name.IsEmpty() && allowNew) return make_refptr<Symbol>(piece);
        return Fail(error, "\tError : Unknown symbol '" + piece + "'");
    }
    const auto open = text.find('[');
    const auto close = text.find(']');
    if (open != std::string::npos && close != std::string::npos && open < close) {
        if (close == open + 1) return Fail(error, "\tError : Illegal use of '[.]' with empty argument");
        if (open == 0) return Fail(error, "\tError : Illegal use of '[.]' on empty object");
        const Value object = Evaluate(text.substr(0, open), error);
        const Value index = object ? Evaluate(text.substr(open + 1, close - open - 1), error) : nullptr;
        return index ? WithName(m_state.ApplyBinaryOperator("[]", object, index, error), name) : nullptr;
    }
    fallsThrough = true;
    return nullptr;
}

SlowEvaluator::Value SlowEvaluator::ParseOperators(const s_str& name, const s_str& expression,
                                                   const s_ctnr<s_str>& pieces, s_str& error) {
    std::size_t chosen = pieces.Count();
    unsigned best = ~0u;
    for (std::size_t i = 0; i < pieces.Count(); ++i) {
        if (!IsOperator(m_state, pieces[i])) continue;
        const unsigned priority = m_state.GetOperatorPriority(pieces[i]).Get();
        if (priority > best) continue;
        best = priority;
        chosen = i;
    }
    if (chosen == pieces.Count())
        return Fail(error, "\tError : Unable to parse expression '" + expression + "', no operator found");
    std::string left;
    std::string right;
    for (std::size_t i = 0; i < chosen; ++i) left += pieces[i].Get();
    for (std::size_t i = chosen + 1; i < pieces.Count(); ++i) right += pieces[i].Get();
    const s_str& op = pieces[chosen];
    if (left.empty() && right.empty()) return Fail(error, "\tError : Operator '" + op + "' is missing its operands");

    const Value first = left.empty() ? nullptr : Evaluate(left, error);
    if (!left.empty() && !first) return nullptr;
    const Value second = right.empty() ? nullptr : Evaluate(right, error);
    if (!right.empty() && !second) return nullptr;
    if (first && second) return WithName(m_state.ApplyBinaryOperator(op, first, second, error), name);
    if (first) return WithName(m_state.ApplyLeftUnaryOperator(op, first, error), name);
    return WithName(m_state.ApplyRightUnaryOperator(op, second, error), name);
}

SlowEvaluator::Value SlowEvaluator::ParseCall(const std::string& piece, s_str& error) {
    const auto open = piece.find('(');
    std::size_t depth = 1;
    auto close = open + 1;
    while (close < piece.size() && (depth += piece[close] == '(', depth -= piece[close] == ')') > 0) ++close;
    if (depth > 0) return Fail(error, "\tError : Unterminated '('");
    s_str name = piece.substr(0, open);
    name.Trim(' ');
    const std::string arguments = piece.substr(open + 1, close - open - 1);
    if (m_state.GetRegistry().functions.contains(name)) return CallFunction(name.Get(), arguments, error);
    const auto constructor = m_state.GetRegistry().constructors.find(name);
    if (constructor != m_state.GetRegistry().constructors.end())
        return constructor->second(m_state, "", arguments, false, error);
    return Fail(error, "\tError : Undefined function '" + name + "'");
}

SlowEvaluator::Value SlowEvaluator::CallFunction(const std::string& name, const std::string& arguments, s_str& error) {
    const auto comma = [](std::size_t position, const s_str& text, s_str& matched) {
        matched = ",";
        return text.View()[position] == ',';
    };
    s_ctnr_t<s_str> pieces;
    if (!arguments.empty() && !m_state.SplitExpression(pieces, arguments, comma, error, false)) return nullptr;
    s_ctnr_t<Value> values;
    for (const s_str& piece : pieces) {
        values.PushBack(Evaluate(piece.Get(), error));
        if (!values[values.Count() - 1]) return nullptr;
    }
    std::string signature;
    for (Value& value : values) {
        value = Reference::Resolve(value, error);
        if (!value) return nullptr;
        signature += (signature.empty() ? "" : ", ") + Reference::TypeOfResolved(*value).Get();
    }
    signature = "(" + signature + ")";
    const auto& overloads = m_state.GetRegistry().functions.at(name);
    const auto found = overloads.find(signature);
    if (found == overloads.end()) {
        std::string message =
            "\tError : No matching function call to :\n\t\t  " + name + signature + "\n\t\tPossible candidates :\n";
        for (const auto& [candidate, function] : overloads) message += "\t\t  " + name + candidate.Get() + "\n";
        message.pop_back();
        return Fail(error, message);
    }
    s_ctnr_t<Value> results;
    if (!found->second(m_state, values, results, error)) return nullptr;
    return results[0];
}

bool SlowEvaluator::Rewrite(const s_str& input, s_str& output, s_str& error) const {
    if (input.Get().find('(') == std::string::npos) {
        output += input;
        return true;
    }
    s_ctnr_t<s_str> pieces;
    if (!m_state.SplitOperators(pieces, input, error)) return false;
    if (pieces.Count() > 1) {
        for (const s_str& piece : pieces) {
            if (IsOperator(m_state, piece)) output += piece;
            else if (!Rewrite(piece, output, error)) return false;
        }
        return true;
    }
    s_str peeled = pieces[0];
    peeled.Trim(' ');
    peeled.EraseFromStart(1);
    peeled.EraseFromEnd(1);
    s_ctnr_t<s_str> inner;
    if (!m_state.SplitOperators(inner, peeled, error)) return false;
    if (inner.Count() == 1) return Rewrite(peeled, output, error);
    output += input;
    return true;
}
