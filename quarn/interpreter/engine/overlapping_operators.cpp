#include "quarn/interpreter/engine/overlapping_operators.h"

#include <algorithm>
#include <vector>

namespace Quarn {

namespace {

std::vector<Token> TokensOf(std::string_view text, Brackets& brackets, const Operators& operators) {
    std::vector<Token> tokens;
    Cut cut(text);
    for (Piece piece;;) {
        const std::size_t begin = cut.position;
        if (!NextPiece(brackets, cut, operators, piece)) return tokens;
        tokens.push_back({begin, std::min(cut.position, text.size()), piece.op});
    }
}

/// Whether an operator that the end of the side cuts off, or that ends there, begins in the operand.
bool HasOperatorAtEnd(std::string_view side, const Token& operand, const Operators& operators) {
    std::size_t at = std::max(operand.begin, side.size() - std::min(side.size(), operators.GetLongest() - 1));
    const std::size_t end = std::min(operand.end, side.size());
    while (at < end && (!Bracket(side[at]).IsNone() || !operators.Match(side, at))) ++at;
    return at < end;
}

/// Whether the left side of the operator at that place among the tokens ends in the beginning of another one, which has
/// an operator of the whole text within it.
bool IsCut(std::string_view text, const std::vector<Token>& tokens, std::size_t op, const Operators& operators) {
    const std::size_t operand = tokens[op - 1].op ? op : op - 1;
    const std::size_t begin = tokens[operand].begin;
    std::size_t end = tokens[op].begin;
    for (;;) {
        const std::string_view side = s_str::Trimmed(text.substr(0, end));
        for (std::size_t i = operand; i-- > 0 && side.size() < tokens[i].end + operators.GetLongest();)
            if (!tokens[i].op && HasOperatorAtEnd(side, tokens[i], operators)) return true;
        if (side.size() <= begin || operand == op || !operators.MatchAtEnd(side.substr(begin), end)) return false;
        end += begin;
    }
}

bool HasCutOperators(std::string_view text, const std::vector<Token>& tokens, const Operators& operators) {
    for (std::size_t i = 1; i < tokens.size(); ++i)
        if (tokens[i].op && IsCut(text, tokens, i, operators)) return true;
    return false;
}

} // namespace

std::optional<Token> FindCuttingOperator(std::string_view text, Brackets& brackets, const Operators& operators) {
    const std::vector<Token> tokens = TokensOf(text, brackets, operators);
    if (!HasCutOperators(text, tokens, operators)) return std::nullopt;
    const Token* last = nullptr;
    for (const Token& token : tokens)
        if (token.op && (!last || token.op->priority <= last->op->priority)) last = &token;
    return *last;
}

} // namespace Quarn
