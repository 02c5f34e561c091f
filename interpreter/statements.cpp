// The grammar of statements.
//
// A line is cut at every ";". A statement without characters, or one that begins with "//", is skipped. Otherwise the
// first of these that applies decides, whatever stands around it:
//   name := ...              skipped without a word
//   name &= expression       a reference to the expression, which is not evaluated now
//   name = expression        the value of the expression
//   name : Type              a default value, or Type(arguments) one made by the constructor of the type
//   ~name  ~                 erases a symbol, or all of them
//   ?name  ?                 shows a symbol, or the help
//   expression               shows its value; a single new name becomes a symbol
// The signs are the first "=", the first ":" and the first "&" of the statement. Names lose the blanks around them,
// but not behind "~" and "?".
//
// Each statement is a transaction. All that may fail or throw comes first, then what it changes, then what it prints.
// Only the text of a new symbol must be made with the symbol in place, and `Undo` takes it back if that fails.

#include <algorithm>
#include <initializer_list>
#include <istream>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>

#include "interpreter/state.h"
#include "types/reference.h"
#include "types/symbol.h"

namespace Quarn {

namespace {

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text); }

/// What follows the first ";" when the line was cut there.
std::string_view CutStatement(std::string_view& line) {
    const auto end = std::min(line.find(';'), line.size());
    const std::string_view statement = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return statement;
}

/// "Type(arguments)", or "Type" without.
struct TypeText {
    std::string_view type;
    std::string_view arguments;
    bool isTerminated = true;
};

TypeText ReadTypeText(std::string_view text) {
    const auto open = text.find('(');
    if (open == std::string_view::npos) return {text, {}};
    std::size_t depth = 1;
    auto close = open + 1;
    for (; close < text.size(); ++close) {
        if (text[close] == '(') ++depth;
        else if (text[close] == ')' && --depth == 0) break;
    }
    return {Trimmed(text.substr(0, open)), text.substr(open + 1, close - open - 1), depth == 0};
}

} // namespace

/// Puts a symbol into the table, and the one before it back (or none) unless it is kept.
class State::Undo {
public:
    Undo(SymbolTable& symbols, std::string_view name, const s_refptr<Symbol>& value)
        : m_symbols(symbols), m_name(name), m_before(symbols.Exchange(name, value)) {}
    ~Undo() {
        if (m_isKept) return;
        // By its name: what was evaluated meanwhile may have carried out statements of its own.
        if (m_before && m_symbols.Find(m_name)) m_symbols.Exchange(m_name, std::move(m_before));
        else m_symbols.Erase(m_name);
    }
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;

    void Keep() { m_isKept = true; }

private:
    SymbolTable& m_symbols;
    const std::string_view m_name;
    s_refptr<Symbol> m_before;
    bool m_isKept = false;
};

void State::ParseLine(std::string_view line) {
    while (!line.empty()) {
        const std::string_view statement = CutStatement(line);
        if (statement.empty() || statement.starts_with("//")) continue;
        if (m_depth == 0) {
            m_stepsLeft = m_stepBudget;
            m_isOutOfSteps = false;
        }
        const auto printOutOfMemory = [this] { *m_output << OutOfMemoryMessage << '\n'; };
        try {
            ParseStatement(statement);
        } catch (const std::bad_alloc&) {
            printOutOfMemory();
        } catch (const std::length_error&) { // a container larger than any memory
            printOutOfMemory();
        }
    }
}

void State::ParseStatement(std::string_view statement) {
    constexpr auto npos = std::string_view::npos;
    const auto equals = statement.find('=');
    const auto standsBeforeEquals = [&](char sign) { // the first of these signs
        return equals != npos && equals > 0 && statement[equals - 1] == sign && statement.find(sign) == equals - 1;
    };
    if (standsBeforeEquals(':')) return; // `a := b` is refused in silence; pinned by the transcript "statements"
    if (standsBeforeEquals('&'))
        return AssignReference(Trimmed(statement.substr(0, equals - 1)), Trimmed(statement.substr(equals + 1)));
    if (equals != npos) return Assign(Trimmed(statement.substr(0, equals)), statement.substr(equals + 1));
    const auto colon = statement.find(':');
    if (colon != npos) return DefineSymbol(Trimmed(statement.substr(0, colon)), Trimmed(statement.substr(colon + 1)));
    if (statement == "~") return EraseAll();
    if (statement.starts_with('~')) return Erase(statement.substr(1));
    if (statement.starts_with('?')) return Inspect(statement.substr(1));
    PrintExpression(statement);
}

void State::AssignReference(std::string_view name, std::string_view expression) {
    s_str error;
    if (!CheckSymbolName(name, error)) return Print(error);
    const s_refptr<Symbol> reference = make_refptr<Reference>(name, expression, *this);
    Define(name, reference, reference->GetRealType());
}

void State::Assign(std::string_view name, std::string_view expression) {
    s_str error;
    if (!CheckSymbolName(name, error)) return Print(error);
    if (m_registry.functions.contains(name))
        return Print("\tError : Cannot assign a value to the function '" + s_str(name) + "'");
    if (m_registry.constructors.contains(name))
        return Print("\tError : Cannot assign a value to the constructor '" + s_str(name) + "'");
    const s_refptr<Symbol> value = ParseSymbol(name, expression, error, false);
    if (!error.IsEmpty()) Print(error); // a warning comes with a value
    if (value) Define(name, value, value->GetRealType());
}

void State::DefineSymbol(std::string_view name, std::string_view type) {
    s_str error;
    if (!CheckSymbolName(name, error)) return Print(error);
    const TypeText text = ReadTypeText(type);
    if (!text.isTerminated) return Print("\tError : Unterminated '('");
    const auto factory = m_registry.types.find(text.type);
    if (factory == m_registry.types.end()) return Print("\tError : Unknown type '" + s_str(type) + "'");

    const auto constructor = m_registry.constructors.find(text.type);
    const bool isDefault = text.arguments.empty() || constructor == m_registry.constructors.end();
    const s_refptr<Symbol> value =
        isDefault ? factory->second(name) : constructor->second(*this, name, text.arguments, false, error);
    if (!value) return Print(error);
    Define(name, value, factory->first);
}

void State::Erase(std::string_view name) {
    const s_refptr<Symbol>* const symbol = m_symbols.Find(name);
    if (!symbol) return Print("\tError : Unknown symbol '" + s_str(name) + "'");
    const s_refptr<Symbol> value = *symbol;
    Compose({"\t", value->GetType(), " '", name, "' erased"});
    s_refptr<Symbol> empty = MakeEmptyReference();
    if (PrintOutOfSteps()) return;
    m_symbols.Erase(name);
    SetLastResult(std::move(empty));
    PrintReport();
}

void State::EraseAll() {
    bool isWanted = true;
    if (m_isInteractive) {
        *m_output << "\tWarning : This command will erase all symbols.\n"
                     "\t          Are you sure ? ([y|Enter]/n) "
                  << std::flush;
        std::string answer;
        std::getline(*m_input, answer);
        isWanted = answer.empty() || answer == "y" || answer == "Y";
    }
    if (!isWanted) return SetLastResult(nullptr);
    SetLastResult(nullptr);
    m_symbols.EraseAll();
    Print("\tAll symbols erased");
}

void State::Inspect(std::string_view name) {
    s_refptr<Symbol> empty = MakeEmptyReference();
    if (name.empty()) {
        PrintHelp();
    } else if (const s_refptr<Symbol>* symbol = m_symbols.Find(name); !symbol) {
        Print("\t'" + s_str(name) + "' is undefined");
    } else {
        const s_refptr<Symbol> value = *symbol;
        const s_str& type = value->GetType();
        const s_str text = value->ToString();
        Compose({"\t", type, " : ", text});
        if (PrintOutOfSteps()) return;
        PrintReport();
    }
    SetLastResult(std::move(empty));
}

void State::PrintExpression(std::string_view expression) {
    s_str error;
    const s_refptr<Symbol> value = ParseSymbol("", expression, error, true);
    if (!value) return Print(error);
    const s_str& name = value->GetName();
    if (!name.IsEmpty() && !m_symbols.Find(name)) {
        if (!CheckSymbolName(name, error)) return Print(error);
        return Define(name, value, value->GetType());
    }
    const s_str& type = value->GetType();
    const s_str text = value->ToString();
    Compose({"\t", type, " : ", text});
    if (PrintOutOfSteps()) return;
    SetLastResult(value);
    PrintReport();
}

/// Stores the value, which becomes the last result too, and reports it as one of the kind.
void State::Define(std::string_view name, const s_refptr<Symbol>& value, std::string_view kind) {
    Undo undo(m_symbols, name, value);
    const s_str text = value->ToString();
    Compose({"\tDefining ", kind, " : ", text});
    if (PrintOutOfSteps()) return;
    undo.Keep();
    SetLastResult(value);
    PrintReport();
}

/// The text of a reference that runs out of steps shows something else; a report of such texts is none.
s_bool State::PrintOutOfSteps() const {
    if (m_isOutOfSteps) Print(OutOfStepsMessage);
    return m_isOutOfSteps;
}

void State::Print(std::string_view message) const { *m_output << message << '\n'; }

/// Puts the report together, for `PrintReport`: when that is called nothing is left that could fail. Nothing is
/// evaluated in between.
void State::Compose(std::initializer_list<std::string_view> parts) {
    constexpr std::size_t MostKept = 4096; // more than the text of anything but a large vector
    if (m_report.View().size() > MostKept) m_report = {};
    m_report.Clear();
    for (const std::string_view part : parts) m_report += part;
    m_report += '\n';
}

void State::PrintReport() const { *m_output << m_report.View(); }

} // namespace Quarn
