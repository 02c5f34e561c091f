#pragma once

#include <algorithm>
#include <string_view>

#include "quarn/core/s_str.h"

namespace Quarn {

// The grammar of statements.
//
// A line is cut at every ";". A statement that is empty or begins with "//" is skipped. Otherwise the first of these
// that applies decides, whatever surrounds it:
//   name := ...              skipped without a message
//   name &= expression       a reference to the expression, which is not evaluated now
//   name = expression        the value of the expression
//   name : Type              a default value; Type(arguments) calls the constructor of the type
//   ~name  ~                 erases a symbol, or all of them
//   ?name  ?                 shows a symbol, or the help
//   expression               shows its value; a single new name becomes a symbol
// The signs are the first "=", the first ":" and the first "&" of the statement. Names lose the blanks around them,
// but not after "~" and "?".

/// What a statement is, and its parts. The functions below are inlined, because every statement calls them.
struct StatementForm {
    enum class Kind { Skipped, Reference, Assignment, Definition, Erasing, Inspection, Expression };
    Kind kind;
    std::string_view name = {};
    std::string_view rest = {}; ///< the expression or the type, with the blanks around it
};

/// Views of the statement.
inline StatementForm FormOf(std::string_view statement) {
    using Kind = StatementForm::Kind;
    constexpr auto npos = std::string_view::npos;
    const auto equals = statement.find('=');
    const auto standsBeforeEquals = [&](char sign) { // and is the first such sign
        return equals != npos && equals > 0 && statement[equals - 1] == sign && statement.find(sign) == equals - 1;
    };
    if (statement.starts_with("//")) return {Kind::Skipped};
    if (standsBeforeEquals(':')) return {Kind::Skipped}; // in silence; pinned by the transcript "statements"
    const auto isReference = standsBeforeEquals('&');
    const auto sign = equals != npos ? equals : statement.find(':');
    if (sign != npos) {
        const Kind kind = isReference ? Kind::Reference : equals != npos ? Kind::Assignment : Kind::Definition;
        const std::string_view name = statement.substr(0, isReference ? sign - 1 : sign);
        return {kind, s_str::Trimmed(name), statement.substr(sign + 1)};
    }
    if (statement.starts_with('~')) return {Kind::Erasing, statement.substr(1)};
    if (statement.starts_with('?')) return {Kind::Inspection, statement.substr(1)};
    return {Kind::Expression, {}, statement};
}

/// Cuts the next statement that is not skipped off the line, with its ";". False if there is none.
inline bool CutStatement(std::string_view& line, std::string_view& statement) {
    do {
        line.remove_prefix(std::min(line.find_first_not_of(';'), line.size()));
        statement = line.substr(0, line.find(';'));
        line.remove_prefix(statement.size());
    } while (statement.starts_with("//"));
    return !statement.empty();
}

} // namespace Quarn
