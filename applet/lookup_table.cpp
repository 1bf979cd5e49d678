// The lookup table of each port: the table computed from the processing
// parameters (offset, gain, gamma, invert), tables loaded from and saved to
// ".lut" files, and direct writes and reads of table entries.
//
// cache_FG_LUT_VALUE of a port is the table as last written to the design.
// Whenever the whole table changes it is sent in a single field write of all
// 4096 entries; direct range writes send only the range given. A failing
// design write leaves the cached table as it was before the call.
#include <cmath>
#include <cstring>
#include <string>

#include "AppletWrapper.h"
#include "Fg_LutFileParser.h"

namespace {

// The table comes from a file (LUT_TYPE_CUSTOM) or from the processing parameters (LUT_TYPE_PROCESSING).
const uint32_t kLutTypeCustom = sdk::value(sdk::AcqLutTypes::LUT_TYPE_CUSTOM);
const uint32_t kLutTypeProcessing = sdk::value(sdk::AcqLutTypes::LUT_TYPE_PROCESSING);
const uint32_t kLutBits = 12;
const uint32_t kLutMaxValue = catalogue::FG_LUT_VALUE::to;
const char kLutSection[] = "[gray]";
// Descriptor values the table files of this applet carry.
const unsigned int kLutFileId = 3;
const unsigned int kLutFileFormat = 0;
const unsigned char kLutFileNumber = 0;

// pow(...) * max + 0.5 truncated toward zero to a signed 32-bit integer; a
// result beyond that range is limited to it. NaN gives 0.
int64_t truncateToInt32(double v) {
    if (std::isnan(v)) return 0;
    if (v >= 2147483648.0) return INT32_MAX;
    if (v <= -2147483649.0) return INT32_MIN;
    return static_cast<int32_t>(v);
}

// Computes a table of 2^bits_in entries: entry i is
//   ((i / max_in + offset) * gain) ^ (1 / gamma) * max_out + 0.5, truncated,
// 0 where the base is negative, mirrored (max_out - entry) when inverted, and
// finally limited to 0 .. max_out.
void computeLut(uint32_t* cache, uint32_t bits_in, uint32_t bits_out, double gain, double gamma, double offset,
                uint32_t invert) {
    const uint32_t entries = 1u << bits_in;
    const double maxIn = static_cast<double>(entries - 1);
    const int64_t maxOut = (int64_t(1) << bits_out) - 1;
    const double maxOutD = static_cast<double>(maxOut);
    const double exponent = 1.0 / gamma;
    // pow(x, 1) is x exactly: the usual gamma of 1 needs no power at all.
    const bool identity = exponent == 1.0;
    for (uint32_t i = 0; i < entries; ++i) {
        const double base = (i / maxIn + offset) * gain;
        int64_t entry = 0;
        if (!(base < 0)) entry = truncateToInt32((identity ? base : std::pow(base, exponent)) * maxOutD + 0.5);
        if (invert == sdk::value(sdk::OnOff::FG_ON)) entry = maxOut - entry;
        if (entry < 0) entry = 0;
        if (entry > maxOut) entry = maxOut;
        cache[i] = static_cast<uint32_t>(entry);
    }
}

// computeLut(), except that the table of the start-up processing values
// (gain 1, gamma 1, offset 0, no inversion), which every port of every board
// computes when it opens, is computed once and then copied.
void calculateLutCache(uint32_t* cache, uint32_t bits_in, uint32_t bits_out, double gain, double gamma, double offset,
                       uint32_t invert) {
    if (bits_in == kLutBits && bits_out == kLutBits && gain == 1.0 && gamma == 1.0 && offset == 0.0 && invert == 0) {
        struct Table {
            uint32_t entries[kLutSize];
        };
        static const Table startup = [] {
            Table t;
            computeLut(t.entries, kLutBits, kLutBits, 1.0, 1.0, 0.0, 0);
            return t;
        }();
        std::memcpy(cache, startup.entries, sizeof startup.entries);
        return;
    }
    computeLut(cache, bits_in, bits_out, gain, gamma, offset, invert);
}

// Sends the port's whole cached table to the design in one field write.
void writeWholeTable(FgQorWrapperImpl& applet, int port) {
    FieldParameterAccess record;
    std::memset(&record, 0, sizeof record);
    record.vtype = FG_PARAM_TYPE_UINT32_T;
    record.index = 0;
    record.count = kLutSize;
    record.p_uint32_t = applet.port_[port].cache_FG_LUT_VALUE;
    applet.designWrite(applet.qorPort(port, DP_LookupTable_LookupTable_LUTcontent), &record, port,
                       FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
}

// Runs `change` (which may rewrite the cached table and the design); if it
// raises an error code, the cached table is put back as it was and the code
// passes on. Never inlined: its 16 KB copy stays in a frame of its own
// instead of joining the frame of the typed access that calls the handler.
template <class Change>
[[gnu::noinline]] void keepTableOnFailure(PortState& state, Change&& change) {
    uint32_t saved[kLutSize];
    std::memcpy(saved, state.cache_FG_LUT_VALUE, sizeof saved);
    try {
        change();
    } catch (int) {
        std::memcpy(state.cache_FG_LUT_VALUE, saved, sizeof saved);
        throw;
    }
}

// In processing mode: recompute the table from the cached processing
// parameters and write it. Other modes: nothing.
void updateLutProcessing(FgQorWrapperImpl& applet, int port) {
    PortState& s = applet.port_[port];
    if (s.cache_FG_LUT_TYPE != kLutTypeProcessing) return;
    calculateLutCache(s.cache_FG_LUT_VALUE, kLutBits, kLutBits, s.cache_FG_PROCESSING_GAIN, s.cache_FG_PROCESSING_GAMMA,
                      s.cache_FG_PROCESSING_OFFSET, s.cache_FG_PROCESSING_INVERT);
    writeWholeTable(applet, port);
}

// In user-file mode with a non-empty name: read the table from the file and
// write it. Entries the file does not provide keep their values.
void loadLutFile(FgQorWrapperImpl& applet, int port, const char* name) {
    PortState& s = applet.port_[port];
    if (s.cache_FG_LUT_TYPE != kLutTypeCustom || name == nullptr || name[0] == '\0') return;

    Fg_LutFileParser parser;
    if (!parser.checkFileExist(name)) throw int(FG_ERR_FILE_NOT_FOUND);

    LookupTable table;
    table.lut = nullptr;
    table.id = kLutFileId;
    table.nrOfElements = kLutSize;
    table.format = kLutFileFormat;
    table.number = kLutFileNumber;
    if (parser.getLutFromFile(name, &table, kLutSection) != 0) {
        Fg_LutFileParser::releaseLut(&table);
        throw int(FG_ERR_FILE_ACCESS);
    }
    uint32_t n = table.nrOfElements < uint32_t(kLutSize) ? table.nrOfElements : uint32_t(kLutSize);
    if (table.lut == nullptr) n = 0;
    for (uint32_t i = 0; i < n; ++i) s.cache_FG_LUT_VALUE[i] = table.lut[i];
    Fg_LutFileParser::releaseLut(&table);
    writeWholeTable(applet, port);
}

// Writes the port's cached table to the named file.
void saveLutFile(FgQorWrapperImpl& applet, int port, const char* name) {
    LookupTable table;
    table.lut = applet.port_[port].cache_FG_LUT_VALUE;
    table.id = kLutFileId;
    table.nrOfElements = kLutSize;
    table.format = kLutFileFormat;
    table.number = kLutFileNumber;
    Fg_LutFileParser parser;
    if (parser.saveLutToFile(name, &table) != 0) throw int(FG_ERR_FILE_ACCESS);
}

// The common steps of the four processing parameters once the value passed
// its check: cache it, and in processing mode recompute and write the table;
// on failure the parameter and the cached table are put back.
template <class T>
void setProcessingValue(FgQorWrapperImpl& applet, int port, T& cache, T value, bool throwOnError) {
    PortState& s = applet.port_[port];
    FgQorWrapperImpl::commit(cache, value, throwOnError,
                             [&] { keepTableOnFailure(s, [&] { updateLutProcessing(applet, port); }); });
}

void copyText(char* out, const std::string& text) {
    if (out == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    std::memcpy(out, text.c_str(), text.size() + 1);
}

// The element type a caller's access record names, as the number it is: a C
// caller may leave any value there, and one the enumeration cannot hold must
// not be read as an FgParamTypes.
int32_t elementType(const FieldParameterAccess* record) {
    int32_t code;
    std::memcpy(&code, &record->vtype, sizeof code);
    return code;
}

bool isLutElementType(int32_t t) {
    return t == FG_PARAM_TYPE_INT32_T || t == FG_PARAM_TYPE_UINT32_T || t == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT;
}

}  // namespace

// ---- LUT type ----

void FgQorWrapperImpl::set_FG_LUT_TYPE(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::AcqLutTypes.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    PortState& s = port_[port];
    commit(s.cache_FG_LUT_TYPE, value, throwOnError, [&] {
        keepTableOnFailure(s, [&] {
            if (value == kLutTypeCustom)
                loadLutFile(*this, port, s.cache_FG_LUT_CUSTOM_FILE.c_str());
            else
                updateLutProcessing(*this, port);
        });
        const bool processing = value == kLutTypeProcessing;
        const int fileAccess = processing ? FG_PARAM_ACCESS_READ_ONLY : FG_PARAM_ACCESS_READ_WRITE;
        const int processingAccess = processing ? FG_PARAM_ACCESS_READ_WRITE : FG_PARAM_ACCESS_READ_ONLY;
        setAccess(port, FG_LUT_CUSTOM_FILE, fileAccess);
        setAccess(port, FG_PROCESSING_GAIN, processingAccess);
        setAccess(port, FG_PROCESSING_GAMMA, processingAccess);
        setAccess(port, FG_PROCESSING_OFFSET, processingAccess);
        setAccess(port, FG_PROCESSING_INVERT, processingAccess);
    });
}

void FgQorWrapperImpl::get_FG_LUT_TYPE(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_LUT_TYPE); }

// ---- processing parameters ----

void FgQorWrapperImpl::set_FG_PROCESSING_OFFSET(int port, double value, bool throwOnError) {
    if (value < catalogue::FG_PROCESSING_OFFSET::from || value > catalogue::FG_PROCESSING_OFFSET::to) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    setProcessingValue(*this, port, port_[port].cache_FG_PROCESSING_OFFSET, value, throwOnError);
}

void FgQorWrapperImpl::set_FG_PROCESSING_GAIN(int port, double value, bool throwOnError) {
    if (value < catalogue::FG_PROCESSING_GAIN::from || value > catalogue::FG_PROCESSING_GAIN::to) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    setProcessingValue(*this, port, port_[port].cache_FG_PROCESSING_GAIN, value, throwOnError);
}

void FgQorWrapperImpl::set_FG_PROCESSING_GAMMA(int port, double value, bool throwOnError) {
    if (value < catalogue::FG_PROCESSING_GAMMA::from || value > catalogue::FG_PROCESSING_GAMMA::to) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    setProcessingValue(*this, port, port_[port].cache_FG_PROCESSING_GAMMA, value, throwOnError);
}

void FgQorWrapperImpl::set_FG_PROCESSING_INVERT(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::OnOff.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    setProcessingValue(*this, port, port_[port].cache_FG_PROCESSING_INVERT, value, throwOnError);
}

void FgQorWrapperImpl::get_FG_PROCESSING_OFFSET(int port, double* value) {
    readCache(value, port_[port].cache_FG_PROCESSING_OFFSET);
}
void FgQorWrapperImpl::get_FG_PROCESSING_GAIN(int port, double* value) {
    readCache(value, port_[port].cache_FG_PROCESSING_GAIN);
}
void FgQorWrapperImpl::get_FG_PROCESSING_GAMMA(int port, double* value) {
    readCache(value, port_[port].cache_FG_PROCESSING_GAMMA);
}
void FgQorWrapperImpl::get_FG_PROCESSING_INVERT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_PROCESSING_INVERT);
}

// ---- table files ----

void FgQorWrapperImpl::set_FG_LUT_CUSTOM_FILE(int port, const char* value, bool throwOnError) {
    if (value == nullptr) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    PortState& s = port_[port];
    const std::string name(value);
    commit(s.cache_FG_LUT_CUSTOM_FILE, name, throwOnError,
           [&] { keepTableOnFailure(s, [&] { loadLutFile(*this, port, name.c_str()); }); });
}

void FgQorWrapperImpl::get_FG_LUT_CUSTOM_FILE(int port, char* value) {
    copyText(value, port_[port].cache_FG_LUT_CUSTOM_FILE);
}

void FgQorWrapperImpl::set_FG_LUT_SAVE_FILE(int port, const char* value, bool throwOnError) {
    if (value == nullptr) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    const std::string name(value);
    commit(port_[port].cache_FG_LUT_SAVE_FILE, name, throwOnError, [&] {
        if (!name.empty()) saveLutFile(*this, port, name.c_str());
    });
}

void FgQorWrapperImpl::get_FG_LUT_SAVE_FILE(int port, char* value) {
    copyText(value, port_[port].cache_FG_LUT_SAVE_FILE);
}

// ---- direct access to table entries ----

// A range of entries: checked, cached, and the caller's record itself sent to
// the design (only the given range).
// Never inlined, like keepTableOnFailure: the 16 KB copy below stays in its own frame.
[[gnu::noinline]] void FgQorWrapperImpl::set_FG_LUT_VALUE(int port, const FieldParameterAccess* value,
                                                          bool throwOnError) {
    if (value == nullptr || value->index >= uint32_t(kLutSize) || value->count > uint32_t(kLutSize) ||
        value->index > uint32_t(kLutSize) - value->count) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    if (!isLutElementType(elementType(value)) || (value->count > 0 && value->ptr == nullptr)) {
        reject(FG_ERR_INVALID_PARAMETER, throwOnError);
        return;
    }
    for (uint32_t k = 0; k < value->count; ++k) {
        if (value->p_uint32_t[k] > kLutMaxValue) {
            reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
            return;
        }
    }

    // The field-cache helpers copy by the record's element type: the 32-bit
    // types copy, an element-record type (FIELDPARAMINT) copies nothing, so
    // the cache then keeps its entries while the design gets the record.
    uint32_t* cache = port_[port].cache_FG_LUT_VALUE;
    uint32_t saved[kLutSize];
    FieldParameterAccess previous = *value;
    previous.p_uint32_t = saved;
    getFieldCache(cache, &previous);
    setFieldCache(cache, value);
    try {
        designWrite(qorPort(port, DP_LookupTable_LookupTable_LUTcontent), value, port,
                    FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
    } catch (int) {
        setFieldCache(cache, &previous);
        if (throwOnError) throw;
    }
}

// A range of entries from the cached table, in the element type the record names.
void FgQorWrapperImpl::get_FG_LUT_VALUE(int port, FieldParameterAccess* value) {
    if (value == nullptr || value->index >= uint32_t(kLutSize) || value->count > uint32_t(kLutSize) ||
        value->index > uint32_t(kLutSize) - value->count)
        throw int(FG_ERR_INVALID_PARAMETER);
    if (value->count == 0) return;
    if (value->ptr == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    const uint32_t* from = port_[port].cache_FG_LUT_VALUE + value->index;
    const uint32_t n = value->count;
    switch (elementType(value)) {
    case FG_PARAM_TYPE_INT32_T:
    case FG_PARAM_TYPE_UINT32_T:
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: std::memcpy(value->p_uint32_t, from, n * sizeof(uint32_t)); break;
    case FG_PARAM_TYPE_INT64_T:
    case FG_PARAM_TYPE_UINT64_T:
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT64:
        for (uint32_t k = 0; k < n; ++k) value->p_uint64_t[k] = from[k];
        break;
    case FG_PARAM_TYPE_DOUBLE:
        for (uint32_t k = 0; k < n; ++k) value->p_double[k] = from[k];
        break;
    default: throw int(FG_ERR_INVALID_PARAMETER);
    }
}

// One entry from the cached table.
void FgQorWrapperImpl::get_FG_LUT_VALUE(int port, FieldParameterInt* value) {
    if (value == nullptr || value->index >= uint32_t(kLutSize)) throw int(FG_ERR_INVALID_PARAMETER);
    getFieldCache(port_[port].cache_FG_LUT_VALUE, value);
}
