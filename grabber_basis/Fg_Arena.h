#ifndef FG_ARENA_H
#define FG_ARENA_H

#include <cstddef>
#include <memory_resource>

/**
 * Memory handed out front to back from blocks and given back all at once:
 * for the many small pieces (records, texts, map nodes) that an applet
 * object builds when a board opens and keeps until the board closes.
 *
 * Blocks have one size and are kept, up to a bound, for the next arena of
 * the process when an arena is released: the next board to open finds its
 * memory already in use by the process instead of asking for fresh memory
 * that the C library may just have given back to the system (each page of
 * it would then be faulted in again). A piece larger than half a block gets
 * a block of its own, which is not kept. Deallocating a single piece does
 * nothing; its memory comes back with the arena.
 *
 * An arena is used by one thread at a time; the blocks kept between arenas
 * are shared by the process under a lock.
 */
class Fg_Arena : public std::pmr::memory_resource {
public:
    Fg_Arena() {}
    ~Fg_Arena() override;

    /** Gives every block back (kept for the next arena, or freed). */
    void release();

    /** The payload of a block. */
    static const std::size_t kBlockSize = 16 * 1024;

private:
    Fg_Arena(const Fg_Arena&);
    Fg_Arena& operator=(const Fg_Arena&);

    void* do_allocate(std::size_t bytes, std::size_t alignment) override;
    void do_deallocate(void*, std::size_t, std::size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

    struct Block;
    Block* last_ = nullptr;
    char* next_ = nullptr;
    std::size_t left_ = 0;
};

#endif
