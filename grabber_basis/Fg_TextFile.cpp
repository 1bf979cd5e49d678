// Sizes, inode numbers and offsets of 64 bits also in the 32-bit build: a
// stat that failed with EOVERFLOW would take a file for one not there.
#define _FILE_OFFSET_BITS 64

#include "Fg_TextFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace {

// ---------------------------------------------------------------- reading --

bool withinBound(const struct stat& st) {
    return S_ISREG(st.st_mode) && static_cast<unsigned long long>(st.st_size) <= Fg_TextFileReader::MaxFileSize;
}

// A descriptor of the regular file at path, or -1. The path is looked at
// before it is opened, so that a FIFO or a device is never opened; the
// descriptor is checked again in case the name changed in between (opening
// does not block: O_NONBLOCK).
int openRegular(const char* path, bool forWriting) {
    struct stat st;
    if (path == nullptr || ::stat(path, &st) != 0 || !withinBound(st)) return -1;
    const int fd = ::open(path, (forWriting ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return -1;
    if (::fstat(fd, &st) != 0 || !withinBound(st)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// ---------------------------------------------------------------- writing --

const int kMaxLinkHops = 40;

// The directory part of a path with its final '/', or "" for a bare name.
std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// The file a write through path lands in: symbolic links followed to their
// end (which need not exist). False for a loop of links.
bool resolveLinks(const char* path, std::string& target) {
    target = path;
    for (int hop = 0; hop < kMaxLinkHops; ++hop) {
        struct stat st;
        if (::lstat(target.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return true;
        std::vector<char> link(static_cast<std::size_t>(st.st_size > 0 ? st.st_size : 255) + 1);
        const ssize_t n = ::readlink(target.c_str(), link.data(), link.size());
        if (n <= 0 || static_cast<std::size_t>(n) >= link.size()) return true;  // changed under us: let the open decide
        const std::string to(link.data(), static_cast<std::size_t>(n));
        target = to[0] == '/' ? to : directoryOf(target) + to;
    }
    errno = ELOOP;
    return false;
}

// Creates a new file beside target, named after it, with the permissions a
// new file gets (0666 less the umask). -1 with errno on failure.
int createBeside(const std::string& target, std::string& name) {
    static std::atomic<unsigned long> counter(0);
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    const std::size_t slash = target.rfind('/');
    const std::size_t baseAt = slash == std::string::npos ? 0 : slash + 1;
    // Short enough for any file system's name limit.
    const std::string base = target.substr(baseAt, 200);
    for (int attempt = 0; attempt < 100; ++attempt) {
        struct timespec now;
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        unsigned long long x = (static_cast<unsigned long long>(::getpid()) << 32) ^
                               static_cast<unsigned long long>(now.tv_nsec) ^
                               (counter.fetch_add(1) * 0x9E3779B97F4A7C15ull);
        char suffix[7];
        for (int i = 0; i < 6; ++i, x /= 62) suffix[i] = kLetters[x % 62];
        suffix[6] = '\0';
        name = target.substr(0, baseAt) + "." + base + ".tmp" + suffix;
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOCTTY | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

// Makes a rename in the directory of path durable; best effort.
void syncDirectoryOf(const std::string& path) {
    std::string dir = directoryOf(path);
    if (dir.empty()) dir = ".";
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

}  // namespace

const std::size_t Fg_TextFileReader::MaxFileSize;
const std::size_t Fg_TextFileReader::PieceLength;

// ------------------------------------------------------- Fg_TextFileReader --

bool Fg_TextFileReader::readable(const char* path, bool forWriting) {
    const int fd = openRegular(path, forWriting);
    if (fd < 0) return false;
    ::close(fd);
    return true;
}

bool Fg_TextFileReader::load(const char* path, bool forWriting) {
    clear();
    const int fd = openRegular(path, forWriting);
    struct stat st;
    if (fd < 0 || ::fstat(fd, &st) != 0) {
        if (fd >= 0) ::close(fd);
        return false;
    }
    // Room for the size the file has now and one byte more, which shows
    // its end; a file that grows meanwhile (or reports no size) gets more.
    std::string text(static_cast<std::size_t>(st.st_size) + 1, '\0');
    std::size_t have = 0;
    bool ok = true;
    for (;;) {
        if (have == text.size()) text.resize(std::min(2 * text.size() + 4096, MaxFileSize + 1));
        const ssize_t n = ::read(fd, &text[have], text.size() - have);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 || have + static_cast<std::size_t>(n) > MaxFileSize) ok = false;
        if (n <= 0 || !ok) break;
        have += static_cast<std::size_t>(n);
    }
    ::close(fd);
    if (!ok) return false;
    text.resize(have);
    mText.swap(text);
    mLoaded = true;
    return true;
}

void Fg_TextFileReader::clear() {
    std::string().swap(mText);
    mFromTop.clear();
    mLoaded = false;
}

std::size_t Fg_TextFileReader::pieceEnd(const Cursor& c) const {
    const std::size_t limit = std::min(mText.size(), c.pos + PieceLength);
    const void* lf = std::memchr(mText.data() + c.pos, '\n', limit - c.pos);
    return lf != nullptr ? static_cast<std::size_t>(static_cast<const char*>(lf) - mText.data()) + 1 : limit;
}

bool Fg_TextFileReader::nextPiece(Cursor& c, char* out) const {
    if (c.pos >= mText.size()) return false;
    const std::size_t end = pieceEnd(c);
    std::memcpy(out, mText.data() + c.pos, end - c.pos);
    out[end - c.pos] = '\0';
    if (mText[end - 1] == '\n') c.lineStart = end;
    c.pos = end;
    return true;
}

bool Fg_TextFileReader::find(Cursor& c, const char* needle, std::size_t n, bool atStart) const {
    const char* text = mText.data();
    const std::size_t size = mText.size();
    std::size_t from = c.pos;
    std::size_t lineStart = c.lineStart;
    while (from < size) {
        const void* hit = n == 0 ? text + from : ::memmem(text + from, size - from, needle, n);
        if (hit == nullptr) break;
        const std::size_t at = static_cast<std::size_t>(static_cast<const char*>(hit) - text);
        // The piece the occurrence begins in: its line, then 255-byte steps.
        if (const void* lf = ::memrchr(text + from, '\n', at - from))
            lineStart = static_cast<std::size_t>(static_cast<const char*>(lf) - text) + 1;
        Cursor piece;
        piece.pos = lineStart + (at - lineStart) / PieceLength * PieceLength;
        piece.lineStart = lineStart;
        const std::size_t end = pieceEnd(piece);
        const bool seen = atStart ? at == piece.pos : std::memchr(text + piece.pos, '\0', at - piece.pos) == nullptr;
        if (seen && at + n <= end) {
            c = piece;
            return true;
        }
        // No later occurrence in this piece can be seen whole either.
        from = end;
        if (text[end - 1] == '\n') lineStart = end;
    }
    c.pos = size;
    c.lineStart = size;
    return false;
}

bool Fg_TextFileReader::findPieceContaining(Cursor& c, const char* needle) const {
    const bool fromTop = c.pos == 0;
    if (fromTop) {
        for (std::size_t i = 0; i < mFromTop.size(); ++i) {
            if (mFromTop[i].first == needle) {
                c = mFromTop[i].second;
                return c.pos < mText.size();
            }
        }
    }
    const bool found = find(c, needle, std::strlen(needle), false);
    if (fromTop && mFromTop.size() < 32) mFromTop.push_back(std::make_pair(std::string(needle), c));
    return found;
}

bool Fg_TextFileReader::findPieceStartingWith(Cursor& c, const char* prefix) const {
    return find(c, prefix, std::strlen(prefix), true);
}

// ------------------------------------------------------- Fg_SafeFileWriter --

bool Fg_SafeFileWriter::open(const char* path) {
    discard();
    if (path == nullptr) return false;
    if (!resolveLinks(path, mTarget)) return false;

    struct stat st;
    const bool exists = ::stat(mTarget.c_str(), &st) == 0;
    if (exists && !S_ISREG(st.st_mode)) {
        // A device or a FIFO takes the bytes as they come; a directory fails.
        mStream = std::fopen(path, "w");
        return mStream != nullptr;
    }
    if (exists) {
        // The save must fail wherever writing the file itself would.
        const int probe = ::open(mTarget.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (probe < 0) return false;
        ::close(probe);
    }

    const int fd = createBeside(mTarget, mTemporary);
    if (fd < 0) {
        mTemporary.clear();
        // No file can be made beside the target (a directory without write
        // permission, a name at the length limit): the target is written in
        // place, as far as that is possible at all.
        if (errno == EACCES || errno == EPERM || errno == ENAMETOOLONG) mStream = std::fopen(mTarget.c_str(), "w");
        return mStream != nullptr;
    }
    bool ok = true;
    if (exists) {
        struct stat made;
        // The owner can be kept by root only; a failure there is no failure
        // of the save. The permission bits are always kept.
        if (::fstat(fd, &made) == 0 && (made.st_uid != st.st_uid || made.st_gid != st.st_gid) &&
            ::fchown(fd, st.st_uid, st.st_gid) != 0) {
        }
        ok = ::fchmod(fd, st.st_mode & 07777) == 0;
    }
    if (ok) mStream = ::fdopen(fd, "w");
    if (mStream == nullptr) {
        ::close(fd);
        ::unlink(mTemporary.c_str());
        mTemporary.clear();
        return false;
    }
    return true;
}

bool Fg_SafeFileWriter::commit() {
    if (mStream == nullptr) return false;
    bool ok = std::fflush(mStream) == 0 && !std::ferror(mStream);
    struct stat st;
    const int fd = ::fileno(mStream);
    if (ok && ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && ::fsync(fd) != 0) ok = false;
    if (std::fclose(mStream) != 0) ok = false;
    mStream = nullptr;
    if (!mTemporary.empty()) {
        // The content is on the medium before the name points at it, and the
        // new name once the save has answered: after a crash the file is
        // the old one or the new one, and the new one once saved.
        if (ok && std::rename(mTemporary.c_str(), mTarget.c_str()) != 0) ok = false;
        if (ok)
            syncDirectoryOf(mTarget);
        else
            ::unlink(mTemporary.c_str());
        mTemporary.clear();
    }
    return ok;
}

void Fg_SafeFileWriter::discard() {
    if (mStream != nullptr) {
        std::fclose(mStream);
        mStream = nullptr;
    }
    if (!mTemporary.empty()) {
        ::unlink(mTemporary.c_str());
        mTemporary.clear();
    }
}
