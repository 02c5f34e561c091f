#include "quarn/interpreter/completion.h"

#include <algorithm>
#include <set>

#include "quarn/interpreter/engine/symbol_table.h"
#include "quarn/interpreter/language/language.h"
#include "quarn/interpreter/language/names.h"

namespace Quarn {

namespace {

/// Whether the character can be part of a name or a number. The last result "_" and names of functions have "_".
bool IsWordCharacter(char c) { return IsNameCharacter(c) || c == '_' || c == '.'; }

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

    /// Follows the grammar of statements, see statements.cpp.
    Completions Complete() {
        const auto semicolon = m_head.rfind(';');
        const std::string_view statement = semicolon == std::string_view::npos ? m_head : m_head.substr(semicolon + 1);
        const auto equals = statement.find('=');
        const auto colon = statement.find(':');
        if (statement.starts_with("//")) return {};
        if (equals != std::string_view::npos) {
            if (colon == std::string_view::npos || colon + 1 != equals)
                CompleteExpression(statement.substr(equals + 1));
        } else if (colon != std::string_view::npos) {
            CompleteType(statement.substr(colon + 1));
        } else if (statement.starts_with('~') || statement.starts_with('?')) {
            Begin(statement.substr(1));
            Add(m_symbols.GetMap());
        } else {
            CompleteExpression(statement);
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
        if (!CanBeginAfter(s_str::Trimmed(text.substr(0, text.size() - word.size()))) || IsLiteral(word)) return;
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
        if (text.empty() || std::ranges::any_of(m_language.GetPriorities(), isEndOfText)) return true;
        const bool isAscii = static_cast<unsigned char>(text.back()) < 0x80;
        return isAscii && !IsWordCharacter(text.back()) &&
               std::string_view(")]>").find(text.back()) == std::string_view::npos;
    }

    /// Whether the word is a literal as it stands. Names that begin with a letter never are.
    bool IsLiteral(std::string_view word) {
        if (word.empty() || IsLetter(word.front())) return false;
        m_language.Refresh();
        return m_language.FindLiteral(word).count > 0;
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

} // namespace

Completions Complete(std::string_view line, std::size_t position, Language& language, const SymbolTable& symbols) {
    return Completer(line, position, language, symbols).Complete();
}

} // namespace Quarn
