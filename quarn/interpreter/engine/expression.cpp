#include "quarn/interpreter/engine/expression.h"

namespace Quarn {

Expression::Expression(std::string_view text) : m_text{make_refptr<s_str>(text), {}} { m_text.view = *m_text.whole; }

Expression::Expression(KeptOperation operation) : m_operation(std::make_unique<KeptOperation>(std::move(operation))) {
    const auto lengthOf = [](const KeptOperation::Side& side) {
        return side.expression->GetLength() + (side.isBracketed ? 2 : 0);
    };
    m_operation->length = lengthOf(m_operation->left) + m_operation->op.View().size() + lengthOf(m_operation->right);
}

Expression::~Expression() {
    s_refptr<Expression> doomed;
    const auto take = [&](Expression& parent) {
        if (!parent.m_operation) return;
        for (KeptOperation::Side* side : {&parent.m_operation->left, &parent.m_operation->right}) {
            s_refptr<Expression> expression = std::move(side->expression);
            if (!expression.IsUnique() || !expression->m_operation) continue;
            expression->m_operation->next = std::move(doomed);
            doomed = std::move(expression);
        }
    };
    take(*this);
    while (doomed) {
        const s_refptr<Expression> next = std::move(doomed);
        doomed = std::move(next->m_operation->next);
        take(*next);
    }
}

void Expression::AppendTo(s_str& text) const {
    struct Part {
        const Expression* expression; ///< null for a text
        std::string_view text;
    };
    std::vector<Part> parts{{this, {}}};
    while (!parts.empty()) {
        const Part part = parts.back();
        parts.pop_back();
        const KeptOperation* const operation = part.expression ? part.expression->GetOperation() : nullptr;
        if (!operation) {
            text += part.expression ? part.expression->m_text.view : part.text;
            continue;
        }
        const auto push = [&](const KeptOperation::Side& side) { // in reverse, because the last part is taken first
            if (side.isBracketed) parts.push_back({nullptr, ")"});
            parts.push_back({side.expression.Get(), {}});
            if (side.isBracketed) parts.push_back({nullptr, "("});
        };
        push(operation->right);
        parts.push_back({nullptr, operation->op});
        push(operation->left);
    }
}

std::size_t Expression::GetWeight() const {
    constexpr std::size_t Usual = 640; // of a short text with its program
    constexpr std::size_t PerCharacter = 50;
    return Usual + GetLength() * (GetLength() > LongestWithProgram ? 1 : PerCharacter);
}

s_str Expression::GetText() const {
    s_str text;
    text.Reserve(GetLength());
    AppendTo(text);
    return text;
}

void Expression::Update(unsigned operatorsVersion) {
    if (!m_operation || m_operation->operatorsVersion == operatorsVersion) return;
    m_text.whole = make_refptr<s_str>(GetText());
    m_text.view = *m_text.whole;
    const Expression operands(std::move(*m_operation)); // its destructor takes them apart without recursion
    m_operation.reset();
}

KeptOperation::Shape Expression::GetShape(const Operators& operators, unsigned operatorsVersion) const {
    if (m_operation) return KeptOperation::Shape::Bracketed;
    if (m_shapeVersion != operatorsVersion) {
        m_shape = KeptOperation::ShapeOf(m_text.view, operators);
        m_shapeVersion = operatorsVersion;
    }
    return m_shape;
}

} // namespace Quarn
