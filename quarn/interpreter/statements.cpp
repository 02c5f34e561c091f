// Only `name = expression` refuses the names of functions and constructors: `pi &= 3` and `pi:Scalar` take them.
//
// Each statement is a transaction. Everything that may fail or throw comes first, including the report, then the
// changes, then the report is printed. Two things are undone: the symbol that must be in place while its text is made,
// if that fails, and all changes, if the printing of a long report is interrupted. A preview carries statements out,
// and takes everything back.

#include "quarn/interpreter/statements.h"

#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "quarn/core/ranges.h"
#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/help.h"
#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/statement_form.h"
#include "quarn/interpreter/transaction.h"
#include "quarn/types/reference.h"

namespace Quarn {

namespace {

std::string_view Trimmed(std::string_view text) { return s_str::Trimmed(text); }

/// "Type(arguments)", or "Type" alone.
struct TypeText {
    std::string_view type;
    std::string_view arguments;
    bool isTerminated = true;
};

TypeText ReadTypeText(std::string_view text) {
    const auto open = text.find('(');
    if (open == std::string_view::npos) return {text, {}};
    const auto close = Brackets::SearchPartner(text, open);
    return {Trimmed(text.substr(0, open)), text.substr(open + 1, close - open - 1), close != Brackets::None};
}

void AppendLine(s_str& report, std::string_view line) { (report += line) += '\n'; }

} // namespace

Statements::Statements(State& state, EngineLimits& limits, Language& language, SymbolTable& symbols,
                       Evaluator& evaluator)
    : m_state(state), m_limits(limits), m_language(language), m_symbols(symbols), m_evaluator(evaluator),
      m_input(&std::cin), m_output(&std::cout) {}

void Statements::SetLastResult(s_refptr<Symbol> value) {
    if (!value) value = MakeEmptyReference();
    m_limits.Destroy(m_symbols.SetLastResult(std::move(value)));
}

s_refptr<Symbol> Statements::MakeEmptyReference() { return make_refptr<Reference>("", "", m_state); }

bool Statements::CheckSymbolName(std::string_view name, s_str& error) const {
    if (name == SymbolTable::LastResultName) {
        AppendMessage(error, "\tError : Reference to last result '_' is not assignable");
        return false;
    }
    if (m_limits.MustStopBefore(name.size())) return false;
    if (!AllOf(name, IsNameCharacter)) {
        AppendMessage(error, "\tError : Only alphanumeric names are allowed for symbols, in '" + s_str(name) + "'");
        return false;
    }
    return true;
}

bool Statements::CheckDefinable(std::string_view name, s_str& error) const {
    if (!CheckSymbolName(name, error)) return false;
    if (m_symbols.IsConstant(name))
        AppendMessage(error, "\tError : Cannot assign a value to the constant '" + s_str(name) + "'");
    return !m_symbols.IsConstant(name);
}

bool Statements::CheckUntaken(std::string_view name, s_str& error) const {
    if (!m_language.MayBeTaken(name)) return true;
    const Registry& registry = m_language.GetRegistry();
    const char* const kind = registry.functions.contains(name)      ? "function"
                             : registry.constructors.contains(name) ? "constructor"
                                                                    : nullptr;
    if (!kind) return true;
    AppendMessage(error, "\tError : Cannot assign a value to the " + s_str(kind) + " '" + name + "'");
    return false;
}

bool Statements::ParseLine(std::string_view line) {
    bool haveSucceeded = true;
    bool isCancelled = false;
    for (std::string_view statement; !isCancelled && CutStatement(line, statement);)
        if (!CarryOut(statement, isCancelled)) haveSucceeded = false;
    return haveSucceeded && !isCancelled;
}

Failure Statements::WhyItFailed(const Transaction& transaction) const {
    std::string_view error = transaction.report;
    error.remove_suffix(1); // the line end
    Failure failure{error};
    m_evaluator.Explain(failure, {});
    return failure;
}

Result<s_str> Statements::Preview(std::string_view line, double seconds) {
    if (!m_limits.IsIdle() || m_isPrinting) return Result<s_str>::Error("\tError : A preview within a statement");
    struct TakenBack {
        std::vector<std::unique_ptr<Transaction>> transactions;
        ~TakenBack() {
            while (!transactions.empty()) transactions.pop_back(); // the last one first
        }
    };
    try {
        const EngineLimits::Preview preview(m_limits, seconds);
        TakenBack carriedOut;
        for (std::string_view statement; CutStatement(line, statement);) {
            auto& transactions = carriedOut.transactions;
            transactions.push_back(std::make_unique<Transaction>(m_symbols, m_limits, s_str(), true));
            ParseStatement(statement, *transactions.back());
            if (transactions.back()->hasFailed) return WhyItFailed(*transactions.back());
        }
        if (carriedOut.transactions.empty()) return s_str();
        return s_str(carriedOut.transactions.back()->GetValueText());
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) { // a container larger than any memory
    }
    return Result<s_str>::Error("\tError : Out of memory", FailureKind::OutOfMemory);
}

/// Carries out a statement and prints its report. Returns whether it succeeded.
bool Statements::CarryOut(std::string_view statement, bool& isCancelled) {
    m_reportBuffer.Clear();
    Transaction transaction(m_symbols, m_limits, std::move(m_reportBuffer));
    bool isComplete = false;
    try {
        ParseStatement(statement, transaction);
        isComplete = true;
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) { // a container larger than any memory
    }
    if (!transaction.IsDone()) transaction.Undo(); // before the report, which others may see
    isCancelled = m_limits.WasCancelled();
    const bool isPrinted = isComplete ? PrintReport(transaction) : Print("\tError : Out of memory\n");
    if (!isPrinted && m_limits.IsCancelled()) isCancelled = true;
    constexpr std::size_t MostKept = 4096; // more than most reports take
    if (transaction.report.View().size() <= MostKept) m_reportBuffer = std::move(transaction.report);
    return isComplete && isPrinted && !transaction.hasFailed;
}

void Statements::ParseStatement(std::string_view statement, Transaction& transaction) {
    const Limits::Level level(m_limits);
    s_str error;
    const Outcome outcome = level ? m_limits.CheckStopped(error) : m_limits.AbandonTooDeep(error);
    if (!outcome) return Reject(std::move(error), transaction);
    const StatementForm form = FormOf(statement);
    switch (form.kind) {
    case StatementForm::Kind::Skipped: return;
    case StatementForm::Kind::Reference: return AssignReference(form.name, Trimmed(form.rest), transaction);
    case StatementForm::Kind::Assignment: return Assign(form.name, form.rest, transaction);
    case StatementForm::Kind::Definition: return DefineSymbol(form.name, Trimmed(form.rest), transaction);
    case StatementForm::Kind::Erasing:
        if (transaction.IsPreview()) return Reject("\tError : A preview erases nothing", transaction);
        return statement == "~" ? EraseAll(transaction) : Erase(form.name, transaction);
    case StatementForm::Kind::Inspection: return Inspect(form.name, transaction);
    case StatementForm::Kind::Expression: return ShowExpression(form.rest, transaction);
    }
}

void Statements::AssignReference(std::string_view name, std::string_view expression, Transaction& transaction) {
    s_str error;
    if (!CheckDefinable(name, error)) return Reject(std::move(error), transaction);
    const s_refptr<Symbol> reference = make_refptr<Reference>(name, expression, m_state);
    Define(name, reference, reference->GetRealType(), transaction);
}

void Statements::Assign(std::string_view name, std::string_view expression, Transaction& transaction) {
    s_str error;
    if (!CheckDefinable(name, error) || !CheckUntaken(name, error)) return Reject(std::move(error), transaction);
    const s_refptr<Symbol> value = m_evaluator.Evaluate(name, expression, error, false).ToObject();
    if (!value) return Reject(std::move(error), transaction);
    if (!error.IsEmpty()) AppendLine(transaction.report, error); // a warning
    Define(name, value, value->GetRealType(), transaction);
}

void Statements::DefineSymbol(std::string_view name, std::string_view type, Transaction& transaction) {
    s_str error;
    if (!CheckDefinable(name, error)) return Reject(std::move(error), transaction);
    const TypeText text = ReadTypeText(type);
    if (!text.isTerminated) return Reject("\tError : Unterminated '('", transaction);
    const Registry& registry = m_language.GetRegistry();
    const TypeFactory* const factory = FindIn(registry.types, text.type);
    if (!factory) return Reject("\tError : Unknown type '" + s_str(type) + "'", transaction);

    const Constructor* constructor = FindIn(registry.constructors, text.type);
    const bool isDefault = text.arguments.empty() || !constructor;
    if (isDefault && transaction.IsPreview()) return Reject({}, transaction); // it calls what may be impure
    const s_refptr<Symbol> value =
        isDefault ? (*factory)(name) : m_evaluator.Construct(*constructor, name, text.arguments, error);
    if (!value) return Reject(std::move(error), transaction);
    Define(name, value, text.type, transaction);
}

void Statements::ShowExpression(std::string_view expression, Transaction& transaction) {
    s_str error;
    const s_refptr<Symbol> value = m_evaluator.Evaluate({}, expression, error, true).ToObject();
    if (!value) return Reject(std::move(error), transaction);
    const s_str& name = value->GetName();
    if (!name.IsEmpty() && !m_symbols.Find(name)) {
        if (!CheckSymbolName(name, error)) return Reject(std::move(error), transaction);
        return Define(name, value, value->GetType(), transaction);
    }
    if (ReportValue("\t", value->GetType(), *value, transaction)) Finish(value, transaction);
}

/// Stores the value in the symbol and as the last result, and reports it as one of the type.
void Statements::Define(std::string_view name, const s_refptr<Symbol>& value, std::string_view type,
                        Transaction& transaction) {
    if (m_limits.MustStopBefore(name.size())) return Reject({}, transaction);
    transaction.Store(name, value);
    if (ReportValue("\tDefining ", type, *value, transaction)) Finish(value, transaction);
}

/// Completes the statement, unless the symbols would take too much memory.
void Statements::Finish(const s_refptr<Symbol>& lastResult, Transaction& transaction) {
    if (m_limits.GetMemory() == Limits::Unlimited) return transaction.Finish(lastResult);
    s_str error;
    if (CheckMemory(lastResult, error)) return transaction.Finish(lastResult);
    transaction.report.Clear();
    Reject(std::move(error), transaction);
}

Outcome Statements::CheckMemory(const s_refptr<Symbol>& lastResult, s_str& error) {
    const std::uint64_t most = m_limits.GetMemory();
    if (most == Limits::Unlimited || m_symbols.GetWeightWith(lastResult) <= most) return Outcome::WentOn;
    return Fail(error, "\tError : The symbols would take more than " + std::to_string(most) + " bytes of memory");
}

// These forms clear the last result. Its new value is made before anything changes, as memory may run out.

void Statements::Inspect(std::string_view name, Transaction& transaction) {
    const s_refptr<Symbol> empty = MakeEmptyReference();
    const s_refptr<Symbol>* const symbol = m_symbols.Find(name);
    if (name.empty()) {
        transaction.report += HelpText();
    } else if (!symbol) {
        AppendLine(transaction.report, "\t'" + s_str(name) + "' is undefined");
    } else {
        const s_refptr<Symbol> value = *symbol; // evaluating it may erase the symbol
        if (!ReportValue("\t", value->GetType(), *value, transaction)) return;
    }
    transaction.Finish(empty);
}

void Statements::Erase(std::string_view name, Transaction& transaction) {
    s_refptr<Symbol> empty = MakeEmptyReference();
    const s_refptr<Symbol>* const symbol = m_symbols.Find(name);
    if (!symbol) return Reject("\tError : Unknown symbol '" + s_str(name) + "'", transaction);
    if (m_symbols.IsConstant(name))
        return Reject("\tError : Cannot erase the constant '" + s_str(name) + "'", transaction);
    s_refptr<Symbol> value = *symbol; // evaluating it may erase the symbol
    const s_str& type = value->GetType();
    s_str error;
    const Outcome outcome = m_limits.CheckStopped(error);
    if (!outcome) return Reject(std::move(error), transaction);
    AppendLine(transaction.report, "\t" + type + " '" + name + "' erased");
    m_symbols.Erase(name);
    SetLastResult(std::move(empty));
    m_limits.Destroy(std::move(value));
}

void Statements::EraseAll(Transaction& transaction) {
    s_refptr<Symbol> empty = MakeEmptyReference();
    const bool isWanted = !m_isInteractive || AskWhetherToEraseAll();
    s_str error;
    if (m_limits.IsCancelled() && !m_limits.Poll(error)) return Reject(std::move(error), transaction);
    if (isWanted) {
        AppendLine(transaction.report, "\tAll symbols erased");
        SymbolTable::Map erased = m_symbols.EraseAll();
        for (auto& [name, value] : erased) m_limits.Destroy(std::move(value));
    }
    SetLastResult(std::move(empty));
}

bool Statements::AskWhetherToEraseAll() {
    Print("\tWarning : This command will erase all symbols.\n"
          "\t          Are you sure ? ([y|Enter]/n) ");
    m_output->flush();
    std::string answer;
    std::getline(*m_input, answer);
    if (answer.ends_with('\r')) answer.pop_back();
    return answer.empty() || answer == "y" || answer == "Y";
}

/// Reports a failure.
void Statements::Reject(s_str error, Transaction& transaction) {
    transaction.hasFailed = true;
    m_limits.MustStopBefore(error.View().size());
    (void)m_limits.CheckStopped(error, 0);
    if (transaction.report.IsEmpty()) transaction.report = std::move(error); // it may be long
    else transaction.report += error;
    transaction.report += '\n';
}

/// Appends the line that shows a value. If it cannot be shown, appends the reason and returns false.
bool Statements::ReportValue(std::string_view action, std::string_view type, const Symbol& value,
                             Transaction& transaction) {
    s_str& report = transaction.report;
    const std::size_t begin = report.View().size();
    s_str error;
    ((report += action) += type) += " : ";
    transaction.valueBegin = report.View().size();
    const bool isWritten = static_cast<bool>(TextWriter(&m_limits, report, error).Write(value));
    if (isWritten && !m_limits.IsStopped()) {
        report += '\n';
        return true;
    }
    report.Truncate(begin);
    Reject(std::move(error), transaction);
    return false;
}

/// Prints the report. If that is interrupted, takes back what the statement changed, and returns false.
bool Statements::PrintReport(Transaction& transaction) {
    if (Print(transaction.report, transaction.CanUndo())) return true;
    transaction.Undo();
    return false;
}

bool Statements::Print(std::string_view report, bool mayBeInterrupted) {
    if (m_isPrinting) {
        m_waitingReports += report;
        return true;
    }
    struct Printing {
        bool& isPrinting;
        explicit Printing(bool& flag) : isPrinting(flag) { isPrinting = true; }
        ~Printing() { isPrinting = false; }
    } const printing(m_isPrinting);
    const auto printWaiting = [this] {
        while (!m_waitingReports.IsEmpty()) *m_output << std::exchange(m_waitingReports, {}).View();
    };
    printWaiting(); // left over if the stream threw
    const char* interruption = nullptr;
    while (mayBeInterrupted && !interruption && report.size() > Transaction::Portion) {
        *m_output << report.substr(0, Transaction::Portion);
        report.remove_prefix(Transaction::Portion);
        interruption = m_limits.GetInterruption();
    }
    if (interruption) *m_output << '\n' << interruption << '\n';
    else m_output->write(report.data(), static_cast<std::streamsize>(report.size()));
    printWaiting();
    return !interruption;
}

} // namespace Quarn
