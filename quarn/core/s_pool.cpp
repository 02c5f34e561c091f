#include "quarn/core/s_pool.h"

#include <atomic>

namespace Quarn {

constinit thread_local std::array<s_pool::List, s_pool::ClassCount> s_pool::s_kept{};

/// The lists of free blocks that belong to no thread.
struct s_pool::Shared {
    std::array<Block*, ClassCount> lists{};
    std::atomic_flag isBusy; ///< held for a few instructions, so waiting threads spin

    template <class Change> void Exclusively(const Change& change) {
        while (isBusy.test_and_set(std::memory_order_acquire)) {
        }
        change(lists);
        isBusy.clear(std::memory_order_release);
    }

    static Shared& Get() {
        static constinit Shared shared;
        return shared;
    }
};

/// Shares all blocks a thread keeps when the thread ends.
struct s_pool::Keeper {
    ~Keeper() {
        for (std::size_t sizeClass = 0; sizeClass < ClassCount; ++sizeClass) HandOver(sizeClass);
    }
    static void Attend() { static thread_local const Keeper keeper; }
};

/// Moves the blocks of a size that this thread keeps to the pool that all threads share.
void s_pool::HandOver(std::size_t sizeClass) noexcept {
    Keeper::Attend();
    Block* const first = std::exchange(s_kept[sizeClass], {nullptr, MostKept}).first;
    if (first)
        Shared::Get().Exclusively([&](auto& lists) { first->nextList = std::exchange(lists[sizeClass], first); });
}

/// Takes a shared list, or cuts a new chunk; returns its first block.
void* s_pool::AllocateFromOthers(std::size_t sizeClass) {
    Keeper::Attend();
    List& kept = s_kept[sizeClass];
    Shared::Get().Exclusively([&](auto& lists) {
        kept.first = lists[sizeClass];
        if (kept.first) lists[sizeClass] = kept.first->nextList;
    });
    kept.room = 0;
    if (!kept.first) {
        constexpr std::size_t ChunkSize = 4096; // the usual page size: a short run touches one page per size
        const std::size_t blockSize = (sizeClass + 1) * Step;
        char* const chunk = static_cast<char*>(::operator new(ChunkSize));
        for (std::size_t end = ChunkSize; end >= blockSize; end -= blockSize)
            kept.first = new (chunk + end - blockSize) Block{kept.first, nullptr};
        kept.room = MostKept - static_cast<std::ptrdiff_t>(ChunkSize / blockSize);
    }
    ++kept.room;
    return std::exchange(kept.first, kept.first->next);
}

} // namespace Quarn
