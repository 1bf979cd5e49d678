// The design runtime: loads a design image (format in hap_internal.h) and
// answers questions about its events, registers and parameters.

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "hap_internal.h"
#include "platform_export.h"

namespace {

constexpr uint32_t kDesignMagic = 0x48415044u;  // "HAPD"
constexpr size_t kMaxLine = 1u << 20;
constexpr long kMaxFileSize = 256L << 20;

struct ParamRec {
    std::string name;
    std::string text;
    std::vector<uint64_t> uElems;
    std::vector<double> dElems;
    HapParameterInfo info{};
};

struct EventRec {
    std::string name;
    int index = 0;
    HapEvent ev{};
};

struct RegRec {
    std::string name;
    HapRegisterInfo info{};
};

}  // namespace

namespace {

// A parsed design: read-only once parsed, shared by every handle loaded from
// the same manifest.
struct Design {
    std::string name;
    std::vector<ParamRec> params;
    std::vector<EventRec> events;
    std::vector<int> eventSlot;  // event index -> position in events, or -1
    std::vector<RegRec> regs;
};

}  // namespace

// A loaded design handle: one per load, whether or not its design is shared.
struct fpga_design {
    uint32_t magic = kDesignMagic;
    std::shared_ptr<const Design> design;
};

namespace {

// The parsed design behind a handle, or NULL for NULL or an unloaded handle.
const Design* designOf(const fpga_design* h) {
    return h != nullptr && h->magic == kDesignMagic ? h->design.get() : nullptr;
}

// The fields of a line, as views into the image (valid while it is parsed).
// `count` is the number of fields; at most kMaxKept are kept, which is more
// than any line kind may have, so a longer line is refused by its count.
// `plain` has bit i set when field i holds no control character and no DEL
// (the characters a name must not have besides the blanks between fields).
struct Fields {
    static constexpr size_t kMaxKept = 8;
    std::string_view at[kMaxKept];
    size_t count = 0;
    unsigned plain = 0;
    std::string_view operator[](size_t i) const { return at[i]; }
    size_t size() const { return count; }
    bool isPlain(size_t i) const { return (plain >> i) & 1u; }
};

inline bool blank(char c) { return c == ' ' || c == '\t'; }
// A blank, another control character or DEL.
inline bool special(unsigned char c) { return c <= ' ' || c == 0x7f; }

// The position of the first special character of `s` at or after `i`, or
// its size. Eight characters at a time: in each word the lowest byte below
// 0x21 and the lowest byte equal to 0x7f are found exactly (the borrow of
// the subtraction only reaches bytes above a matching one).
size_t nextSpecial(std::string_view s, size_t i) {
    const uint64_t ones = 0x0101010101010101ull;
    const uint64_t highs = 0x8080808080808080ull;
    const size_t n = s.size();
    for (; i + 8 <= n; i += 8) {
        uint64_t w;
        std::memcpy(&w, s.data() + i, 8);
        const uint64_t del = w ^ (ones * 0x7f);
        const uint64_t found = (((w - ones * 0x21) & ~w) | ((del - ones) & ~del)) & highs;
        if (found != 0) return i + static_cast<size_t>(__builtin_ctzll(found) >> 3);  // little-endian
    }
    while (i < n && !special(static_cast<unsigned char>(s[i]))) ++i;
    return i;
}

// Splits a line into fields separated by blanks / tabs, noting which fields
// are plain.
Fields splitFields(std::string_view line) {
    Fields out;
    size_t i = 0;
    const size_t n = line.size();
    while (i < n) {
        while (i < n && blank(line[i])) ++i;
        if (i >= n) break;
        bool plain = true;
        size_t j = nextSpecial(line, i);
        while (j < n && !blank(line[j])) {
            plain = false;
            j = nextSpecial(line, j + 1);
        }
        if (out.count < Fields::kMaxKept) {
            out.at[out.count] = line.substr(i, j - i);
            if (plain) out.plain |= 1u << out.count;
        }
        ++out.count;
        i = j;
    }
    return out;
}

// The fields of `line` split with a limit of `maxFields` (the last holding
// the rest of the line, leading blanks removed and trailing blanks cut, as
// TEXT initial values are read), from its fields split without limit.
Fields limitFields(const Fields& all, std::string_view line, size_t maxFields) {
    Fields out = all;
    if (all.count <= maxFields) return out;
    out.count = maxFields;
    const char* begin = all.at[maxFields - 1].data();
    size_t end = line.size();
    while (end > 0 && blank(line[end - 1])) --end;
    out.at[maxFields - 1] = std::string_view(begin, static_cast<size_t>(line.data() + end - begin));
    return out;
}

// A field as a NUL-terminated text for the C conversions: short fields (all
// numbers of a well-formed image) on the stack, longer ones on the heap.
class CText {
public:
    explicit CText(std::string_view s) {
        if (s.size() < sizeof small_) {
            std::memcpy(small_, s.data(), s.size());
            small_[s.size()] = '\0';
            text_ = small_;
        } else {
            large_.assign(s.data(), s.size());
            text_ = large_.c_str();
        }
    }
    const char* c_str() const { return text_; }

private:
    char small_[64];
    std::string large_;
    const char* text_;
};

bool parseU64(std::string_view s, uint64_t& out) {
    if (s.empty() || s[0] == '-' || s[0] == '+' || s[0] == ' ') return false;
    int base = 10;
    if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        base = 16;
        s.remove_prefix(2);
        if (s[0] == '-' || s[0] == '+' || s[0] == ' ') return false;
    }
    const CText text(s);
    const char* b = text.c_str();
    char* e = nullptr;
    errno = 0;
    unsigned long long v = std::strtoull(b, &e, base);
    if (errno != 0 || e == b || *e != '\0') return false;
    out = v;
    return true;
}

bool parseInt(std::string_view s, long lo, long hi, int& out) {
    uint64_t v = 0;
    bool neg = !s.empty() && s[0] == '-';
    if (!parseU64(neg ? s.substr(1) : s, v)) return false;
    if (v > static_cast<uint64_t>(INT32_MAX)) return false;
    long r = neg ? -static_cast<long>(v) : static_cast<long>(v);
    if (r < lo || r > hi) return false;
    out = static_cast<int>(r);
    return true;
}

bool parseDouble(std::string_view s, double& out) {
    if (s.empty()) return false;
    const CText text(s);
    const char* b = text.c_str();
    char* e = nullptr;
    errno = 0;
    double v = std::strtod(b, &e);
    if (e == b || *e != '\0' || errno == ERANGE) return false;
    out = v;
    return true;
}

// Field i of `f` as a name: 1 to 255 characters, none of them special.
bool validName(const Fields& f, size_t i) { return f.isPlain(i) && !f[i].empty() && f[i].size() <= HAP_MAX_NAME; }

bool parseKind(std::string_view s, int& kind) {
    static const struct {
        const char* n;
        int k;
    } kinds[] = {{"U32", HAP_KIND_U32},   {"U64", HAP_KIND_U64},       {"DOUBLE", HAP_KIND_DOUBLE},
                 {"TEXT", HAP_KIND_TEXT}, {"UFIELD", HAP_KIND_UFIELD}, {"DFIELD", HAP_KIND_DFIELD}};
    for (const auto& k : kinds)
        if (s == k.n) {
            kind = k.k;
            return true;
        }
    return false;
}

bool parseParam(const Fields& f, ParamRec& p) {
    // f[0] == "param"
    if (f.size() < 5 || f.size() > 6) return false;
    if (!validName(f, 1)) return false;
    int kind = 0;
    if (!parseKind(f[2], kind)) return false;
    uint64_t count = 0;
    if (!parseU64(f[3], count) || count == 0) return false;
    const bool field = kind == HAP_KIND_UFIELD || kind == HAP_KIND_DFIELD;
    if (field ? count > HAP_MAX_FIELD_COUNT : count != 1) return false;
    int ro = 0;
    if (f[4] == "RO")
        ro = 1;
    else if (f[4] != "RW")
        return false;
    p.name.assign(f[1].data(), f[1].size());
    p.info.kind = kind;
    p.info.count = static_cast<unsigned int>(count);
    p.info.readOnly = ro;
    if (f.size() == 6) {
        const std::string_view init = f[5];
        switch (kind) {
        case HAP_KIND_U32: {
            uint64_t v = 0;
            if (!parseU64(init, v) || v > UINT32_MAX) return false;
            p.info.initialU = v;
            break;
        }
        case HAP_KIND_U64: {
            uint64_t v = 0;
            if (!parseU64(init, v)) return false;
            p.info.initialU = v;
            break;
        }
        case HAP_KIND_DOUBLE: {
            double v = 0;
            if (!parseDouble(init, v)) return false;
            p.info.initialD = v;
            break;
        }
        case HAP_KIND_TEXT:
            if (init.size() > HAP_MAX_TEXT) return false;
            p.text.assign(init.data(), init.size());
            break;
        default: {
            size_t pos = 0;
            while (pos <= init.size()) {
                size_t comma = init.find(',', pos);
                if (comma == std::string_view::npos) comma = init.size();
                const std::string_view tok = init.substr(pos, comma - pos);
                if (p.uElems.size() + p.dElems.size() >= count) return false;
                if (kind == HAP_KIND_UFIELD) {
                    uint64_t v = 0;
                    if (!parseU64(tok, v) || v > UINT32_MAX) return false;
                    p.uElems.push_back(v);
                } else {
                    double v = 0;
                    if (!parseDouble(tok, v)) return false;
                    p.dElems.push_back(v);
                }
                pos = comma + 1;
            }
            break;
        }
        }
    }
    return true;
}

// True when no two of `items` are equal.
template <class T>
bool distinct(std::vector<T>& items) {
    std::sort(items.begin(), items.end());
    return std::adjacent_find(items.begin(), items.end()) == items.end();
}

// Parses a manifest held in [data, data + size). Returns NULL when it is not a
// complete, well-formed manifest; else the design, and in `used` the size of
// the manifest up to and including its "end" line (nothing after it is looked
// at). Lines and fields are looked at in place; names are checked for
// repeats once the whole manifest has been read.
std::shared_ptr<Design> parseDesign(const char* data, size_t size, size_t& used) {
    if (data == nullptr || size == 0) return nullptr;
    auto d = std::make_shared<Design>();
    std::vector<std::string_view> paramNames, eventNames, regNames;
    std::vector<int> regNumbers;
    size_t pos = 0;
    bool first = true;
    bool ended = false;
    while (pos < size) {
        const void* nlp = std::memchr(data + pos, '\n', size - pos);
        if (nlp == nullptr) return nullptr;  // no complete line: truncated
        const size_t nl = static_cast<size_t>(static_cast<const char*>(nlp) - data);
        size_t len = nl - pos;
        if (len > kMaxLine) return nullptr;
        if (std::memchr(data + pos, '\0', len) != nullptr) return nullptr;
        std::string_view line(data + pos, len);
        pos = nl + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (first) {
            if (line != HAP_MAGIC_LINE) return nullptr;
            first = false;
            continue;
        }
        size_t s = line.find_first_not_of(" \t");
        if (s == std::string_view::npos || line[s] == '#') continue;
        const Fields head = splitFields(line);
        const std::string_view kw = head[0];
        if (kw == "end") {
            if (head.size() != 1) return nullptr;
            ended = true;
            used = pos;
            break;
        } else if (kw == "design") {
            if (head.size() != 2 || !validName(head, 1)) return nullptr;
            d->name.assign(head[1].data(), head[1].size());
        } else if (kw == "param") {
            const Fields f = limitFields(head, line, 6);
            ParamRec p;
            if (!parseParam(f, p)) return nullptr;
            paramNames.push_back(f[1]);
            d->params.push_back(std::move(p));
        } else if (kw == "event") {
            if (head.size() != 4) return nullptr;
            EventRec e;
            int kind = 0;
            if (!parseInt(head[1], 0, HAP_MAX_EVENT_INDEX, e.index)) return nullptr;
            if (!parseInt(head[2], 0, 255, kind)) return nullptr;
            if (!validName(head, 3)) return nullptr;
            e.name.assign(head[3].data(), head[3].size());
            e.ev.kind = kind;
            eventNames.push_back(head[3]);
            if (static_cast<size_t>(e.index) >= d->eventSlot.size())
                d->eventSlot.resize(static_cast<size_t>(e.index) + 1, -1);
            if (d->eventSlot[static_cast<size_t>(e.index)] != -1) return nullptr;
            d->eventSlot[static_cast<size_t>(e.index)] = static_cast<int>(d->events.size());
            d->events.push_back(std::move(e));
        } else if (kw == "register") {
            if (head.size() != 5) return nullptr;
            RegRec r;
            if (!parseInt(head[1], 1, HAP_MAX_REGISTER_NUMBER, r.info.number)) return nullptr;
            if (!validName(head, 2)) return nullptr;
            if (!parseInt(head[3], 1, 64, r.info.bits)) return nullptr;
            if (!parseInt(head[4], 0, 2, r.info.direction)) return nullptr;
            r.name.assign(head[2].data(), head[2].size());
            regNames.push_back(head[2]);
            regNumbers.push_back(r.info.number);
            d->regs.push_back(std::move(r));
        } else {
            return nullptr;
        }
    }
    if (!ended) return nullptr;
    if (!distinct(paramNames) || !distinct(eventNames) || !distinct(regNames) || !distinct(regNumbers)) return nullptr;
    // Fix the public records' pointers now that no container grows any more.
    for (ParamRec& p : d->params) {
        p.info.name = p.name.c_str();
        p.info.initialText = p.text.c_str();
        if (p.info.kind == HAP_KIND_UFIELD) {
            p.info.nrOfInitialElements = static_cast<unsigned int>(p.uElems.size());
            p.info.initialUElements = p.uElems.empty() ? nullptr : p.uElems.data();
        } else if (p.info.kind == HAP_KIND_DFIELD) {
            p.info.nrOfInitialElements = static_cast<unsigned int>(p.dElems.size());
            p.info.initialDElements = p.dElems.empty() ? nullptr : p.dElems.data();
        }
    }
    for (EventRec& e : d->events) e.ev.name = e.name.c_str();
    for (RegRec& r : d->regs) r.info.name = r.name.c_str();
    return d;
}

// Designs already parsed, by manifest: a board opened again with the same
// design image (the usual case: every board of an applet loads the image
// embedded in it) shares the parsed design instead of parsing it again. The
// answer depends on nothing but the manifest, so a buffer that begins with
// a remembered manifest has that design. A few manifests of bounded size are
// remembered, the most recently used first.
class DesignCache {
public:
    std::shared_ptr<const Design> load(const char* data, size_t size) {
        if (data == nullptr || size == 0) return nullptr;
        {
            std::lock_guard<std::mutex> hold(lock_);
            for (auto it = entries_.begin(); it != entries_.end(); ++it) {
                if (size < it->manifest.size() || std::memcmp(data, it->manifest.data(), it->manifest.size()) != 0)
                    continue;
                std::rotate(entries_.begin(), it, it + 1);
                return entries_.front().design;
            }
        }
        size_t used = 0;
        std::shared_ptr<const Design> d = parseDesign(data, size, used);
        if (d && used <= kMaxRemembered) {
            Entry e{std::string(data, used), d};
            std::lock_guard<std::mutex> hold(lock_);
            if (entries_.size() == kEntries) entries_.pop_back();
            entries_.insert(entries_.begin(), std::move(e));
        }
        return d;
    }

private:
    static constexpr size_t kEntries = 4;
    static constexpr size_t kMaxRemembered = 4u << 20;
    struct Entry {
        std::string manifest;
        std::shared_ptr<const Design> design;
    };
    std::mutex lock_;
    std::vector<Entry> entries_;
};

DesignCache& designCache() {
    static DesignCache* cache = new DesignCache;  // never destroyed: handles may outlive static destruction
    return *cache;
}

fpga_design* loadDesign(const char* data, size_t size) {
    std::shared_ptr<const Design> d = designCache().load(data, size);
    if (!d) return nullptr;
    fpga_design* h = new (std::nothrow) fpga_design;
    if (h) h->design = std::move(d);
    return h;
}

const RegRec* findRegister(const Design* d, int number) {
    for (const RegRec& r : d->regs)
        if (r.info.number == number) return &r;
    return nullptr;
}

}  // namespace

extern "C" {

PLATFORM_EXPORT fpga_design* HapLoadDesignFromBuffer(const void* data, uint32_t size, int /*flags*/) {
    try {
        return loadDesign(static_cast<const char*>(data), size);
    } catch (...) {
        return nullptr;
    }
}

PLATFORM_EXPORT fpga_design* HapLoadHapFileWithType(const char* file, int /*type*/, int /*flags*/) {
    if (file == nullptr || *file == '\0') return nullptr;
    FILE* fp = std::fopen(file, "rb");
    if (fp == nullptr) return nullptr;
    fpga_design* d = nullptr;
    try {
        std::vector<char> buf;
        char chunk[65536];
        size_t n;
        bool tooBig = false;
        while ((n = std::fread(chunk, 1, sizeof chunk, fp)) > 0) {
            if (buf.size() + n > static_cast<size_t>(kMaxFileSize)) {
                tooBig = true;
                break;
            }
            buf.insert(buf.end(), chunk, chunk + n);
        }
        if (!tooBig && !std::ferror(fp)) d = loadDesign(buf.data(), buf.size());
    } catch (...) {
        d = nullptr;
    }
    std::fclose(fp);
    return d;
}

PLATFORM_EXPORT void HapUnloadHapFile(fpga_design* handle) {
    if (designOf(handle) == nullptr) return;
    handle->magic = 0;
    delete handle;
}

PLATFORM_EXPORT const HapEvent* HapGetEvent(fpga_design* handle, int index) {
    const Design* design = designOf(handle);
    if (design == nullptr || index < 0 || static_cast<size_t>(index) >= design->eventSlot.size()) return nullptr;
    int slot = design->eventSlot[static_cast<size_t>(index)];
    return slot < 0 ? nullptr : &design->events[static_cast<size_t>(slot)].ev;
}

PLATFORM_EXPORT int HapGetNrOfRegister(fpga_design* handle) {
    const Design* design = designOf(handle);
    return design != nullptr ? static_cast<int>(design->regs.size()) : 0;
}

PLATFORM_EXPORT const char* HapGetRegisterName(fpga_design* handle, int position) {
    const Design* design = designOf(handle);
    if (design == nullptr || position < 1 || static_cast<size_t>(position) > design->regs.size()) return nullptr;
    return design->regs[static_cast<size_t>(position) - 1].info.name;
}

PLATFORM_EXPORT int HapGetRegisterByName(fpga_design* handle, const char* name) {
    const Design* design = designOf(handle);
    if (design == nullptr || name == nullptr) return 0;
    for (const RegRec& r : design->regs)
        if (r.name == name) return r.info.number;
    return 0;
}

PLATFORM_EXPORT int HapGetRegisterBitRange(fpga_design* handle, int reg) {
    const Design* design = designOf(handle);
    if (design == nullptr) return 0;
    const RegRec* r = findRegister(design, reg);
    return r ? r->info.bits : 0;
}

PLATFORM_EXPORT int HapGetRegisterDirection(fpga_design* handle, int reg) {
    const Design* design = designOf(handle);
    if (design == nullptr) return -1;
    const RegRec* r = findRegister(design, reg);
    return r ? r->info.direction : -1;
}

PLATFORM_EXPORT int HapGetNrOfParameter(fpga_design* handle) {
    const Design* design = designOf(handle);
    return design != nullptr ? static_cast<int>(design->params.size()) : 0;
}

PLATFORM_EXPORT const HapParameterInfo* HapGetParameter(fpga_design* handle, int i) {
    const Design* design = designOf(handle);
    if (design == nullptr || i < 0 || static_cast<size_t>(i) >= design->params.size()) return nullptr;
    return &design->params[static_cast<size_t>(i)].info;
}

PLATFORM_EXPORT const HapRegisterInfo* HapGetRegisterInfo(fpga_design* handle, int position) {
    const Design* design = designOf(handle);
    if (design == nullptr || position < 1 || static_cast<size_t>(position) > design->regs.size()) return nullptr;
    return &design->regs[static_cast<size_t>(position) - 1].info;
}

PLATFORM_EXPORT const char* HapGetDesignName(fpga_design* handle) {
    const Design* design = designOf(handle);
    return design != nullptr ? design->name.c_str() : nullptr;
}

PLATFORM_EXPORT int HapGetEventRange(fpga_design* handle) {
    const Design* design = designOf(handle);
    return design != nullptr ? static_cast<int>(design->eventSlot.size()) : 0;
}

}  // extern "C"
