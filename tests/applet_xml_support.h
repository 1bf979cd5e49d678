// Test support for the applet's own GenApi descriptions: a port's document
// through the export, its registry records as the host sees them, the
// catalogue's categories in document order, and a small XML reader (elements,
// attributes, text, the five predefined entities) that needs no library.
#ifndef ORV_TESTS_APPLET_XML_SUPPORT_H
#define ORV_TESTS_APPLET_XML_SUPPORT_H

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fg_applet.h"
#include "fg_types.h"
#include "sim_board.h"

namespace orvxml {

// ---- the catalogue's categories -------------------------------------------

struct CategoryFeatures {
    const char* category;
    std::vector<const char*> features;
};

// The categories under "Root" in order, each with its features in order. The
// parameters appear in the document in the same order, category after
// category: top-level groups newest first, nested groups before the
// parameters of their parent group.
inline const std::vector<CategoryFeatures>& catalogueCategories() {
    static const std::vector<CategoryFeatures> categories = {
        {"Miscellaneous",
         {"FG_TIMEOUT", "FG_APPLET_VERSION", "FG_APPLET_REVISION", "FG_APPLET_ID", "FG_APPLET_BUILD_TIME",
          "FG_HAP_FILE", "FG_DMASTATUS", "FG_CAMSTATUS", "FG_CAMSTATUS_EXTENDED", "FG_SYSTEMMONITOR_FPGA_TEMPERATURE",
          "FG_SYSTEMMONITOR_FPGA_VCC_INT", "FG_SYSTEMMONITOR_FPGA_VCC_AUX", "FG_SYSTEMMONITOR_BOARD_POWER",
          "FG_SYSTEMMONITOR_CXP_CHIP_TEMPERATURE", "FG_SYSTEMMONITOR_RAM_CHIP_TEMPERATURE",
          "FG_SYSTEMMONITOR_CXP_POWER_REGULATOR_TEMPERATURE", "FG_SYSTEMMONITOR_POWER_REGULATOR_TEMPERATURE"}},
        {"CameraSimulator",
         {"FG_CAMERASIMULATOR_ENABLE", "FG_CAMERASIMULATOR_WIDTH", "FG_CAMERASIMULATOR_LINE_GAP",
          "FG_CAMERASIMULATOR_HEIGHT", "FG_CAMERASIMULATOR_FRAME_GAP", "FG_CAMERASIMULATOR_PATTERN",
          "FG_CAMERASIMULATOR_PATTERN_OFFSET", "FG_CAMERASIMULATOR_ROLL", "FG_CAMERASIMULATOR_SELECT_MODE",
          "FG_CAMERASIMULATOR_PIXEL_FREQUENCY", "FG_CAMERASIMULATOR_LINERATE", "FG_CAMERASIMULATOR_FRAMERATE",
          "FG_CAMERASIMULATOR_TRIGGER_MODE", "FG_CAMERASIMULATOR_ACTIVE", "FG_CAMERASIMULATOR_PASSIVE"}},
        {"OutputFormat", {"FG_FORMAT", "FG_BITALIGNMENT", "FG_PIXELDEPTH"}},
        {"Processing", {"FG_PROCESSING_OFFSET", "FG_PROCESSING_GAIN", "FG_PROCESSING_GAMMA", "FG_PROCESSING_INVERT"}},
        {"AppletProperties", {"FG_LUT_IMPLEMENTATION_TYPE", "FG_LUT_IN_BITS", "FG_LUT_OUT_BITS"}},
        {"LookupTable", {"FG_LUT_TYPE", "FG_LUT_CUSTOM_FILE", "FG_LUT_SAVE_FILE"}},
        {"ImageSelector", {"FG_IMG_SELECT_PERIOD", "FG_IMG_SELECT"}},
        {"Overflow", {"FG_FILLLEVEL", "FG_OVERFLOW"}},
        {"DigitalIO", {"FG_DIGIO_OUTPUT", "FG_DIGIO_INPUT"}},
        {"Flash", {"FG_FLASH_POLARITY"}},
        {"SoftwareTrigger", {"FG_SENDSOFTWARETRIGGER", "FG_SETSOFTWARETRIGGER"}},
        {"ImageTriggerInput",
         {"FG_IMGTRIGGERINSRC", "FG_IMGTRIGGERINPOLARITY", "FG_IMGTRIGGERGATEDELAY", "FG_IMGTRIGGERDEBOUNCING",
          "FG_STROBEPULSEDELAY"}},
        {"ImageTriggerFlash",
         {"FG_IMGTRIGGERMODE", "FG_IMGTRIGGERON", "FG_FLASHON", "FG_IMGTRIGGER_ASYNC_HEIGHT", "FG_IMGTRIGGER_IS_BUSY"}},
        {"Downscale", {"FG_LINE_DOWNSCALE", "FG_LINE_DOWNSCALEINIT"}},
        {"LineTriggerInput", {"FG_LINETRIGGERINSRC", "FG_LINETRIGGERINPOLARITY", "FG_LINETRIGGERDEBOUNCING"}},
        {"ShaftEncoderABFilter",
         {"FG_SHAFTENCODERON", "FG_SHAFTENCODERMODE", "FG_SHAFTENCODERINSRC", "FG_SHAFTENCODERLEADING",
          "FG_SHAFTENCODER_COMPENSATION_ENABLE", "FG_SHAFTENCODER_COMPENSATION_COUNT"}},
        {"ExSyncOutput", {"FG_LINEPERIODE", "FG_LINEEXPOSURE", "FG_EXSYNCPOLARITY", "FG_LINETRIGGERDELAY"}},
        {"LineTriggerExSync", {"FG_LINETRIGGERMODE", "FG_EXSYNCON"}},
        {"Mirroring", {"FG_REVERSE_X"}},
        {"ROI", {"FG_WIDTH", "FG_HEIGHT", "FG_XOFFSET", "FG_YOFFSET"}},
        {"CoaXPress", {"FG_PIXELFORMAT", "FG_CXP_TRIGGER_PACKET_MODE"}},
    };
    return categories;
}

// Every described parameter in document order.
inline std::vector<std::string> catalogueFeatures() {
    std::vector<std::string> out;
    for (const CategoryFeatures& c : catalogueCategories())
        for (const char* f : c.features) out.push_back(f);
    return out;
}

// Catalogue parameters of kinds the description has no node for.
inline std::vector<std::string> undescribedParameters() {
    return {"FG_LUT_VALUE", "FG_SYSTEMMONITOR_FPGA_DNA", "FG_SYSTEMMONITOR_CHANNEL_CURRENT",
            "FG_SYSTEMMONITOR_CHANNEL_VOLTAGE"};
}

// ---- the document and the records -----------------------------------------

// The document of a port through the export: a size query, then the copy.
// Empty when either step fails (the answer is kept in `answer`).
inline std::string documentOf(Fg_Struct* fg, int port, int& answer) {
    size_t size = 0;
    answer = Fg_getParameterInfoXML(fg, port, nullptr, &size);
    if (answer != 0 || size == 0) return std::string();
    std::vector<char> buffer(size + 16, '#');
    size_t capacity = buffer.size();
    answer = Fg_getParameterInfoXML(fg, port, buffer.data(), &capacity);
    if (answer != 0 || capacity != size || buffer[size - 1] != '\0') return std::string();
    return std::string(buffer.data(), size - 1);
}

// A parameter record of a port with the name of the group it sits in.
struct DescribedRecord {
    const RegisterInfo* record;
    std::string group;
};

inline bool hasNodeTemplate(REG_FORMAT f) {
    return f == REG_FORMAT_UINT || f == REG_FORMAT_INT || f == REG_FORMAT_DOUBLE || f == REG_FORMAT_ENUM ||
           f == REG_FORMAT_STRING;
}

inline void collectParameters(const RegisterInfo* group, std::vector<DescribedRecord>& out, bool describedOnly) {
    if (!group || group->format != REG_FORMAT_GROUP || !group->u.gReg.elements) return;
    const std::string name = group->name ? group->name : "";
    for (int i = 0; i < group->u.gReg.nrOfElements; ++i) {
        const RegisterInfo* r = group->u.gReg.elements[i];
        if (!r) continue;
        if (r->format == REG_FORMAT_GROUP) {
            collectParameters(r, out, describedOnly);
        } else if (!describedOnly || (r->visibilityFlags != 0 && name != "Direct Register Access" &&
                                      hasNodeTemplate(r->format) && r->parameterName)) {
            out.push_back({r, name});
        }
    }
}

// The parameter records of a port as the host sees them (Fg_getParameterInfo),
// top-level groups in list order, children in index order; with
// `describedOnly` only those that the description has a node for.
inline std::vector<DescribedRecord> portParameters(Fg_Struct* fg, int port, bool describedOnly = true) {
    std::vector<DescribedRecord> out;
    for (const RegisterInfo* g = Fg_getParameterInfo(fg, port); g; g = g->next)
        collectParameters(g, out, describedOnly);
    return out;
}

inline const char* accessModeOf(int accessFlags) {
    const bool r = (accessFlags & 1) != 0, w = (accessFlags & 2) != 0;
    return r && w ? "RW" : r ? "RO" : w ? "WO" : "";
}

// A double as the document states it: at most 12 significant digits.
inline double asWritten(double v) {
    char text[64];
    std::snprintf(text, sizeof text, "%.12g", v);
    return std::strtod(text, nullptr);
}

// The enumeration entries of a record as the document lists them: entries
// with an SDK constant name, by ascending value (the last of equal values).
inline std::vector<std::pair<long long, std::string>> describedEntries(const RegisterInfo& r) {
    std::vector<std::pair<long long, std::string>> out;
    if (r.format != REG_FORMAT_ENUM || !r.u.eReg.enumValues || !r.u.eReg.enumDefName) return out;
    for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
        if (!r.u.eReg.enumDefName[i]) continue;
        const long long v = r.u.eReg.enumValues[i];
        std::vector<std::pair<long long, std::string>>::iterator at = out.begin();
        while (at != out.end() && at->first < v) ++at;
        if (at != out.end() && at->first == v)
            at->second = r.u.eReg.enumDefName[i];
        else
            out.insert(at, std::make_pair(v, std::string(r.u.eReg.enumDefName[i])));
    }
    return out;
}

// ---- a small XML reader ----------------------------------------------------

struct Element {
    std::string tag;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;  // character data directly inside, entities replaced
    std::vector<Element> children;

    const std::string* attribute(const char* name) const {
        for (const auto& a : attributes)
            if (a.first == name) return &a.second;
        return nullptr;
    }
    std::string attr(const char* name) const {
        const std::string* a = attribute(name);
        return a ? *a : std::string();
    }
    const Element* child(const char* childTag) const {
        for (const Element& c : children)
            if (c.tag == childTag) return &c;
        return nullptr;
    }
    // Text of the first child with that tag; `missing` when there is none.
    std::string childText(const char* childTag, const char* missing = "(none)") const {
        const Element* c = child(childTag);
        return c ? c->text : std::string(missing);
    }
};

class XmlReader {
public:
    explicit XmlReader(const std::string& s) : s_(s) {}

    // The root element of a whole document; false with error() set when the
    // text is not a well-formed document of this reader's subset.
    bool parse(Element& root) {
        pos_ = 0;
        error_.clear();
        skipSpace();
        if (starts("<?xml")) {
            const std::string::size_type end = s_.find("?>", pos_);
            if (end == std::string::npos) return fail("unterminated XML declaration");
            pos_ = end + 2;
        }
        skipSpace();
        if (!element(root, 0)) return false;
        skipSpace();
        return pos_ == s_.size() || fail("text after the root element");
    }
    const std::string& error() const { return error_; }

private:
    bool fail(const std::string& what) {
        if (error_.empty()) error_ = what + " at offset " + std::to_string(pos_);
        return false;
    }
    bool starts(const char* t) const { return s_.compare(pos_, std::strlen(t), t) == 0; }
    bool expect(const char* t) {
        if (!starts(t)) return fail(std::string("'") + t + "' expected");
        pos_ += std::strlen(t);
        return true;
    }
    bool charIn(const char* set) const { return pos_ < s_.size() && s_[pos_] != '\0' && std::strchr(set, s_[pos_]); }
    void skipSpace() {
        while (charIn(" \t\n\r")) ++pos_;
    }
    bool name(std::string& out) {
        const std::string::size_type begin = pos_;
        while (charIn("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_:-.")) ++pos_;
        out = s_.substr(begin, pos_ - begin);
        return pos_ != begin || fail("name expected");
    }
    bool decode(const std::string& raw, std::string& out) {
        static const char* const entities[][2] = {
            {"lt", "<"}, {"gt", ">"}, {"amp", "&"}, {"quot", "\""}, {"apos", "'"}};
        out.clear();
        for (std::string::size_type i = 0; i < raw.size(); ++i) {
            if (raw[i] == '<') return fail("'<' in text or attribute value");
            if (raw[i] != '&') {
                out += raw[i];
                continue;
            }
            const std::string::size_type semi = raw.find(';', i);
            if (semi == std::string::npos) return fail("unterminated entity");
            const std::string ent = raw.substr(i + 1, semi - i - 1);
            const size_t before = out.size();
            for (const auto& e : entities)
                if (ent == e[0]) out += e[1];
            if (out.size() == before) return fail("unknown entity &" + ent + ";");
            i = semi;
        }
        return true;
    }
    bool element(Element& e, int depth) {
        if (depth > 64) return fail("elements nested too deeply");
        if (!expect("<") || !name(e.tag)) return false;
        for (;;) {
            const std::string::size_type before = pos_;
            skipSpace();
            if (starts("/>")) return expect("/>");
            if (starts(">")) break;
            if (pos_ == before) return fail("blank expected before an attribute");
            std::string key, value;
            if (!name(key)) return false;
            skipSpace();
            if (!expect("=")) return false;
            skipSpace();
            if (!charIn("\"'")) return fail("quoted value expected");
            const std::string::size_type end = s_.find(s_[pos_], pos_ + 1);
            if (end == std::string::npos) return fail("unterminated attribute value");
            if (!decode(s_.substr(pos_ + 1, end - pos_ - 1), value)) return false;
            pos_ = end + 1;
            if (e.attribute(key.c_str())) return fail("attribute " + key + " repeated");
            e.attributes.push_back(std::make_pair(key, value));
        }
        for (++pos_; !starts("</");) {
            if (pos_ >= s_.size()) return fail("element " + e.tag + " not closed");
            if (s_[pos_] == '<') {
                e.children.push_back(Element());
                if (!element(e.children.back(), depth + 1)) return false;
                continue;
            }
            const std::string::size_type end = std::min(s_.find('<', pos_), s_.size());
            std::string text;
            if (!decode(s_.substr(pos_, end - pos_), text)) return false;
            e.text += text;
            pos_ = end;
        }
        std::string closing;
        if (!expect("</") || !name(closing)) return false;
        if (closing != e.tag) return fail("</" + closing + "> closes <" + e.tag + ">");
        skipSpace();
        return expect(">");
    }

    const std::string& s_;
    std::string::size_type pos_ = 0;
    std::string error_;
};

}  // namespace orvxml

#endif
