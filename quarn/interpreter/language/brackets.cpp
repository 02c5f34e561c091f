#include "quarn/interpreter/language/brackets.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "quarn/interpreter/limits/limits.h"

namespace Quarn {

const char* Bracket::GetFault() const {
    static constexpr std::array<const char*, KindCount> Unterminated{
        "\tError : Unterminated '('", "\tError : Unterminated '<'", "\tError : Unterminated '['"};
    static constexpr std::array<const char*, KindCount> TooMany{
        "\tError : Too many closing ')'", "\tError : Too many closing '>'", "\tError : Too many closing ']'"};
    return (IsOpening() ? Unterminated : TooMany)[GetKind()];
}

bool Contains(std::string_view whole, std::string_view part) {
    return Contains(whole, part.data()) && Contains(whole, part.data() + part.size());
}

bool Contains(std::string_view whole, const char* character) {
    const std::less_equal<const char*> isAtMost;
    return isAtMost(whole.data(), character) && isAtMost(character, whole.data() + whole.size());
}

Brackets::Brackets(std::string_view text, Memory& memory)
    : m_text(text), m_memory(memory), m_begin(memory.pairs.size()), m_end(m_begin), m_next(m_begin),
      m_outer(std::exchange(memory.innermost, this)),
      m_found(m_outer && m_outer->m_found && Contains(m_outer->m_found->m_text, text) ? m_outer->m_found : nullptr) {}

Brackets::~Brackets() {
    m_memory.innermost = m_outer;
    m_memory.pairs.resize(m_begin);
    constexpr std::size_t MostKept = 4096; // a long text should not keep its memory for the short ones that follow
    if (m_begin == 0 && m_memory.pairs.capacity() > MostKept) std::vector<Pair>().swap(m_memory.pairs);
}

bool Brackets::AreBalanced() {
    if (!m_found) FindPartners();
    return m_found == this && m_areBalanced;
}

std::size_t Brackets::FindPartner(std::string_view part, std::size_t position) {
    if (!m_found) FindPartners();
    if (m_found->m_isStopped) return None;
    const auto offset = static_cast<std::size_t>(part.data() - m_found->m_text.data());
    const std::uint32_t partner = m_found->PairAt(offset + position).closing;
    return partner == Pair::NoPartner || partner >= offset + part.size() ? None : partner - offset;
}

void Brackets::FindPartners() {
    constexpr std::size_t BetweenLooks = std::size_t{1} << 16;
    if (m_text.size() >= Pair::NoPartner - m_begin) throw std::length_error("a text of 4 GiB");
    m_found = this;
    m_areBalanced = true;
    // The pairs of a kind that still stand open form a chain through their closing positions, the innermost first.
    // Positions in the memory that are one too high; 0 for none.
    Innermost innermost{};
    for (std::size_t begin = 0; begin < m_text.size() && !m_isStopped; begin += BetweenLooks) {
        FindPartners(m_text.substr(begin, BetweenLooks), innermost);
        m_isStopped = m_memory.limits && m_memory.limits->MustStopBefore(m_text.size() - begin);
    }
    std::vector<Pair>& pairs = m_memory.pairs;
    for (std::uint32_t open : innermost) {
        if (m_memory.limits && m_memory.limits->MustStopBefore(open)) m_isStopped = true;
        if (open > 0) m_areBalanced = false;
        while (open > 0) open = std::exchange(pairs[open - 1].closing, Pair::NoPartner);
    }
    if (m_isStopped) m_areBalanced = false;
    m_end = pairs.size();
}

void Brackets::FindPartners(std::string_view block, Innermost& innermost) {
    std::vector<Pair>& pairs = m_memory.pairs;
    for (const char& character : block) {
        const Bracket bracket(character);
        if (bracket.IsNone()) continue;
        const auto i = static_cast<std::uint32_t>(&character - m_text.data());
        std::uint32_t& open = innermost[bracket.GetKind()];
        if (bracket.IsOpening()) {
            pairs.push_back({i, open});
            open = static_cast<std::uint32_t>(pairs.size());
            constexpr std::size_t Many = 4096;
            if (open - m_begin == Many) // as many again for each part of the text as long as this one
                pairs.reserve(m_begin + Many * (m_text.size() / (i + 1) + 1));
        } else if (open == 0) {
            m_areBalanced = false;
        } else {
            if (open != std::max({innermost[0], innermost[1], innermost[2]})) m_areBalanced = false;
            open = std::exchange(pairs[open - 1].closing, i);
        }
    }
}

/// Texts are read from the left, so it mostly is the next pair, or the last one again.
const Brackets::Pair& Brackets::PairAt(std::size_t opening) {
    const std::vector<Pair>& pairs = m_memory.pairs;
    if (m_next > m_begin && pairs[m_next - 1].opening == opening) return pairs[m_next - 1];
    if (m_next == m_end || pairs[m_next].opening != opening) {
        const auto begin = pairs.begin() + static_cast<std::ptrdiff_t>(m_begin);
        const auto end = pairs.begin() + static_cast<std::ptrdiff_t>(m_end);
        const auto isBefore = [](const Pair& pair, std::size_t position) { return pair.opening < position; };
        m_next = static_cast<std::size_t>(std::lower_bound(begin, end, opening, isBefore) - pairs.begin());
    }
    return pairs[m_next++];
}

std::size_t Brackets::SearchPartner(std::string_view text, std::size_t position) {
    const unsigned kind = Bracket(text[position]).GetKind();
    std::size_t depth = 0;
    for (std::size_t i = position; i < text.size(); ++i) {
        const Bracket bracket(text[i]);
        if (bracket.IsNone() || bracket.GetKind() != kind) continue;
        if (bracket.IsOpening()) ++depth;
        else if (--depth == 0) return i;
    }
    return None;
}

} // namespace Quarn
