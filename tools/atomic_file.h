// Files written whole or not at all: the content goes to a temporary file
// beside the target, which is flushed to disk and renamed over the target
// only when everything was written. A failure leaves the target as it was and
// tells the system's reason. An existing target keeps its permission bits; a
// new one gets the usual mode (0666 less the umask).
#ifndef APPLETCTL_ATOMIC_FILE_H
#define APPLETCTL_ATOMIC_FILE_H

#include <cstddef>
#include <string>

namespace appletctl {

class AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile();  // an uncommitted temporary file is removed
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // Creates the temporary file for `target`; false with error() set.
    bool open(const std::string& target);
    // Appends bytes; false with error() set (and every later call fails).
    bool write(const void* data, size_t size);
    bool write(const std::string& s) { return write(s.data(), s.size()); }
    // Flushes to disk and renames over the target; false with error() set.
    bool commit();
    // Removes the temporary file (the target is untouched).
    void discard();

    // "cannot write 'x.xml': No space left on device"
    const std::string& error() const { return error_; }
    const std::string& target() const { return target_; }
    size_t written() const { return written_; }

private:
    bool fail(const std::string& what, int code);

    std::string target_, temp_, error_;
    int fd_ = -1;
    size_t written_ = 0;
};

// The whole content at once.
bool writeFileAtomically(const std::string& target, const std::string& content, std::string* error);

}  // namespace appletctl

#endif  // APPLETCTL_ATOMIC_FILE_H
