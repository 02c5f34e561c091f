#include "quarn/interpreter/engine/flat_blocks.h"

#include <algorithm>

namespace Quarn {

/// Finds where the operands of each step stand.
class FlatBlocks::Plan {
public:
    explicit Plan(std::span<const BoundVariable* const> variables) {
        for (std::size_t i = 0; i < variables.size(); ++i) m_places[variables[i]->address] = {true, i};
    }

    Place NewBuffer(const void* address) {
        const Place place{false, m_count++};
        m_places[address] = place;
        return place;
    }
    /// A value that is no result of a step is the same for the whole block.
    Place Find(const void* address) {
        if (const auto known = m_places.find(address); known != m_places.end()) return known->second;
        return NewConstant(address, ReadAt<Word>(address));
    }
    Place NewConstant(const void* address, Word word) {
        constants.emplace_back(m_count, word);
        return NewBuffer(address);
    }
    std::size_t GetCount() const { return m_count; }

    std::vector<std::pair<std::size_t, Word>> constants; ///< in buffers

private:
    std::map<const void*, Place> m_places;
    std::size_t m_count = 0; ///< of buffers
};

FlatBlocks::FlatBlocks(const FlatProgram& program, std::span<const BoundVariable* const> variables) {
    Plan plan(variables);
    for (std::size_t i = 0; i < program.m_varying.size(); ++i) {
        const FlatStep& step = program.m_varying[i];
        const FlatForms* const forms = program.m_forms[i];
        if (!forms) { // the end of a chain, or a variable that is converted
            const bool isLast = i + 1 == program.m_varying.size();
            if (isLast) m_value = plan.Find(step.operands[0]);
            else if (step.operands[0])
                plan.NewConstant(&step.result, static_cast<const BoundVariable*>(step.operands[0])->Read());
            continue;
        }
        const void* const* const operands =
            forms->hasList ? static_cast<const void* const*>(step.operands[0]) : step.operands.data();
        Call call{forms, forms->hasList ? static_cast<const FlatContext*>(step.operands[1]) : nullptr, {}, 0};
        for (std::size_t j = 0; j < forms->operandCount; ++j) call.operands.push_back(plan.Find(operands[j]));
        call.result = plan.NewBuffer(&step.result).index;
        m_calls.push_back(std::move(call));
    }
    constexpr std::size_t MostWords = std::size_t{1} << 17;
    constexpr std::size_t MostUseful = 256;
    m_most = std::clamp<std::size_t>(MostWords / std::max<std::size_t>(plan.GetCount(), 1), 1, MostUseful);
    m_buffers.resize(plan.GetCount() * m_most);
    for (const auto& [index, word] : plan.constants) std::fill_n(BufferAt(index), m_most, word);
}

bool FlatBlocks::Run(std::span<const void* const> columns, void* results, std::size_t count) {
    const auto find = [&](const Place& place) -> const void* {
        return place.isColumn ? columns[place.index] : BufferAt(place.index);
    };
    std::vector<const void*> operands;
    for (const Call& call : m_calls) {
        operands.clear();
        for (const Place& place : call.operands) operands.push_back(find(place));
        if (!call.forms->callForMany(call.context, operands.data(), BufferAt(call.result), count)) return false;
    }
    std::memmove(results, find(m_value), count * sizeof(Word));
    return true;
}

} // namespace Quarn
