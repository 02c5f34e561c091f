// Replaces the allocation of the program it is linked into.

#include "failing_allocation.h"

#include <cstdlib>
#include <new>

std::size_t AllocationsLeft = ~std::size_t{0};

void* operator new(std::size_t size) {
    if (AllocationsLeft-- == 0) throw std::bad_alloc();
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
