#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <utility>

#include "quarn/core/api.h"

namespace Quarn {

// The address sanitizer cannot detect the use of a block that was returned to a pool.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool s_pools_keep = false;
#elif defined(__has_feature)
inline constexpr bool s_pools_keep = !__has_feature(address_sanitizer);
#else
inline constexpr bool s_pools_keep = true;
#endif

/// Memory for small objects that are created and destroyed by the million. Blocks of one size are cut from chunks
/// without headers and reused when returned. Any thread may return a block that another took. A thread keeps a few
/// thousand free blocks per size and shares the rest with all threads; when it ends, it shares them all. Memory
/// therefore stays close to the peak use. None is returned to the system.
class QUARN_API s_pool {
public:
    /// Throws std::bad_alloc.
    template <std::size_t Size> static void* Allocate() {
        if constexpr (!s_pools_keep) return ::operator new(Size);
        List& kept = s_kept[ClassOf<Size>];
        if (!kept.first) return AllocateFromOthers(ClassOf<Size>);
        ++kept.room;
        return std::exchange(kept.first, kept.first->next);
    }

    template <std::size_t Size> static void Free(void* memory) noexcept {
        if constexpr (!s_pools_keep) return ::operator delete(memory);
        List& kept = s_kept[ClassOf<Size>];
        Block* const block = new (memory) Block;
        block->next = std::exchange(kept.first, block);
        if (--kept.room < 0) HandOver(ClassOf<Size>);
    }

private:
    struct Block {
        Block* next;
        Block* nextList; ///< in the first block of a list shared with all threads
    };
    struct List {
        Block* first = nullptr;
        std::ptrdiff_t room = 0; ///< how many more blocks it may keep
    };
    struct Shared;
    struct Keeper;

    static constexpr std::size_t Step = sizeof(Block);
    static constexpr std::size_t ClassCount = 128 / Step; ///< the largest block has 128 bytes
    static constexpr std::ptrdiff_t MostKept = 4096;
    template <std::size_t Size> static constexpr std::size_t ClassOf = (Size + Step - 1) / Step - 1;

    static void* AllocateFromOthers(std::size_t sizeClass);
    static void HandOver(std::size_t sizeClass) noexcept;

    static constinit thread_local std::array<List, ClassCount> s_kept;
};

} // namespace Quarn
