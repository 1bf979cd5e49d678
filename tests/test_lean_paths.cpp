// The pieces that keep typed access and opening short: the parameter lock's
// scope (no bookkeeping of its own, misuse told by the error-checking
// mutex), the arena of the records and maps, and the design runtime's
// word-at-a-time check of names.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <future>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Fg_Arena.h"
#include "hap_internal.h"
#include "templates/platform/CriticalSection.h"

using tervik::templates::platform::CriticalSection;
using tervik::templates::platform::CriticalSectionScope;

namespace {

// Whether another thread can take the lock at this moment.
bool freeForOthers(CriticalSection& cs) {
    return std::async(std::launch::async, [&] { return cs.try_enter(0) && (cs.leave(), true); }).get();
}

}  // namespace

TEST(CriticalSectionScope, HoldsTheLockForTheScopeAndRefusesASecondEntry) {
    CriticalSection cs;
    {
        CriticalSectionScope scope(cs);
        EXPECT_FALSE(freeForOthers(cs));
    }
    EXPECT_TRUE(freeForOthers(cs));

    // A second entry by the holder is refused at once (no deadlock) with the
    // lock's own report, and gives the mutex back, as enter() does.
    std::string message;
    try {
        CriticalSectionScope outer(cs);
        try {
            CriticalSectionScope inner(cs);
        } catch (const std::logic_error& e) {
            message = e.what();
        }
        EXPECT_TRUE(freeForOthers(cs));
    } catch (const std::logic_error&) {
        // The outer scope ends without the lock it gave back: reported too.
    }
    EXPECT_EQ("GenericLock object got lock but is already marked as locked", message);
    { CriticalSectionScope again(cs); }
    EXPECT_TRUE(freeForOthers(cs));
}

TEST(Fg_Arena, PiecesAreAlignedSeparateAndComeBackForTheNextArena) {
    const size_t sizes[] = {1, 7, 16, 100, 3000, Fg_Arena::kBlockSize / 2 + 1, 40000, 5};
    std::set<uintptr_t> blocks;  // the block-sized pages the first arena used
    {
        Fg_Arena arena;
        std::vector<std::pair<unsigned char*, size_t>> pieces;
        for (int round = 0; round < 20; ++round) {
            for (size_t size : sizes) {
                auto* p = static_cast<unsigned char*>(arena.allocate(size, alignof(std::max_align_t)));
                EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % alignof(std::max_align_t));
                std::memset(p, static_cast<int>(pieces.size() & 0xff), size);
                pieces.emplace_back(p, size);
                if (size < 100) blocks.insert(reinterpret_cast<uintptr_t>(p));
            }
        }
        for (size_t i = 0; i < pieces.size(); ++i)
            for (size_t k = 0; k < pieces[i].second; ++k)
                ASSERT_EQ(static_cast<unsigned char>(i & 0xff), pieces[i].first[k]) << "piece " << i;
    }
    // The next arena carves its first piece from a block the first one had.
    Fg_Arena next;
    const auto first = reinterpret_cast<uintptr_t>(next.allocate(8, alignof(std::max_align_t)));
    bool reused = false;
    for (uintptr_t p : blocks) reused |= first <= p && p < first + Fg_Arena::kBlockSize;
    EXPECT_TRUE(reused);
}

TEST(DesignNames, EveryControlCharacterAndDelIsRefusedWhereverItStands) {
    const std::string head = "TERVIK-HAP 1\nparam ";
    const std::string tail = " U32 1 RW\nend\n";
    auto loads = [&](const std::string& name) {
        const std::string image = head + name + tail;
        fpga_design* d = HapLoadDesignFromBuffer(image.data(), static_cast<uint32_t>(image.size()), 1);
        const bool ok = d != nullptr && HapGetNrOfParameter(d) == 1 && name == HapGetParameter(d, 0)->name;
        HapUnloadHapFile(d);
        return ok;
    };
    // Positions in and after the first words of the name, and in its tail.
    for (size_t length : {1u, 7u, 8u, 9u, 17u, 40u}) {
        for (size_t at = 0; at < length; ++at) {
            std::string name(length, 'a');
            for (int c : {0x01, 0x0b, 0x0d, 0x1f, 0x7f}) {
                name[at] = static_cast<char>(c);
                EXPECT_FALSE(loads(name)) << "character " << c << " at " << at << " of " << length;
            }
            for (int c : {0x21, 0x7e, 0x80, 0xb5, 0xff}) {
                name[at] = static_cast<char>(c);
                EXPECT_TRUE(loads(name)) << "character " << c << " at " << at << " of " << length;
            }
        }
    }
    EXPECT_TRUE(loads(std::string(255, 'n')));
    EXPECT_FALSE(loads(std::string(256, 'n')));
}
