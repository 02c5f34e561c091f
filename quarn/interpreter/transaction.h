#pragma once

#include "quarn/core/ranges.h"
#include "quarn/interpreter/engine/symbol_table.h"
#include "quarn/interpreter/language/names.h"
#include "quarn/interpreter/limits/engine_limits.h"

namespace Quarn {

/// What a statement reports and changes. Unless it is finished, and no preview, its end takes the changes back.
class Transaction {
public:
    /// What is printed of a report at once. A slow terminal takes some milliseconds for it. The printing of a longer
    /// report may be interrupted, and the statement undone.
    static constexpr std::size_t Portion = 4096;

    Transaction(SymbolTable& symbols, EngineLimits& limits, s_str&& emptyReport, bool isPreview = false)
        : report(std::move(emptyReport)), m_symbols(symbols), m_limits(limits), m_isPreview(isPreview) {}
    ~Transaction() {
        if (!m_isDone || m_isPreview) Undo();
        m_limits.Destroy(std::move(m_before));
        m_limits.Destroy(std::move(m_lastBefore));
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Gives a symbol a value, until the transaction ends or is done.
    void Store(std::string_view name, const s_refptr<Symbol>& value) {
        m_name = name;
        m_value = value;
        m_before = m_symbols.Exchange(name, value);
    }
    /// Keeps the changes: the stored symbol has its value, whatever was stored in between, and so has the last result.
    void Finish(const s_refptr<Symbol>& lastResult) {
        if (m_value && !Holds(m_name, m_value)) m_symbols.Exchange(m_name, m_value);
        if (MayBeUndone()) m_lastResult = lastResult;
        m_lastBefore = m_symbols.SetLastResult(lastResult);
        m_isDone = true;
    }
    bool IsDone() const { return m_isDone; }
    /// Takes the changes back. What was stored in between by statements of an evaluation, or of a stream, stays.
    void Undo() {
        m_isDone = true;
        if (m_value && Holds(m_name, m_value)) {
            if (m_before) m_symbols.Exchange(m_name, std::move(m_before));
            else m_symbols.Erase(m_name);
        }
        if (m_lastBefore && Holds(SymbolTable::LastResultName, m_lastResult))
            m_symbols.SetLastResult(std::move(m_lastBefore));
        m_limits.Destroy(std::move(m_lastResult));
        m_limits.Destroy(std::move(m_value));
    }
    /// Whether the changes are kept, but can be taken back if the printing of the report is interrupted.
    bool CanUndo() const { return m_lastBefore && MayBeUndone(); }
    bool IsPreview() const { return m_isPreview; }
    /// The value in the report, without its name; empty if the report shows none.
    std::string_view GetValueText() const {
        if (valueBegin == 0) return {};
        std::string_view text = report.View().substr(valueBegin);
        text.remove_suffix(1); // the line end
        const std::size_t behindName = static_cast<std::size_t>(FindIfNot(text, IsNameCharacter) - text.begin());
        constexpr std::string_view Sign = " = ";
        if (text.substr(behindName).starts_with(Sign)) text.remove_prefix(behindName + Sign.size());
        return text;
    }

    s_str report;
    std::size_t valueBegin = 0; ///< where it shows the value; 0 if it shows none
    bool hasFailed = false;

private:
    bool MayBeUndone() const { return m_isPreview || report.View().size() > Portion; }
    bool Holds(std::string_view name, const s_refptr<Symbol>& value) const {
        const s_refptr<Symbol>* const symbol = m_symbols.Find(name);
        return symbol && *symbol == value;
    }

    SymbolTable& m_symbols;
    EngineLimits& m_limits;
    std::string_view m_name;
    s_refptr<Symbol> m_value;
    s_refptr<Symbol> m_before;
    s_refptr<Symbol> m_lastResult;
    s_refptr<Symbol> m_lastBefore;
    bool m_isDone = false;
    const bool m_isPreview;
};

} // namespace Quarn
