#include "Fg_Arena.h"

#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

struct Fg_Arena::Block {
    Block* previous;
    std::size_t size;  // payload; kBlockSize for the blocks that are kept
};

namespace {

// The block header (a pointer and a size), rounded up to the strictest alignment.
const std::size_t kHeader =
    (sizeof(void*) + sizeof(std::size_t) + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);
// Blocks kept between arenas: enough for a few boards of this applet.
const std::size_t kKeptBlocks = 64;

// The blocks of released arenas, for the next arenas of the process. Freed
// at the end of the process.
class Spare {
public:
    static Spare& get() {
        static Spare spare;
        return spare;
    }
    void* take() {
        std::lock_guard<std::mutex> guard(lock_);
        return count_ > 0 ? blocks_[--count_] : nullptr;
    }
    // False when no more blocks are kept: the caller frees it.
    bool keep(void* block) {
        std::lock_guard<std::mutex> guard(lock_);
        if (closed_ || count_ == kKeptBlocks) return false;
        blocks_[count_++] = block;
        return true;
    }
    ~Spare() {
        std::lock_guard<std::mutex> guard(lock_);
        while (count_ > 0) std::free(blocks_[--count_]);
        closed_ = true;
    }

private:
    std::mutex lock_;
    void* blocks_[kKeptBlocks];
    std::size_t count_ = 0;
    bool closed_ = false;
};

}  // namespace

Fg_Arena::~Fg_Arena() { release(); }

void* Fg_Arena::do_allocate(std::size_t bytes, std::size_t alignment) {
    if (alignment < alignof(std::max_align_t)) alignment = alignof(std::max_align_t);
    const std::size_t size = (bytes + alignment - 1) & ~(alignment - 1);
    const std::uintptr_t at = (reinterpret_cast<std::uintptr_t>(next_) + alignment - 1) & ~(alignment - 1);
    const std::size_t skip = static_cast<std::size_t>(at - reinterpret_cast<std::uintptr_t>(next_));
    if (next_ != nullptr && skip + size <= left_) {
        next_ += skip + size;
        left_ -= skip + size;
        return reinterpret_cast<void*>(at);
    }
    const bool own = size > kBlockSize / 2 || alignment > alignof(std::max_align_t);
    const std::size_t payload = own ? size + alignment : kBlockSize;
    void* memory = own ? nullptr : Spare::get().take();
    if (memory == nullptr) memory = std::malloc(kHeader + payload);
    if (memory == nullptr) throw std::bad_alloc();
    Block* block = static_cast<Block*>(memory);
    block->size = payload;
    block->previous = last_;
    last_ = block;
    char* start = static_cast<char*>(memory) + kHeader;
    if (own) {
        // A block of its own: the current block stays the one to carve from.
        const std::uintptr_t p = (reinterpret_cast<std::uintptr_t>(start) + alignment - 1) & ~(alignment - 1);
        return reinterpret_cast<void*>(p);
    }
    next_ = start + size;
    left_ = kBlockSize - size;
    return start;
}

void Fg_Arena::release() {
    while (last_ != nullptr) {
        Block* previous = last_->previous;
        if (last_->size != kBlockSize || !Spare::get().keep(last_)) std::free(last_);
        last_ = previous;
    }
    next_ = nullptr;
    left_ = 0;
}
