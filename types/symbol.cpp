#include "types/symbol.h"

namespace Quarn {

void Symbol::Register(State& state) {
    state.EditRegistry().types[TypeName] = [](const s_str& name) { return make_refptr<Symbol>(name); };
}

} // namespace Quarn
