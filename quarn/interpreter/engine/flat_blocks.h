#pragma once

#include <span>

#include "quarn/interpreter/engine/program.h"

namespace Quarn {

/// Runs a flat program for many values of some variables. Each step runs for a whole block of them: so its call costs
/// little, and the compiler can use vectors.
class FlatBlocks {
public:
    /// The program is not owned. It must be ready, and stay so.
    FlatBlocks(const FlatProgram& program, std::span<const BoundVariable* const> variables);
    /// How many values a block has at most. All buffers together stay small.
    std::size_t GetMost() const { return m_most; }
    /// Each column has the values of a variable, words side by side. The results may take the place of a column. False
    /// if a callable fails for one of them.
    bool Run(std::span<const void* const> columns, void* results, std::size_t count);

private:
    /// Where an operand stands: in the column of a variable, or in a buffer.
    struct Place {
        bool isColumn;
        std::size_t index;
    };
    struct Call {
        const FlatForms* forms;
        const FlatContext* context;
        std::vector<Place> operands;
        std::size_t result; ///< the index of a buffer
    };
    class Plan;

    Word* BufferAt(std::size_t index) { return m_buffers.data() + index * m_most; }

    std::vector<Call> m_calls;
    Place m_value{}; ///< where the result stands
    std::size_t m_most = 0;
    std::vector<Word> m_buffers; ///< of a block each
};

} // namespace Quarn
