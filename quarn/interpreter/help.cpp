#include "quarn/interpreter/help.h"

namespace Quarn {

namespace {

constexpr std::string_view SectionIndent = "   ";
constexpr std::string_view LineIndent = "      ";

struct Line {
    std::string_view indent;
    std::string_view text;
};

/// The text names some of the built-in types and operators, whatever is registered. It offers `vector[]index`, which
/// the grammar refuses, and it keeps misspellings ("substraction"): people know it by heart. Pinned by the transcript
/// "inspecting".
constexpr Line Lines[] = {
    {"", "\tHelp :\n"},
    {"", "------------------------------\n\n"},
    {SectionIndent, "Available syntaxes :\n"},
    {LineIndent, "Variable:Type : (re-)defines a symbol of name 'Variable'\n"},
    {LineIndent, "                and of type 'Type', not initialized.\n"},
    {LineIndent, "Variable=Expression : (re-)defines a symbol of name 'Variable'\n"},
    {LineIndent, "                      and assigns it the value of 'Expression'.\n"},
    {LineIndent, "                      The type of this symbol is deduced from the\n"},
    {LineIndent, "                      type of 'Expression'.\n"},
    {LineIndent, "Expression : prints the result of 'Expression'\n"},
    {LineIndent, "?Variable : prints the content of the symbol 'Variable'.\n"},
    {LineIndent, "~Variable : deletes the symbol 'Variable'.\n"},
    {LineIndent, "~ : deletes all symbols (starts anew).\n"},
    {LineIndent, "_ : recalls the last result.\n"},
    {LineIndent, "\n"},
    {SectionIndent, "Expressions :\n"},
    {LineIndent, "An expression is a set of operators acting on symbols.\n"},
    {LineIndent, "All expressions are space invariant, that is you can place any\n"},
    {LineIndent, "number of spaces ' ' between operators and symbols without harm.\n"},
    {LineIndent, "Note of course that, for two symbols 'a' and 'b' :\n"},
    {LineIndent, "                      ab != a b\n"},
    {LineIndent, "The former declares a new symbol 'ab', while the latter is illegal.\n"},
    {LineIndent, "\n"},
    {SectionIndent, "Operators :\n"},
    {LineIndent, "Most operators are binary, that is they take two arguments :\n"},
    {LineIndent, "            arg1 operator arg2\n"},
    {LineIndent, "but you also have left-unary operators :\n"},
    {LineIndent, "            arg1 operator\n"},
    {LineIndent, "and right-unary operators :\n"},
    {LineIndent, "            operator arg1\n"},
    {LineIndent, "Operators have a defined priority, like in mathematics where\n"},
    {LineIndent, "multiplication has priority over addition or substraction.\n"},
    {LineIndent, "If you want to force priority of a certain operator, you can\n"},
    {LineIndent, "surround it and its arguments with parenthesis '(' and ')'.\n"},
    {LineIndent, "\n"},
    {SectionIndent, "Built-in types :\n"},
    {LineIndent, "Symbol : Abstract type, no value, no operators.\n"},
    {LineIndent, "Scalar : Real number (double precision).\n"},
    {LineIndent, "         Available operators : *, /, + and -.\n"},
    {LineIndent, "Vector : 1-dimensional container of arbitrary (but fixed) length.\n"},
    {LineIndent, "         Available operators : + and - (plus ^ for 3-vectors).\n"},
    {LineIndent, "         You can create a vector using :\n"},
    {LineIndent, "                     <elt1, elt2, elt3, ... >\n"},
    {LineIndent, "         where 'eltX' are elements of the vector.\n"},
    {LineIndent, "         Vectors are homogeneous, that is they can only contain\n"},
    {LineIndent, "         one type of data at the same time.\n"},
    {LineIndent, "         You can access individual elements using :\n"},
    {LineIndent, "                          vector[index]\n"},
    {LineIndent, "         or equivalently :\n"},
    {LineIndent, "                          vector[]index\n"},
    {LineIndent, "         where 'vector' is your vector, and 'index' a scalar\n"},
    {LineIndent, "         value or expression.\n"},
    {LineIndent, "Reference : String value containing an expression 'exp'. Whenever\n"},
    {LineIndent, "            one uses a reference in an expression, the expression\n"},
    {LineIndent, "            'exp' is evaluated and its result is used in place of\n"},
    {LineIndent, "            the reference. You can create a reference on any\n"},
    {LineIndent, "            expression using :\n"},
    {LineIndent, "                            &expression\n"},
    {LineIndent, "            and the following is available for assignment :\n"},
    {LineIndent, "                         ref &= expression\n"},
};

} // namespace

s_str HelpText() {
    s_str help;
    for (const auto& [indent, text] : Lines) (help += indent) += text;
    return help;
}

} // namespace Quarn
