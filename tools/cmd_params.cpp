// The commands on parameters: info, list, get, set, describe, reset, help.
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "commands.h"
#include "declared.h"
#include "error_text.h"
#include "fg_param_ids.h"
#include "output.h"
#include "session.h"
#include "sim_board.h"
#include "text_util.h"
#include "values.h"

namespace appletctl {
namespace {

const size_t kTextBuffer = 65536;

std::string dmaTypeName(int t) {
    static const char* const names[] = {"UNDEFINED",
                                        "BINARY",
                                        "GRAY8",
                                        "GRAY16",
                                        "BLOB",
                                        "GRAY8_BLOB_COMBINED",
                                        "GRAY16_BLOB_COMBINED",
                                        "GRAY8_BLOBLIGHT_COMBINED",
                                        "RGB24",
                                        "GRAY8_16",
                                        "RGB24_48",
                                        "GRAY8_LASERLINE_COMBINED"};
    if (t >= 0 && t < static_cast<int>(sizeof names / sizeof names[0])) return names[t];
    return "data type " + std::to_string(t);
}

// The long description of a parameter from the applet's description query.
bool description(Session& s, const std::string& name, unsigned port, std::string* text, int* code) {
    std::vector<char> buf(kTextBuffer, '\0');
    if (name.size() >= buf.size()) {
        *code = FG_ERR_INVALID_PARAMETER;
        return false;
    }
    std::memcpy(buf.data(), name.c_str(), name.size() + 1);
    *code = Fg_getParameterWithType(s.board().fg(), FG_PARAMETER_DESCRIPTION_QUERY, buf.data(), port,
                                    FG_PARAM_TYPE_CHAR_PTR);
    if (*code != 0) return false;
    buf.back() = '\0';
    *text = toUtf8(buf.data());
    return true;
}

// Two reads of a value agree (doubles within the last digits the files keep).
bool sameValue(const Value& a, const Value& b) {
    if (a.kind == Kind::Double && b.kind == Kind::Double && a.code == 0 && b.code == 0) {
        return a.d == b.d || std::fabs(a.d - b.d) <= 1e-11 * std::fmax(std::fabs(a.d), std::fabs(b.d));
    }
    return a == b;
}

}  // namespace

Status cmdInfo(Session& s, const Command& c) {
    InfoFn f = s.board().info();
    if (!f) {
        err(Session::context(c), std::string("the applet library ") + kAppletLibrary + " offers no Info query");
        return kFailed;
    }
    Status st = kOk;
    std::vector<std::vector<std::string>> rows;
    auto row = [&](const std::string& key, const std::string& value) { rows.push_back({key, value}); };
    auto text = [&](AppletInfos q) -> std::string {
        const void* p = nullptr;
        int rc = f(q, 0, 0, nullptr, &p);
        if (rc < 0) {
            st = kFailed;
            return "<error " + errorText(rc) + ">";
        }
        return p ? toUtf8(static_cast<const char*>(p)) : std::string();
    };
    auto number = [&](AppletInfos q, int a1, int a2) -> int { return f(q, a1, a2, nullptr, nullptr); };
    auto shown = [&](int v) -> std::string {
        if (v < 0) {
            st = kFailed;
            return "<error " + errorText(v) + ">";
        }
        return std::to_string(v);
    };
    row("applet", text(GET_INFO_FRIENDLY_NAME));
    row("version", text(GET_INFO_VERSIONSTRING) + " (" + text(GET_INFO_VERSIONSTRING_DETAIL) + ")");
    row("category", text(GET_INFO_CATEGORY));
    row("description", text(GET_INFO_DESCRIPTION));
    row("tags", text(GET_INFO_TAGS));
    int boardType = number(GET_BOARD_TYPE, 0, 0);
    if (boardType < 0) {
        row("board type", shown(boardType));
    } else {
        char hex[32];
        std::snprintf(hex, sizeof hex, "0x%X", static_cast<unsigned>(boardType));
        row("board type", hex);
    }
    row("board", std::to_string(s.board().index()));
    row("ports", shown(number(GET_NR_OF_PORTS, 0, 0)));
    row("cameras", shown(number(GET_NR_OF_CAMS, 0, 0)));
    int processes = number(GET_INFO_NR_OF_PROCESSES, 0, 0);
    row("processes", shown(processes));
    for (int p = 0; p < processes && p < 64; ++p) {
        std::string v = "camera port " + shown(number(GET_INFO_PROCESS_CAMERA_PORT, p, 0));
        int channels = number(GET_INFO_NR_OF_PROCESS_CHANNELS, p, 0);
        if (channels < 0) shown(channels);
        for (int ch = 0; ch < channels && ch < 64; ++ch)
            v += ", DMA " + shown(number(GET_INFO_PROCESS_CHANNEL_DMA, p, ch));
        row("process " + std::to_string(p), v);
    }
    int dmas = number(GET_NR_OF_DMAS, 0, 0);
    row("DMA channels", shown(dmas));
    for (int d = 0; d < dmas && d < 64; ++d) {
        int t = number(GET_INFO_DMA_DATATYPE, d, 0);
        row("DMA " + std::to_string(d), t < 0 ? shown(t) : dmaTypeName(t));
    }
    // Keys in a column of 16, as the first release printed them.
    std::string out_;
    for (const auto& r : rows) out_ += r[0] + std::string(r[0].size() < 16 ? 16 - r[0].size() : 1, ' ') + r[1] + "\n";
    out(out_);
    return st;
}

Status cmdList(Session& s, const Command& c) {
    Board& b = s.board();
    Fg_Struct* fg = b.fg();
    if (!s.checkPort(c, c.port)) return kFailed;
    if (!b.hasRecords(c.port)) return s.fail(c, FG_ERR_NO_DESCRIPTION);
    int n = Fg_getNrOfParameter(fg);
    if (n < 0) return s.fail(c, n);
    std::vector<std::vector<std::string>> rows;
    rows.push_back({"NAME", "ID", "ACCESS", "VALUE", "UNIT", "RANGE / ENTRIES"});
    for (int i = 0; i < n && i < 1000000; ++i) {
        const char* name = Fg_getParameterName(fg, i);
        if (!name) continue;
        int id = Fg_getParameterId(fg, i);
        if (id < 0) continue;
        const RegisterInfo* r = b.record(c.port, id);
        Value v = readValue(b, id, c.port, r);
        std::string value = v.code ? "<error " + std::to_string(v.code) + ">" : showValue(v, r, false);
        std::string unit = r && r->unit ? toUtf8(r->unit) : "";
        rows.push_back({visible(name), std::to_string(id), accessText(r), value, unit, rangeText(r)});
    }
    out("port " + std::to_string(c.port) + ": " + std::to_string(rows.size() - 1) + " parameters\n" + columns(rows));
    return kOk;
}

Status cmdGet(Session& s, const Command& c) {
    int id = 0;
    std::string name;
    if (!s.resolve(c, c.args[0], &id, &name)) return kFailed;
    const RegisterInfo* r = s.board().record(c.port, id);
    Value v = readValue(s.board(), id, c.port, r);
    if (v.code) return s.fail(c, v.code);
    out(name + "@" + std::to_string(c.port) + " = " + showValue(v, r, true) + "\n");
    return kOk;
}

Status cmdSet(Session& s, const Command& c) {
    int id = 0;
    std::string name;
    if (!s.resolve(c, c.args[0], &id, &name)) return kFailed;
    const RegisterInfo* r = s.board().record(c.port, id);
    Written w;
    std::string why;
    if (!parseValue(c.args[1], r, &w, &why)) {
        err(Session::context(c), "bad value '" + visible(shorten(c.args[1])) + "' for " + name + ": " + why);
        return kFailed;
    }
    int rc = Fg_setParameterWithType(s.board().fg(), id, w.ptr(), c.port, w.type);
    if (rc != 0) {
        // A refused number shows the range the parameter has now.
        const bool range = rc == FG_ERR_VALUE_OUT_OF_RANGE || rc == FG_ERR_NOT_MULTIPLE_OF_16;
        return s.fail(c, rc, range ? rangeNote(s.board().record(c.port, id)) : std::string());
    }
    Value v = readValue(s.board(), id, c.port, r);
    std::string shown;
    if (v.code == 0) {
        shown = showValue(v, r, true);
    } else if (w.type == FG_PARAM_TYPE_CHAR_PTR) {
        shown = quoted(toUtf8(w.text));
    } else {
        shown = c.args[1];
    }
    out(name + "@" + std::to_string(c.port) + " = " + shown + "\n");
    return kOk;
}

Status cmdDescribe(Session& s, const Command& c) {
    int id = 0;
    std::string name;
    if (!s.resolve(c, c.args[0], &id, &name)) return kFailed;
    Board& b = s.board();
    const RegisterInfo* r = b.record(c.port, id);
    std::string text;
    int code = 0;
    if (!description(s, name, c.port, &text, &code)) return s.fail(c, code);
    std::vector<std::vector<std::string>> rows;
    if (r && r->name) {
        rows.push_back({"display name",
                        toUtf8(r->name) + (r->parentName && *r->parentName ? " (group " + toUtf8(r->parentName) + ")"
                                                                           : std::string())});
    }
    rows.push_back({"identity", std::to_string(id)});
    rows.push_back({"kind", kindText(r)});
    rows.push_back({"access", r ? accessText(r) == "rw"  ? "read and write"
                                  : accessText(r) == "r" ? "read only"
                                                         : accessText(r)
                                : "read (no record for this port)"});
    if (r && r->format == REG_FORMAT_ENUM) {
        const EnumReg& e = r->u.eReg;
        std::vector<std::vector<std::string>> entries;
        for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
            const std::string disp = e.enumNames && e.enumNames[i] ? quoted(toUtf8(e.enumNames[i])) : "";
            entries.push_back({enumConstant(r, i), disp, std::to_string(e.enumValues[i])});
        }
        const std::string lines = columns(entries);
        size_t at = 0;
        for (size_t nl; (nl = lines.find('\n', at)) != std::string::npos; at = nl + 1) {
            rows.push_back({at == 0 ? "entries" : "", lines.substr(at, nl - at)});
        }
    } else if (r) {
        rows.push_back({"range", rangeText(r)});
    }
    if (r && r->unit && *r->unit) rows.push_back({"unit", toUtf8(r->unit)});
    const Value* d = s.defaultValue(c.port, id);
    rows.push_back({"default", !s.defaultsKnown() ? "unknown (the board was opened with --no-defaults)"
                               : !d               ? "unknown"
                               : d->code          ? "<error " + errorText(d->code) + ">"
                                                  : showValue(*d, r, true)});
    Value v = readValue(b, id, c.port, r);
    rows.push_back({"value", v.code ? "<error " + errorText(v.code) + ">" : showValue(v, r, true)});
    rows.push_back({"description", text.empty() ? std::string("(no description)") : text});
    out(name + "@" + std::to_string(c.port) + "\n" + columns(rows, "  "));
    return kOk;
}

// Writes the default values again, in the order a configuration load applies
// them: first the values other handlers compute from (cached-only keys), then
// the applied ones, then once more whatever still differs; each value the
// board keeps different is reported.
Status cmdReset(Session& s, const Command& c) {
    if (!s.defaultsKnown()) {
        err(Session::context(c), "the default values are not known: the board was opened with --no-defaults");
        return kFailed;
    }
    Board& b = s.board();
    Fg_Struct* fg = b.fg();
    std::vector<unsigned> ports;
    if (c.portGiven) {
        ports.push_back(c.port);
    } else {
        for (unsigned p = 0; p < b.portCount(); ++p) ports.push_back(p);
    }
    Status st = kOk;
    for (unsigned port : ports) {
        struct Item {
            const ConfigKey* key;
            int id;
            const RegisterInfo* r;
            const Value* def;
            int rc;
        };
        std::vector<Item> items;
        for (int pass = 0; pass < 2; ++pass) {
            for (int i = 0; i < configKeyCount(); ++i) {
                const ConfigKey& k = configKeys()[i];
                if ((pass == 0) != (k.load == KeyLoad::CachedOnly)) continue;
                if (k.load == KeyLoad::NotRead) continue;
                const int id = b.idOf(k.name);
                const Value* def = id >= 0 ? s.defaultValue(port, id) : nullptr;
                if (!def || def->code) continue;
                items.push_back({&k, id, b.record(port, id), def, 0});
            }
        }
        auto write = [&](Item& it) {
            Written w;
            if (!writtenOf(*it.def, &w)) return;
            it.rc = Fg_setParameterWithType(fg, it.id, w.ptr(), port, w.type);
        };
        for (Item& it : items) {
            // The applied values are written whatever they are now, as the
            // board's start-up does; the others only where they differ.
            if (it.key->load == KeyLoad::Applied || !sameValue(readValue(b, it.id, port, it.r), *it.def)) write(it);
        }
        for (Item& it : items) {
            if (!sameValue(readValue(b, it.id, port, it.r), *it.def)) write(it);
        }
        unsigned wrong = 0;
        for (Item& it : items) {
            Value now = readValue(b, it.id, port, it.r);
            if (sameValue(now, *it.def)) continue;
            ++wrong;
            err(Session::context(c),
                std::string(it.key->name) + "@" + std::to_string(port) + "=" + showValue(*it.def, it.r, false) + ": " +
                    (it.rc ? "refused (" + errorText(it.rc) + rangeNote(it.r) + ")" : std::string("not taken")) +
                    "; the board keeps " + (now.code ? "<error>" : showValue(now, it.r, true)));
        }
        if (wrong) {
            st = kFailed;
        } else {
            out("port " + std::to_string(port) + ": default values written (" + std::to_string(items.size()) +
                " parameters)\n");
        }
    }
    return st;
}

Status cmdHelp(Session&, const Command& c) {
    if (c.args.empty()) {
        printToolHelp();
    } else {
        printCommandHelp(c.args[0]);
    }
    return kOk;
}

}  // namespace appletctl
