// The entry point of the fuzzer.

#include <cstddef>
#include <cstdint>

#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    PlayAnything({reinterpret_cast<const char*>(data), size});
    return 0;
}
