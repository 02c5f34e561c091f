// Replaces the allocation functions of the program it is linked into.

#include "failing_allocation.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

std::size_t AllocationsLeft = ~std::size_t{0};
std::size_t BytesInUse = 0;
std::size_t MostBytesInUse = 0;

void* operator new(std::size_t size) {
    if (AllocationsLeft-- == 0) throw std::bad_alloc();
    void* const memory = std::malloc(size ? size : 1);
    if (!memory) throw std::bad_alloc();
    BytesInUse += malloc_usable_size(memory);
    MostBytesInUse = std::max(MostBytesInUse, BytesInUse);
    return memory;
}

void operator delete(void* memory) noexcept {
    BytesInUse -= malloc_usable_size(memory);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
