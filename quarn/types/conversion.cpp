#include "quarn/types/conversion.h"

#include "quarn/interpreter/engine/expression.h"
#include "quarn/interpreter/state.h"
#include "quarn/types/reference.h"

namespace Quarn {

Failure WhyNot(const Symbol& value, std::string_view type) {
    const Reference* const reference = As<Reference>(value);
    if (reference && reference->GetExpression()->GetLength() > 0) {
        const auto again = reference->GetState().Evaluate(reference->GetExpression()->GetText());
        if (!again) return {again.GetError(), again.GetKind()}; // without the position in another text
    }
    return {"\tError : The value is a " + value.GetRealType() + ", not a " + type};
}

Result<s_refptr<Symbol>> Follow(const s_refptr<Symbol>& value) {
    const Reference* const reference = As<Reference>(*value);
    return reference ? reference->GetState().Resolve(value) : Result(value);
}

} // namespace Quarn
