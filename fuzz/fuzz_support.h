// Shared pieces of the libFuzzer targets: a private scratch directory for the
// files a target writes, boards opened on the simulated platform, and the
// check that reports a broken property as a finding.
#ifndef ORV_FUZZ_SUPPORT_H
#define ORV_FUZZ_SUPPORT_H

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fg_types.h"
#include "sim_board.h"

namespace orvfuzz {

// A broken property: print it and abort, which libFuzzer records as a crash.
#define ORV_FUZZ_CHECK(cond, ...)                                                                \
    do {                                                                                         \
        if (!(cond)) {                                                                           \
            std::fprintf(stderr, "property violated at %s:%d: %s\n", __FILE__, __LINE__, #cond); \
            std::fprintf(stderr, __VA_ARGS__);                                                   \
            std::fprintf(stderr, "\n");                                                          \
            std::abort();                                                                        \
        }                                                                                        \
    } while (0)

inline void cleanScratch(const char* keep = nullptr);
inline void removeScratch();

// The target's own directory for the files it writes; made on first use and
// removed when the run ends normally.
inline const std::string& scratchDir() {
    // Never destroyed: the removal at exit still needs the name.
    static const std::string* dir = [] {
        const char* base = std::getenv("TMPDIR");
        std::string templ = std::string(base && *base ? base : "/tmp") + "/orv-fuzz-XXXXXX";
        char* made = mkdtemp(&templ[0]);
        if (made == nullptr) std::abort();
        std::atexit(removeScratch);
        return new std::string(made);
    }();
    return *dir;
}

inline std::string scratchPath(const std::string& name) { return scratchDir() + "/" + name; }

inline void removeScratch() {
    cleanScratch();
    rmdir(scratchDir().c_str());
}

// Removes every file of the scratch directory except `keep` (a name).
inline void cleanScratch(const char* keep) {
    DIR* d = opendir(scratchDir().c_str());
    if (d == nullptr) return;
    while (dirent* e = readdir(d)) {
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
        if (keep != nullptr && std::strcmp(e->d_name, keep) == 0) continue;
        const std::string path = scratchPath(e->d_name);
        if (unlink(path.c_str()) != 0) rmdir(path.c_str());
    }
    closedir(d);
}

inline void writeFile(const std::string& path, const void* data, size_t size) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) std::abort();
    if (size > 0) std::fwrite(data, 1, size, f);
    std::fclose(f);
}

// File names the applet finds inside hostile input must not leave the
// working directory: every directory separator becomes an underscore.
inline void confine(std::string& s) {
    for (char& c : s)
        if (c == '/') c = '_';
}

// The simulated runtime finds the applet library in the build tree.
inline void useBuildTree() {
#ifdef ORV_FUZZ_LIB_DIR
    setenv("TERVIK_APPLET_PATH", ORV_FUZZ_LIB_DIR, 0);
#endif
}

// A board with the applet, opened through the runtime's application side,
// with the debugging switches given; kept open for the whole run.
inline Fg_Struct* openBoard(bool directRegisterAccess, bool directQorAccess) {
    useBuildTree();
    if (directRegisterAccess) setenv("TERVIK_ENABLE_DRA", "yes", 1);
    if (directQorAccess) setenv("TERVIK_ENABLE_DQORA", "on", 1);
    Fg_Struct* fg = Fg_InitEx("Orvindel", 0, 0);
    unsetenv("TERVIK_ENABLE_DRA");
    unsetenv("TERVIK_ENABLE_DQORA");
    if (fg == nullptr) {
        std::fprintf(stderr, "cannot open a board with the applet: %d\n", Fg_getLastErrorNumber(nullptr));
        std::abort();
    }
    return fg;
}

}  // namespace orvfuzz

#endif
