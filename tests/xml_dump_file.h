// Writes one GenApi description to a file for the dump programs: the size
// query, then the copy, then the document without its terminating zero.
#ifndef ORV_TESTS_XML_DUMP_FILE_H
#define ORV_TESTS_XML_DUMP_FILE_H

#include <cstdio>
#include <string>
#include <vector>

// `query(buffer, &size)` is one call of the XML entry point (buffer NULL for
// the size query); it answers the entry point's code.
template <class Query>
bool dumpXmlFile(Query&& query, const std::string& path) {
    size_t size = 0;
    int rc = query(static_cast<char*>(nullptr), &size);
    std::vector<char> buffer(size);
    if (rc == 0 && size > 0) rc = query(buffer.data(), &size);
    if (rc != 0 || size == 0 || size != buffer.size()) {
        std::fprintf(stderr, "%s: the entry point answered %d (size %zu)\n", path.c_str(), rc, size);
        return false;
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    const size_t length = size - 1;
    const bool written = f != nullptr && std::fwrite(buffer.data(), 1, length, f) == length;
    if (f == nullptr || std::fclose(f) != 0 || !written) {
        std::fprintf(stderr, "%s: cannot write the file\n", path.c_str());
        return false;
    }
    std::printf("wrote %s (%zu bytes)\n", path.c_str(), length);
    return true;
}

#endif
