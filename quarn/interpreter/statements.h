#pragma once

#include <iosfwd>

#include "quarn/interpreter/engine/evaluator.h"

namespace Quarn {

class Transaction;

/// Carries out statements, and prints what each reports when it is done.
class Statements {
public:
    Statements(State& state, EngineLimits& limits, Language& language, SymbolTable& symbols, Evaluator& evaluator);

    void SetInteractive(bool isInteractive) { m_isInteractive = isInteractive; }
    void SetStreams(std::istream& input, std::ostream& output) {
        m_input = &input;
        m_output = &output;
    }

    /// Returns whether all statements succeeded.
    bool ParseLine(std::string_view line);
    /// See `State::Preview`.
    Result<s_str> Preview(std::string_view line, double seconds);
    void SetLastResult(s_refptr<Symbol> value);
    bool CheckSymbolName(std::string_view name, s_str& error) const;
    /// Whether a statement may give the name a new value: constants keep theirs.
    bool CheckDefinable(std::string_view name, s_str& error) const;
    /// Whether no function or constructor has the name.
    bool CheckUntaken(std::string_view name, s_str& error) const;
    /// Whether the symbols, with this last result, take no more memory than they may.
    Outcome CheckMemory(const s_refptr<Symbol>& lastResult, s_str& error);
    /// Writes to the output. If the stream carries out statements while it is written to, their reports follow this
    /// one. A long report may be interrupted by cancellation, or when the time is up: its error follows what is
    /// written by then, and false is returned.
    bool Print(std::string_view report, bool mayBeInterrupted = false);

private:
    Failure WhyItFailed(const Transaction& transaction) const;
    bool CarryOut(std::string_view statement, bool& isCancelled);
    void ParseStatement(std::string_view statement, Transaction& transaction);
    void AssignReference(std::string_view name, std::string_view expression, Transaction& transaction);
    void Assign(std::string_view name, std::string_view expression, Transaction& transaction);
    void DefineSymbol(std::string_view name, std::string_view type, Transaction& transaction);
    void ShowExpression(std::string_view expression, Transaction& transaction);
    void Inspect(std::string_view name, Transaction& transaction);
    void Erase(std::string_view name, Transaction& transaction);
    void EraseAll(Transaction& transaction);
    void Define(std::string_view name, const s_refptr<Symbol>& value, std::string_view type, Transaction& transaction);
    void Finish(const s_refptr<Symbol>& lastResult, Transaction& transaction);
    void Reject(s_str error, Transaction& transaction);
    bool ReportValue(std::string_view action, std::string_view type, const Symbol& value, Transaction& transaction);
    bool AskWhetherToEraseAll();
    bool PrintReport(Transaction& transaction);
    s_refptr<Symbol> MakeEmptyReference();

    State& m_state;
    EngineLimits& m_limits;
    Language& m_language;
    SymbolTable& m_symbols;
    Evaluator& m_evaluator;

    bool m_isInteractive = false;
    std::istream* m_input;
    std::ostream* m_output;
    s_str m_reportBuffer; ///< its memory is reused for the next report
    s_str m_waitingReports;
    bool m_isPrinting = false;
};

} // namespace Quarn
