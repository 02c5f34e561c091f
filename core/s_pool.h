#pragma once

#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

namespace Quarn {

// The address sanitizer would not see what is used after it was given back to a pool.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool s_pools_keep = false;
#elif defined(__has_feature)
inline constexpr bool s_pools_keep = !__has_feature(address_sanitizer);
#else
inline constexpr bool s_pools_keep = true;
#endif

/// Memory for objects of one size that come and go by the million: cut from chunks without a header of its own, and kept
/// for the next object of the size when it is given back. Each thread keeps its own; it may give back what another took,
/// and what it leaves at its end goes to the others. Nothing returns to the system.
template <std::size_t Size> class s_pool {
public:
    /// Throws std::bad_alloc.
    static void* Take() {
        if constexpr (!s_pools_keep) return ::operator new(Size);
        if (!s_kept) s_kept = Refill();
        return std::exchange(s_kept, s_kept->next);
    }

    static void GiveBack(void* memory) noexcept {
        if constexpr (!s_pools_keep) return ::operator delete(memory);
        if (!s_kept) s_heir.Attend();
        s_kept = new (memory) Block{s_kept};
    }

private:
    struct Block {
        Block* next;
    };

    /// Leaves to the other threads, at the end of this one, what it has kept.
    struct Heir {
        void Attend() {}
        ~Heir() {
            const std::lock_guard lock(s_mutex);
            Block** end = &s_left;
            while (*end) end = &(*end)->next; // nearly always nobody came before
            *end = std::exchange(s_kept, nullptr);
        }
    };

    static constexpr std::size_t BlockSize = Size < sizeof(Block) ? sizeof(Block) : Size;
    static constexpr std::size_t ChunkSize = 4096; ///< a page of most systems: a short run touches no more
    static_assert(BlockSize % alignof(Block) == 0 && BlockSize <= ChunkSize);

    [[gnu::noinline]] static Block* Refill() {
        s_heir.Attend();
        {
            const std::lock_guard lock(s_mutex);
            if (s_left) return std::exchange(s_left, nullptr);
        }
        char* const chunk = static_cast<char*>(::operator new(ChunkSize));
        Block* blocks = nullptr;
        for (std::size_t end = ChunkSize; end >= BlockSize; end -= BlockSize)
            blocks = new (chunk + end - BlockSize) Block{blocks};
        return blocks;
    }

    inline static thread_local Block* s_kept = nullptr;
    inline static thread_local Heir s_heir;
    inline static Block* s_left = nullptr; ///< by threads that have ended
    inline static std::mutex s_mutex;      ///< of that
};

} // namespace Quarn
