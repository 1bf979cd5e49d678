#include "atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "text_util.h"

namespace appletctl {

AtomicFile::~AtomicFile() { discard(); }

bool AtomicFile::fail(const std::string& what, int code) {
    if (error_.empty()) error_ = what + " '" + visible(shorten(target_)) + "': " + std::strerror(code);
    discard();
    return false;
}

bool AtomicFile::open(const std::string& target) {
    discard();
    target_ = target;
    error_.clear();
    written_ = 0;
    if (target.empty()) return fail("cannot write", ENOENT);
    // The permission bits the file will have: those of an existing target,
    // otherwise the usual ones for a new file.
    mode_t mode = 0666;
    const mode_t mask = umask(0);
    umask(mask);
    mode &= ~mask;
    struct stat st;
    if (stat(target.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return fail("cannot write", EISDIR);
        if (!S_ISREG(st.st_mode)) return fail("cannot replace", EINVAL);
        mode = st.st_mode & 07777;
    }
    // Beside the target, so that the rename stays within one file system.
    const std::string::size_type slash = target.rfind('/');
    const std::string dir = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string pattern = dir + "." + (base.size() > 200 ? base.substr(0, 200) : base) + ".XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    fd_ = mkstemp(name.data());
    if (fd_ < 0) return fail("cannot write", errno);
    temp_ = name.data();
    if (fchmod(fd_, mode) != 0) return fail("cannot write", errno);
    return true;
}

bool AtomicFile::write(const void* data, size_t size) {
    if (fd_ < 0) return fail("cannot write", EBADF);
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = ::write(fd_, p, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return fail("cannot write", errno);
        }
        p += n;
        size -= static_cast<size_t>(n);
        written_ += static_cast<size_t>(n);
    }
    return true;
}

bool AtomicFile::commit() {
    if (fd_ < 0) return fail("cannot write", EBADF);
    if (fsync(fd_) != 0) return fail("cannot write", errno);
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) return fail("cannot write", errno);
    if (std::rename(temp_.c_str(), target_.c_str()) != 0) return fail("cannot replace", errno);
    temp_.clear();
    // The new name is on disk once its directory is.
    const std::string::size_type slash = target_.rfind('/');
    const std::string dir = slash == std::string::npos ? std::string(".") : target_.substr(0, slash + 1);
    const int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY);
    if (dfd >= 0) {
        fsync(dfd);
        ::close(dfd);
    }
    return true;
}

void AtomicFile::discard() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    if (!temp_.empty()) unlink(temp_.c_str());
    temp_.clear();
}

bool writeFileAtomically(const std::string& target, const std::string& content, std::string* error) {
    AtomicFile f;
    if (f.open(target) && f.write(content) && f.commit()) return true;
    *error = f.error();
    return false;
}

}  // namespace appletctl
