#include "quarn/interpreter/completion.h"

#include <algorithm>
#include <set>

#include "quarn/core/ranges.h"
#include "quarn/interpreter/engine/symbol_table.h"
#include "quarn/interpreter/language/language.h"
#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/statement_form.h"

namespace Quarn {

namespace {

/// Whether the character can be part of a name or a number. The last result "_" and names of functions have "_".
bool IsWordCharacter(char c) { return IsNameCharacter(c) || c == '_' || c == '.'; }

/// Whether the word is a literal as it stands. Names that begin with a letter never are.
bool IsLiteral(std::string_view word, Language& language) {
    if (word.empty() || IsLetter(word.front())) return false;
    language.Refresh();
    return language.FindLiteral(word).count > 0;
}

/// The word that ends the text.
std::string_view LastWord(std::string_view text) {
    const auto behind = std::find_if_not(text.rbegin(), text.rend(), IsWordCharacter);
    return text.substr(static_cast<std::size_t>(text.rend() - behind));
}

class Completer {
public:
    Completer(std::string_view line, std::size_t position, Language& language, const SymbolTable& symbols)
        : m_language(language), m_symbols(symbols), m_head(line.substr(0, position)),
          m_hasBracket(line.substr(m_head.size()).starts_with('(')) {}

    Completions Complete() {
        const StatementForm form = FormOf(m_head.substr(m_head.rfind(';') + 1)); // of all if there is none
        switch (form.kind) {
        case StatementForm::Kind::Skipped: return {};
        case StatementForm::Kind::Reference:
        case StatementForm::Kind::Assignment:
        case StatementForm::Kind::Expression: CompleteExpression(form.rest); break;
        case StatementForm::Kind::Definition: CompleteType(form.rest); break;
        case StatementForm::Kind::Erasing:
        case StatementForm::Kind::Inspection:
            Begin(form.name);
            Add(m_symbols.GetMap());
            break;
        }
        m_completions.candidates.assign(m_candidates.begin(), m_candidates.end());
        return std::move(m_completions);
    }

private:
    void CompleteType(std::string_view text) {
        const auto open = text.find('(');
        if (open != std::string_view::npos) return CompleteExpression(text.substr(open + 1));
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        Begin(text);
        Add(m_language.GetRegistry().types);
    }

    void CompleteExpression(std::string_view text) {
        const std::string_view word = LastWord(text);
        if (!CanBeginAfter(s_str::Trimmed(text.substr(0, text.size() - word.size()))) || IsLiteral(word, m_language))
            return;
        Begin(word);
        Add(m_symbols.GetMap());
        const Registry& registry = m_language.GetRegistry();
        Add(registry.functions, [&](const auto& function) {
            const bool takesNothing = function.second.size() == 1 && function.second.contains("()");
            return m_hasBracket ? "" : takesNothing ? "()" : "(";
        });
        Add(registry.constructors, [&](const auto&) { return m_hasBracket ? "" : "("; });
    }

    /// Whether an operand can stand behind the text, which has no blanks at its end: not behind another operand.
    bool CanBeginAfter(std::string_view text) const {
        const auto isEndOfText = [&](const auto& op) { return text.ends_with(op.first.View()); };
        if (text.empty() || AnyOf(m_language.GetPriorities(), isEndOfText)) return true;
        const bool isAscii = static_cast<unsigned char>(text.back()) < 0x80;
        return isAscii && !IsWordCharacter(text.back()) &&
               std::string_view(")]>").find(text.back()) == std::string_view::npos;
    }

    void Begin(std::string_view word) {
        m_word = word;
        m_completions.begin = m_head.size() - word.size();
    }

    /// Adds the keys that begin with the word, each with its ending.
    template <class Map, class EndingOf> void Add(const Map& map, const EndingOf& endingOf) {
        for (auto entry = map.lower_bound(m_word); entry != map.end() && entry->first.StartsWith(m_word); ++entry)
            m_candidates.insert(entry->first + endingOf(*entry));
    }
    template <class Map> void Add(const Map& map) {
        Add(map, [](const auto&) { return ""; });
    }

    Language& m_language;
    const SymbolTable& m_symbols;
    const std::string_view m_head;
    const bool m_hasBracket; ///< stands at the position already
    std::string_view m_word;
    std::set<s_str, s_text_order> m_candidates; ///< in order, each once
    Completions m_completions;
};

/// Looks for names that stand for nothing, statement by statement.
class UnknownNames {
public:
    UnknownNames(Language& language, const SymbolTable& symbols) : m_language(language), m_symbols(symbols) {}

    std::vector<std::string_view> In(std::string_view line) {
        for (std::string_view statement; CutStatement(line, statement);) {
            const StatementForm form = FormOf(statement);
            if (form.kind == StatementForm::Kind::Definition) SearchType(form.rest);
            else SearchExpression(form.rest);
            m_defined.insert(form.name);
        }
        return std::move(m_unknown);
    }

private:
    void SearchType(std::string_view text) {
        const std::string_view type = s_str::Trimmed(text.substr(0, text.find('(')));
        if (!type.empty() && !m_language.GetRegistry().types.contains(type)) m_unknown.push_back(type);
        else SearchExpression(text);
    }

    void SearchExpression(std::string_view text) {
        while (!text.empty()) {
            text.remove_prefix(static_cast<std::size_t>(FindIf(text, IsWordCharacter) - text.begin()));
            const auto size = static_cast<std::size_t>(FindIfNot(text, IsWordCharacter) - text.begin());
            const std::string_view word = text.substr(0, size);
            text.remove_prefix(size);
            if (!word.empty() && !IsKnown(word)) m_unknown.push_back(word);
            const Constructor* const constructor = FindIn(m_language.GetRegistry().constructors, word);
            if (constructor && !constructor->expressionsIn && text.starts_with('('))
                text.remove_prefix(std::min(Brackets::SearchPartner(text, 0), text.size())); // it reads text of its own
        }
    }

    bool IsKnown(std::string_view word) {
        const Registry& registry = m_language.GetRegistry();
        return m_symbols.GetMap().contains(word) || m_defined.contains(word) || registry.functions.contains(word) ||
               registry.constructors.contains(word) || registry.types.contains(word) || IsLiteral(word, m_language);
    }

    Language& m_language;
    const SymbolTable& m_symbols;
    std::set<std::string_view> m_defined; ///< by the statements before
    std::vector<std::string_view> m_unknown;
};

} // namespace

std::vector<std::string_view> FindUnknownNames(std::string_view line, Language& language, const SymbolTable& symbols) {
    return UnknownNames(language, symbols).In(line);
}

Completions Complete(std::string_view line, std::size_t position, Language& language, const SymbolTable& symbols) {
    return Completer(line, position, language, symbols).Complete();
}

} // namespace Quarn
