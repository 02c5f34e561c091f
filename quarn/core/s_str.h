#pragma once

#include <concepts>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "quarn/core/s_bool.h"
#include "quarn/core/s_double.h"
#include "quarn/core/s_uint.h"

namespace Quarn {

/// The storage type of a code unit. 32-bit units are stored as char32_t: the standard provides character traits for
/// that type, but not for `unsigned int`.
template <class T> struct s_code_unit { using type = T; };
template <> struct s_code_unit<unsigned int> { using type = char32_t; };

template <class T> constexpr bool is_character = std::is_same_v<T, char> || std::is_same_v<T, wchar_t> ||
                                                 std::is_same_v<T, char8_t> || std::is_same_v<T, char16_t> ||
                                                 std::is_same_v<T, char32_t>;

template <class T> class s_str_t;

/// Another text of the same units: a string or view of the standard library, or a literal.
template <class Text, class Unit>
concept s_text =
    std::is_convertible_v<const Text&, std::basic_string_view<Unit>> && !std::is_base_of_v<s_str_t<Unit>, Text> &&
    !std::is_base_of_v<s_str_t<unsigned int>, Text>;

/// A text. It converts to a view, so reading copies nothing, and mixes with the texts of the standard library. It
/// orders by code units as unsigned values, a proper prefix first.
template <class T> class s_str_t {
public:
    using unit = typename s_code_unit<T>::type;
    using string = std::basic_string<unit>;
    using view = std::basic_string_view<unit>;

    s_str_t() = default;
    s_str_t(const unit* literal) : m_text(literal) {}
    s_str_t(view text) : m_text(text) {}
    s_str_t(string text) : m_text(std::move(text)) {}

    /// The decimal digits of an ordinary count, otherwise "inf" or "nan".
    explicit s_str_t(s_uint count) { *this += count; }
    /// The plain form (`PlainText`).
    explicit s_str_t(double value) { *this += value; }
    /// "true" or "false".
    explicit s_str_t(s_bool value) { Append(value ? "true" : "false"); }
    explicit s_str_t(bool value) : s_str_t(s_bool(value)) {}
    /// The fixed-decimals form (`FixedText`).
    s_str_t(double value, s_uint integerDigits, s_uint decimals) { Append(FixedText(value, integerDigits, decimals)); }
    /// The significant-digits form (`SignificantText`).
    static s_str_t Significant(double value, s_uint digits) {
        s_str_t text;
        text.Append(SignificantText(value, digits));
        return text;
    }

    operator view() const { return m_text; }
    operator string() const { return m_text; }
    view View() const { return m_text; }
    const string& Get() const { return m_text; }
    s_uint Length() const { return s_uint(m_text.size()); }

    /// Has no characters or, with `blank`, only spaces and tabs.
    s_bool IsEmpty(s_bool blank = false) const {
        if (!blank) return m_text.empty();
        for (const unit c : m_text)
            if (c != unit(' ') && c != unit('\t')) return false;
        return true;
    }
    s_bool StartsWith(view other) const { return view(m_text).starts_with(other); }

    /// The first position of the unit; NaN if there is none.
    s_uint Find(unit wanted) const {
        const auto position = m_text.find(wanted);
        return position == string::npos ? s_uint::NaN : s_uint(position);
    }

    s_str_t& operator+=(const s_str_t& text) {
        m_text += text.m_text;
        return *this;
    }
    template <s_text<unit> Text> s_str_t& operator+=(const Text& text) {
        m_text += view(text);
        return *this;
    }
    s_str_t& operator+=(unit single) {
        m_text += single;
        return *this;
    }
    s_str_t& operator+=(s_uint count) {
        switch (count.GetState()) {
        case s_uint::State::Ordinary: Append(std::to_string(count.Get())); break;
        case s_uint::State::Infinity: Append("inf"); break;
        case s_uint::State::NaN: Append("nan"); break;
        }
        return *this;
    }
    s_str_t& operator+=(double value) {
        Append(PlainText(value));
        return *this;
    }
    template <std::floating_point Number> s_str_t& operator+=(Number value) {
        return *this += static_cast<double>(value);
    }
    /// The decimal digits, with a "-" below zero.
    template <std::integral Number>
    requires(!is_character<Number> && !std::is_same_v<Number, bool>) s_str_t& operator+=(Number value) {
        Append(std::to_string(value));
        return *this;
    }
    s_str_t& operator+=(s_bool value) {
        Append(value ? "true" : "false");
        return *this;
    }
    template <std::same_as<bool> Truth> s_str_t& operator+=(Truth value) { return *this += s_bool(value); }

    friend s_str_t operator+(s_str_t left, const s_str_t& right) { return std::move(left += right); }
    template <s_text<unit> Text> friend s_str_t operator+(s_str_t left, const Text& right) {
        return std::move(left += right);
    }
    template <s_text<unit> Text> friend s_str_t operator+(const Text& left, const s_str_t& right) {
        return s_str_t(view(left)) + right;
    }

    friend s_bool operator==(const s_str_t& a, const s_str_t& b) { return a.m_text == b.m_text; }
    template <s_text<unit> Text> friend s_bool operator==(const s_str_t& a, const Text& b) {
        return a.m_text == view(b);
    }
    template <s_text<unit> Text> friend s_bool operator==(const Text& a, const s_str_t& b) {
        return view(a) == b.m_text;
    }
    friend s_bool operator!=(const s_str_t& a, const s_str_t& b) { return !(a == b); }
    template <s_text<unit> Text> friend s_bool operator!=(const s_str_t& a, const Text& b) { return !(a == b); }
    template <s_text<unit> Text> friend s_bool operator!=(const Text& a, const s_str_t& b) { return !(a == b); }
    friend bool operator<(const s_str_t& a, const s_str_t& b) { return a.m_text < b.m_text; }

    friend std::basic_ostream<unit>& operator<<(std::basic_ostream<unit>& stream, const s_str_t& text) {
        return stream << text.m_text;
    }

    /// The text repeated `count` times; empty if the count is infinite or NaN.
    s_str_t Repeat(s_uint count) const {
        s_str_t repeated;
        if (!count.IsValid()) return repeated;
        repeated.m_text.reserve(m_text.size() * count.Get());
        for (unsigned i = 0; i < count.Get(); ++i) repeated.m_text += m_text;
        return repeated;
    }

    /// Replaces every occurrence of `old`, left to right without overlap. An empty `old` occurs nowhere.
    s_str_t Replace(view old, view replacement) const {
        s_str_t replaced;
        std::size_t start = 0;
        if (!old.empty()) {
            for (auto found = m_text.find(old); found != string::npos; found = m_text.find(old, start)) {
                replaced.m_text.append(m_text, start, found - start).append(replacement);
                start = found + old.size();
            }
        }
        replaced.m_text.append(m_text, start);
        return replaced;
    }

    /// True for "true", "1" and "yes"; false for any other text.
    s_bool ToBool() const {
        const auto is = [&](std::string_view word) {
            if (m_text.size() != word.size()) return false;
            for (std::size_t i = 0; i < word.size(); ++i)
                if (m_text[i] != unit(word[i])) return false;
            return true;
        };
        return is("true") || is("1") || is("yes");
    }

    /// Removes `count` units from the start; all of them if it is infinite, NaN or at least the length.
    void EraseFromStart(s_uint count) {
        if (!count.IsValid() || count.Get() >= m_text.size()) m_text.clear();
        else m_text.erase(0, count.Get());
    }

    /// Removes `count` units from the end; all of them if it is infinite or NaN. If it exceeds the length, throws
    /// std::out_of_range ("basic_string::erase") and leaves the text unchanged: the start position wraps past the end.
    /// Pinned by "EraseFromEndRefusesMoreThanThereIs".
    void EraseFromEnd(s_uint count) {
        const s_uint start = Length() - count;
        if (!start.IsValid()) m_text.clear();
        else if (start.Get() > m_text.size()) throw std::out_of_range("basic_string::erase");
        else m_text.erase(start.Get());
    }

    /// Removes the unit from both ends as often as it occurs there; returns the number removed.
    s_uint Trim(unit single) {
        const std::size_t before = m_text.size();
        const view trimmed = Trimmed(m_text, single);
        m_text.erase(0, static_cast<std::size_t>(trimmed.data() - m_text.data())).resize(trimmed.size());
        return s_uint(before - m_text.size());
    }

    /// The part of the text that `Trim` would keep.
    static view Trimmed(view text, unit single = unit(' ')) {
        while (!text.empty() && text.front() == single) text.remove_prefix(1);
        while (!text.empty() && text.back() == single) text.remove_suffix(1);
        return text;
    }

    void Clear() { m_text.clear(); }
    /// Keeps only the first `size` units.
    void Truncate(std::size_t size) {
        if (size < m_text.size()) m_text.resize(size);
    }
    /// Reserves space for `size` units in total.
    void Reserve(std::size_t size) { m_text.reserve(size); }

private:
    void Append(std::string_view ascii) { m_text.append(ascii.begin(), ascii.end()); }

    string m_text;
};

using s_str = s_str_t<char>;

/// The order of every map keyed by text. It compares views, so a look-up copies nothing. It compares byte by byte
/// because keys are short: most comparisons finish before a library call would have started.
struct s_text_order {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const {
        const std::size_t shorter = a.size() < b.size() ? a.size() : b.size();
        for (std::size_t i = 0; i < shorter; ++i)
            if (a[i] != b[i]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]);
        return a.size() < b.size();
    }
};

} // namespace Quarn
