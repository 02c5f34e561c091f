#include "quarn/types/symbol.h"

#include "quarn/interpreter/engine/text_writer.h"
#include "quarn/interpreter/state.h"

namespace Quarn {

void Symbol::Register(State& state) {
    state.EditRegistry().types[TypeNameOf<Symbol>()] = [](const s_str& name) { return make_refptr<Symbol>(name); };
}

Outcome Symbol::WriteTo(TextWriter& writer) const { return writer.Append(ToString()); }

const FlatType* Symbol::GetFlat(Word&) const { return nullptr; }

} // namespace Quarn
