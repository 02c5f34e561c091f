#include "quarn/interpreter/brackets.h"

#include <algorithm>
#include <functional>

namespace Quarn {

const char* Bracket::GetFault() const {
    static constexpr std::array<const char*, KindCount> Unterminated{
        "\tError : Unterminated '('", "\tError : Unterminated '<'", "\tError : Unterminated '['"};
    static constexpr std::array<const char*, KindCount> TooMany{
        "\tError : Too many closing ')'", "\tError : Too many closing '>'", "\tError : Too many closing ']'"};
    return (IsOpening() ? Unterminated : TooMany)[GetKind()];
}

bool Contains(std::string_view whole, std::string_view part) {
    const std::less_equal<const char*> isAtMost;
    return isAtMost(whole.data(), part.data()) && isAtMost(part.data() + part.size(), whole.data() + whole.size());
}

Brackets::Brackets(std::string_view text, Memory& memory)
    : m_text(text), m_memory(memory), m_begin(memory.partners.size()), m_outer(std::exchange(memory.innermost, this)),
      m_found(m_outer && m_outer->m_found && Contains(m_outer->m_found->m_text, text) ? m_outer->m_found : nullptr) {}

Brackets::~Brackets() {
    m_memory.innermost = m_outer;
    m_memory.partners.resize(m_begin);
    constexpr std::size_t MostKept = 4096; // a long text should not keep its memory for the short ones that follow
    if (m_begin == 0 && m_memory.partners.capacity() > MostKept) std::vector<std::size_t>().swap(m_memory.partners);
}

std::size_t Brackets::FindPartner(std::string_view part, std::size_t position) {
    if (!m_found) FindPartners();
    const auto offset = static_cast<std::size_t>(part.data() - m_found->m_text.data());
    const std::size_t partner = m_memory.partners[m_found->m_begin + offset + position];
    return partner == None || partner >= offset + part.size() ? None : partner - offset;
}

void Brackets::FindPartners() {
    m_memory.partners.resize(m_begin + m_text.size());
    m_found = this;
    const auto partner = [&](std::size_t position) -> std::size_t& { return m_memory.partners[m_begin + position]; };

    // The brackets of a kind that still stand open form a chain through their own entries, the innermost first.
    std::array<std::size_t, Bracket::KindCount> innermost;
    innermost.fill(None);
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const Bracket bracket(m_text[i]);
        if (bracket.IsNone()) continue;
        std::size_t& open = innermost[bracket.GetKind()];
        if (bracket.IsOpening()) {
            partner(i) = open;
            open = i;
        } else if (open != None) {
            const std::size_t opening = open;
            open = partner(opening);
            partner(opening) = i;
        }
    }
    for (std::size_t open : innermost)
        while (open != None) open = std::exchange(partner(open), None);
}

std::size_t Brackets::NestingOf(std::string_view text) {
    std::size_t open = 0;
    std::size_t deepest = 0;
    for (const char character : text) {
        const Bracket bracket(character);
        if (bracket.IsOpening()) deepest = std::max(deepest, ++open);
        else if (bracket.IsClosing() && open > 0) --open;
    }
    return deepest;
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
