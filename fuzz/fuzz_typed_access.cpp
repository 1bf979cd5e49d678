// The typed parameter interface with arbitrary requests: identity (the
// applet's own parameters, the direct register range, the host range, the
// description query, any number), port, type selector and value bytes, also
// field-access records with arbitrary element type, index and count, reads
// and writes, on two boards: one plain, one with direct register access and
// direct QOR access switched on. Between the requests, the other exports that
// take names, indices and masks.
//
// Properties beyond "no crash, no leak, no undefined behaviour":
//  - every typed access leaves its own result in the error store;
//  - a field-access record is only ever accessed within the elements it
//    describes (the element memory is allocated to exactly that size, so
//    AddressSanitizer sees any access beyond it).
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fg_param_ids.h"
#include "fuzz_support.h"
#include "fuzz_typed_call.h"

namespace {

const int kMaxRequests = 12;
const size_t kValueBuffer = 8192;
const size_t kMaxValueBytes = 4096;
const unsigned kMaxFieldElements = 4096;

const FgParamTypes kTypes[] = {
    FG_PARAM_TYPE_INVALID,
    FG_PARAM_TYPE_INT32_T,
    FG_PARAM_TYPE_UINT32_T,
    FG_PARAM_TYPE_INT64_T,
    FG_PARAM_TYPE_UINT64_T,
    FG_PARAM_TYPE_DOUBLE,
    FG_PARAM_TYPE_CHAR_PTR,
    FG_PARAM_TYPE_SIZE_T,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMINT,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMINT64,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE,
    FG_PARAM_TYPE_COMPLEX_DATATYPE,
    FG_PARAM_TYPE_AUTO,
};
// Host-level identities the host range reaches.
const int kHostIds[] = {600, 601, 3050, 3060, 3070, 3080, 3090, 5210, 24092};
// Identities of the applet's file parameters (lookup-table file to load, to save).
const int kLutCustomFile = 300000;
const int kLutSaveFile = 110021;
const int kDesignIdBase = 1048576;

struct Board {
    Fg_Struct* fg = nullptr;
    std::vector<int> ids;  // the exported identities
};

Board* boards() {
    static Board b[2];
    static bool opened = false;
    if (!opened) {
        opened = true;
        b[0].fg = orvfuzz::openBoard(false, false);
        b[1].fg = orvfuzz::openBoard(true, true);
        for (Board& x : b) {
            const int n = Fg_getNrOfParameter(x.fg);
            for (int i = 0; i < n; ++i) x.ids.push_back(Fg_getParameterId(x.fg, i));
        }
    }
    return b;
}

// ORV_FUZZ_TRACE set: every request is printed (to follow a finding).
bool trace() {
    static const bool on = std::getenv("ORV_FUZZ_TRACE") != nullptr;
    return on;
}

size_t elementSize(int32_t t) {
    switch (t) {
    case FG_PARAM_TYPE_INT32_T:
    case FG_PARAM_TYPE_UINT32_T:
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: return 4;
    default: return 8;
    }
}

int pickIdentity(FuzzedDataProvider& in, const Board& b) {
    switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0: return b.ids.empty() ? 0 : b.ids[in.ConsumeIntegral<uint16_t>() % b.ids.size()];
    case 1: return FG_DRA_ID_BASE + in.ConsumeIntegralInRange<int>(-2, 400);
    case 2:
        if (in.ConsumeBool()) return FG_DQORA_ID_BASE + kDesignIdBase + in.ConsumeIntegralInRange<int>(-2, 200);
        return FG_DQORA_ID_BASE +
               kHostIds[in.ConsumeIntegralInRange<size_t>(0, sizeof kHostIds / sizeof kHostIds[0] - 1)];
    case 3: return FG_PARAMETER_DESCRIPTION_QUERY;
    default: return in.ConsumeIntegral<int32_t>();
    }
}

// The name a file parameter gets: one of a few files of the scratch
// directory (one holding the input's own bytes), or the input's text kept
// inside that directory.
std::string fileName(FuzzedDataProvider& in, const std::string& text) {
    switch (in.ConsumeIntegralInRange<int>(0, 4)) {
    case 0: return "";
    case 1: return orvfuzz::scratchPath("table.lut");
    case 2: return orvfuzz::scratchPath("missing.lut");
    case 3: return orvfuzz::scratchPath("saved.lut");
    default: {
        std::string confined = text.substr(0, 200);
        orvfuzz::confine(confined);
        return orvfuzz::scratchPath("n_" + confined);
    }
    }
}

void request(FuzzedDataProvider& in) {
    Board& b = boards()[in.ConsumeBool() ? 1 : 0];
    const bool write = in.ConsumeBool();
    const int id = pickIdentity(in, b);
    const unsigned port = in.ConsumeBool() ? in.ConsumeIntegralInRange<unsigned>(0, 1) : in.ConsumeIntegral<unsigned>();
    // The selector as the number a caller passes: one of the named types or
    // any 32-bit value.
    int32_t type;
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        type = in.ConsumeIntegral<int32_t>();
    } else {
        type = kTypes[in.ConsumeIntegralInRange<size_t>(0, sizeof kTypes / sizeof kTypes[0] - 1)];
    }

    std::vector<char> value(kValueBuffer, 0);
    std::vector<unsigned char> elements;
    FieldParameterAccess record;
    std::memset(&record, 0, sizeof record);
    void* arg = value.data();

    if (type == int32_t(FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)) {
        // A record is what this type promises; its elements get exactly the
        // memory the record describes.
        // Element types from the named ones; a record's own field is set
        // with the bytes a C caller would leave there.
        if (in.ConsumeBool()) {
            record.vtype = kTypes[in.ConsumeIntegralInRange<size_t>(0, 13)];
        } else {
            const int32_t raw = in.ConsumeIntegral<int32_t>();
            std::memcpy(&record.vtype, &raw, sizeof raw);
        }
        record.index = in.ConsumeBool() ? in.ConsumeIntegralInRange<unsigned>(0, 4100) : in.ConsumeIntegral<unsigned>();
        record.count = in.ConsumeBool() ? in.ConsumeIntegralInRange<unsigned>(0, 4100) : in.ConsumeIntegral<unsigned>();
        const unsigned n = record.count < kMaxFieldElements ? record.count : kMaxFieldElements;
        int32_t vtype;
        std::memcpy(&vtype, &record.vtype, sizeof vtype);
        elements = in.ConsumeBytes<unsigned char>(n * elementSize(vtype));
        elements.resize(n * elementSize(vtype));
        record.ptr = elements.empty() ? nullptr : elements.data();
        if (in.ConsumeIntegralInRange<int>(0, 15) == 0) record.ptr = nullptr;
        // The record sits at the start of the value buffer: a parameter that
        // takes a text whatever the selector says still finds room (and an
        // end mark) there, as the caller of such a parameter must give.
        std::memcpy(value.data(), &record, sizeof record);
    } else {
        switch (in.ConsumeIntegralInRange<int>(0, 6)) {
        case 0: arg = nullptr; break;
        case 1:
        case 2: {
            // A text, for the file parameters a name inside the scratch directory.
            std::string text = in.ConsumeRandomLengthString(kMaxValueBytes);
            if (id == kLutCustomFile || id == kLutSaveFile) text = fileName(in, text);
            std::memcpy(value.data(), text.data(), text.size() < kMaxValueBytes ? text.size() : kMaxValueBytes);
            break;
        }
        default: {
            const std::vector<unsigned char> bytes =
                in.ConsumeBytes<unsigned char>(in.ConsumeIntegralInRange<size_t>(0, 16));
            if (!bytes.empty()) std::memcpy(value.data(), bytes.data(), bytes.size());
            if (id == kLutCustomFile || id == kLutSaveFile) {
                const std::string name = fileName(in, std::string(bytes.begin(), bytes.end()));
                std::memset(value.data(), 0, 64);
                std::memcpy(value.data(), name.c_str(), name.size() + 1);
            }
            break;
        }
        }
    }

    const int rc = write ? orvFuzzSetTyped(b.fg, id, arg, port, type) : orvFuzzGetTyped(b.fg, id, arg, port, type);
    const int stored = Fg_getLastErrorNumber(b.fg);
    if (trace()) {
        int32_t vtype;
        std::memcpy(&vtype, &record.vtype, sizeof vtype);
        std::fprintf(stderr, "%s board %d id %d port %u type %d%s -> %d\n", write ? "set" : "get",
                     &b == &boards()[1] ? 1 : 0, id, port, type,
                     type == int32_t(FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)
                         ? (" record vtype " + std::to_string(vtype) + " index " + std::to_string(record.index) +
                            " count " + std::to_string(record.count))
                               .c_str()
                         : "",
                     rc);
    }
    ORV_FUZZ_CHECK(stored == rc, "%s of %d port %u type %d answered %d but stored %d", write ? "write" : "read", id,
                   port, type, rc, stored);
}

// The exports that take names, indices, masks and ports.
void otherExports(FuzzedDataProvider& in) {
    Board& b = boards()[in.ConsumeBool() ? 1 : 0];
    const std::string text = in.ConsumeRandomLengthString(300);
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
    case 0: Fg_getParameterIdByName(b.fg, text.c_str()); break;
    case 1: {
        const char* name = Fg_getParameterName(b.fg, in.ConsumeIntegral<int>());
        if (name) ORV_FUZZ_CHECK(std::strlen(name) < 4096, "parameter name without end");
        Fg_getParameterId(b.fg, in.ConsumeIntegral<int>());
        break;
    }
    case 2:
        Fg_getEventMask(b.fg, text.c_str());
        Fg_getEventName(b.fg, in.ConsumeIntegral<uint64_t>());
        break;
    case 3: Fg_getParameterInfo(b.fg, in.ConsumeIntegral<int>()); break;
    case 4: {
        // Only the size: building the document is the slow part.
        size_t size = 0;
        Fg_getParameterInfoXML(b.fg, in.ConsumeIntegralInRange<int>(-2, 3), nullptr, &size);
        break;
    }
    default: {
        // A buffer far too small for the document of a port.
        size_t size = in.ConsumeIntegralInRange<size_t>(0, 64);
        const size_t given = size;
        std::vector<char> small(size + 1);
        const int rc = Fg_getParameterInfoXML(b.fg, in.ConsumeIntegralInRange<int>(0, 1), small.data(), &size);
        ORV_FUZZ_CHECK(rc == FG_ERR_BUFFER_TOO_SMALL && size == given, "a %zu-byte buffer: %d, size %zu", given, rc,
                       size);
        break;
    }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    boards();
    const std::string table =
        "# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=4;\nformat=0;\nnumber=0;\n"
        "0,10;\n1,4095;\n2,4096;\n3,-1;\n";
    orvfuzz::writeFile(orvfuzz::scratchPath("table.lut"), table.data(), table.size());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    for (int i = 0; i < kMaxRequests && in.remaining_bytes() > 0; ++i) {
        if (in.ConsumeIntegralInRange<int>(0, 9) == 0)
            otherExports(in);
        else
            request(in);
    }
    orvfuzz::cleanScratch("table.lut");
    return 0;
}
