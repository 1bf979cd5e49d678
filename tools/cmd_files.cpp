// The commands on files: xml, save, load, check, diff, lut save, lut load.
#include <sys/stat.h>

#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "atomic_file.h"
#include "commands.h"
#include "config_files.h"
#include "declared.h"
#include "error_text.h"
#include "output.h"
#include "session.h"
#include "sim_board.h"
#include "text_util.h"
#include "values.h"

namespace appletctl {
namespace {

const size_t kMaxTextValue = 1023;  // the longest text a configuration keeps
const unsigned kMaxReported = 10;   // differing table entries listed one by one

void restoreLocale() { std::setlocale(LC_ALL, "C"); }

std::string mcfHint(const std::string& file) {
    return file.find(".mcf") == std::string::npos ? " (configuration file names must contain \".mcf\")" : std::string();
}

// An input file that exists must be a regular file before the board sees it.
bool refuseOddInput(Session& s, const Command& c, const std::string& file) {
    (void)s;
    struct stat st;
    if (stat(file.c_str(), &st) != 0 || S_ISREG(st.st_mode)) return false;
    err(Session::context(c),
        "'" + visible(shorten(file)) + "' is " +
            (S_ISDIR(st.st_mode) ? "a directory" : "not a regular file (a device, pipe or socket)"));
    return true;
}

void printProblems(const std::string& file, const std::vector<Problem>& ps, bool asWarnings, const Command& c) {
    for (const Problem& p : ps) {
        const std::string line =
            visible(shorten(file)) + (p.line ? ":" + std::to_string(p.line) : std::string()) + ": " + p.text;
        if (asWarnings) {
            warn(Session::context(c), line);
        } else {
            out(line + "\n");
        }
    }
}

bool sameDouble(double a, double b) {
    return a == b || std::fabs(a - b) <= 1e-11 * std::fmax(std::fabs(a), std::fabs(b));
}

bool sameValue(const Value& a, const Value& b) {
    if (a.kind == Kind::Double && b.kind == Kind::Double && a.code == 0 && b.code == 0) return sameDouble(a.d, b.d);
    return a == b;
}

// A configuration file value as the board reads it, as a write of that value.
bool expectedWrite(const ConfigKey& k, const std::string& text, const RegisterInfo* r, Written* w) {
    switch (k.kind) {
    case KeyKind::Int: {
        const uint32_t u = static_cast<uint32_t>(boardInt(text));
        Kind kind = kindOf(r);
        if (kind == Kind::Int32) {
            w->type = FG_PARAM_TYPE_INT32_T;
            w->i32 = static_cast<int32_t>(u);
        } else {
            w->type = FG_PARAM_TYPE_UINT32_T;
            w->u32 = u;
        }
        return true;
    }
    case KeyKind::Double:
        w->type = FG_PARAM_TYPE_DOUBLE;
        w->d = boardDouble(text);
        return true;
    case KeyKind::Text:
        w->type = FG_PARAM_TYPE_CHAR_PTR;
        w->text = text.substr(0, kMaxTextValue);
        return true;
    }
    return false;
}

bool holds(const Value& v, const Written& w) {
    if (v.code) return false;
    switch (w.type) {
    case FG_PARAM_TYPE_UINT32_T: return v.u == w.u32;
    case FG_PARAM_TYPE_INT32_T: return v.i == w.i32;
    case FG_PARAM_TYPE_DOUBLE: return sameDouble(v.d, w.d);
    case FG_PARAM_TYPE_CHAR_PTR: return v.text == w.text;
    default: return false;
    }
}

// Reads a configuration: a file, or "-" for the board's own.
bool configText(Session& s, const Command& c, const std::string& what, std::string* text) {
    std::string why;
    if (what == "-") {
        if (s.savedConfiguration(text, &why)) return true;
        err(Session::context(c), why);
        return false;
    }
    if (readInputFile(what, kMaxInputFile, text, &why)) return true;
    err(Session::context(c), "cannot read '" + visible(shorten(what)) + "': " + why);
    return false;
}

// A key's value for display: enumerations by constant name.
std::string shownKey(const ConfigKey& k, const KeyLine* l) {
    if (!l) return "(missing)";
    if (k.kind == KeyKind::Text) return quoted(toUtf8(l->value));
    if (k.kind == KeyKind::Double) return formatDouble(boardDouble(l->value));
    const int32_t v = boardInt(l->value);
    const Declared* d = declared(k.name);
    if (d && d->kind == DeclaredKind::Enum) {
        for (int i = 0; i < d->entryCount; ++i) {
            if (d->entries[i].value == static_cast<uint32_t>(v)) {
                return std::string(d->entries[i].constant) + " (" + std::to_string(v) + ")";
            }
        }
    }
    return d && d->kind == DeclaredKind::UInt ? std::to_string(static_cast<uint32_t>(v)) : std::to_string(v);
}

bool sameKey(const ConfigKey& k, const KeyLine* a, const KeyLine* b) {
    if (!a || !b) return !a && !b;
    switch (k.kind) {
    case KeyKind::Int: return boardInt(a->value) == boardInt(b->value);
    case KeyKind::Double: return sameDouble(boardDouble(a->value), boardDouble(b->value));
    case KeyKind::Text: return a->value.substr(0, kMaxTextValue) == b->value.substr(0, kMaxTextValue);
    }
    return false;
}

}  // namespace

Status cmdXml(Session& s, const Command& c) {
    if (!s.checkPort(c, c.port)) return kFailed;
    const int port = static_cast<int>(c.port);
    Fg_Struct* fg = s.board().fg();
    size_t size = 0;
    int rc = Fg_getParameterInfoXML(fg, port, nullptr, &size);
    if (rc != 0) return s.fail(c, rc);
    if (size == 0 || size > (size_t(1) << 30)) return s.fail(c, FG_ERR_BUFFER_TOO_SMALL);
    std::vector<char> buf(size + 1, '\0');
    size_t have = buf.size();
    rc = Fg_getParameterInfoXML(fg, port, buf.data(), &have);
    if (rc != 0) return s.fail(c, rc);
    buf.back() = '\0';
    const std::string doc(buf.data());
    const std::string* file = c.option("--output");
    if (!file) {
        out(doc);
        if (doc.empty() || doc.back() != '\n') out("\n");
        return kOk;
    }
    std::string why;
    if (!writeFileAtomically(*file, doc, &why)) {
        err(Session::context(c), why);
        return kFailed;
    }
    out("GenApi description of port " + std::to_string(port) + " written to " + visible(*file) + " (" +
        std::to_string(doc.size()) + " bytes)\n");
    return kOk;
}

Status cmdSave(Session& s, const Command& c) {
    const std::string& file = c.args[0];
    int rc = Fg_saveConfig(s.board().fg(), file.c_str());
    restoreLocale();
    if (rc != 0) return s.fail(c, rc, mcfHint(file));
    out("configuration saved to " + visible(file) + "\n");
    return kOk;
}

Status cmdCheck(Session& s, const Command& c) {
    const std::string& file = c.args[0];
    std::string content, why;
    if (!readInputFile(file, kMaxInputFile, &content, &why)) {
        err(Session::context(c), "cannot read '" + visible(shorten(file)) + "': " + why);
        return kFailed;
    }
    const ConfigReference* cref = s.configReference(c);
    const LutReference* lref = s.lutReference(c);
    if (!cref || !lref) return kFailed;
    // The kind from the name, else from the first line.
    bool isLut = false;
    if (file.find(".mcf") != std::string::npos) {
        isLut = false;
    } else if (file.size() >= 4 && file.compare(file.size() - 4, 4, ".lut") == 0) {
        isLut = true;
    } else if (content.compare(0, lref->heading.size(), lref->heading) == 0) {
        isLut = true;
    } else if (content.compare(0, cref->headerLine.size(), cref->headerLine) != 0) {
        err(Session::context(c), "cannot tell whether '" + visible(shorten(file)) +
                                     "' is a configuration or a lookup-table file (name it .mcf or .lut)");
        return kFailed;
    }
    const std::vector<Problem> ps =
        isLut ? checkLut(content, *lref).problems : checkConfig(content, *cref, kAppletName).problems;
    printProblems(file, ps, false, c);
    const std::string kind = isLut ? "lookup-table file" : "configuration file";
    if (ps.empty()) {
        out(visible(file) + ": no problems (" + kind + ")\n");
        return kOk;
    }
    err(Session::context(c),
        std::to_string(ps.size()) + (ps.size() == 1 ? " problem" : " problems") + " in the " + kind);
    return kFailed;
}

Status cmdLoad(Session& s, const Command& c) {
    const std::string& file = c.args[0];
    if (refuseOddInput(s, c, file)) return kFailed;
    Board& b = s.board();
    std::string content, why;
    ConfigFile f;
    const ConfigReference* ref = nullptr;
    if (readInputFile(file, kMaxInputFile, &content, &why) && (ref = s.configReference(c)) != nullptr) {
        f = checkConfig(content, *ref, kAppletName);
        printProblems(file, f.problems, true, c);
    }
    // The values before the load: a refused value leaves the design as it was.
    std::map<std::pair<size_t, int>, Value> before;
    for (size_t port = 0; ref && port < ref->sections.size(); ++port) {
        for (int i = 0; i < configKeyCount(); ++i) {
            const int id = b.idOf(configKeys()[i].name);
            const unsigned p = static_cast<unsigned>(port);
            if (id >= 0) before[{port, id}] = readValue(b, id, p, b.record(p, id));
        }
    }
    int rc = Fg_loadConfig(b.fg(), file.c_str());
    restoreLocale();
    if (rc != 0) return s.fail(c, rc, rc == FG_ERR_FILE_NOT_FOUND ? mcfHint(file) : std::string());
    // A load drops a refused value without a word, and the port's cache may
    // keep it while the design does not. Each applied value is therefore
    // written once more, in the file's order with the file's other values in
    // place, and every refusal is reported with the board's answer.
    unsigned notTaken = 0;
    for (size_t port = 0; ref && port < ref->sections.size(); ++port) {
        const std::string& section = ref->sections[port];
        const unsigned p = static_cast<unsigned>(port);
        for (int i = 0; i < configKeyCount(); ++i) {
            const ConfigKey& k = configKeys()[i];
            if (k.load == KeyLoad::NotRead || (k.load == KeyLoad::CachedOnly && !k.savedAsCached)) continue;
            const KeyLine* line = f.find(section, k.name);
            const int id = b.idOf(k.name);
            if (!line || id < 0) continue;
            const RegisterInfo* r = b.record(p, id);
            Written w;
            if (!expectedWrite(k, line->value, r, &w)) continue;
            const std::string subject = std::string(k.name) + "=" + visible(shorten(line->value, 60)) + " in " +
                                        section + ", line " + std::to_string(line->line);
            const int probe = k.load == KeyLoad::Applied ? Fg_setParameterWithType(b.fg(), id, w.ptr(), p, w.type) : 0;
            const Value now = readValue(b, id, p, r);
            const std::string shownNow = now.code ? "<error " + errorText(now.code) + ">" : showValue(now, r, true);
            if (probe != 0) {
                const Value& old = before[{port, id}];
                std::string kept = old.code ? "<error " + errorText(old.code) + ">" : showValue(old, r, true);
                if (!sameValue(old, now)) kept += " (it reads back " + shownNow + ")";
                err(Session::context(c), subject + ": refused (" + errorText(probe) + rangeNote(b.record(p, id)) +
                                             "); the board keeps " + kept);
                ++notTaken;
            } else if (!holds(now, w)) {
                warn(Session::context(c), subject + ": taken as " + shownNow);
            }
        }
    }
    out("configuration loaded from " + visible(file) +
        (notTaken ? " (" + std::to_string(notTaken) + (notTaken == 1 ? " value" : " values") + " not taken)"
                  : std::string()) +
        "\n");
    return notTaken ? kFailed : kOk;
}

Status cmdDiff(Session& s, const Command& c) {
    const ConfigReference* ref = s.configReference(c);
    if (!ref) return kFailed;
    std::string ta, tb;
    if (!configText(s, c, c.args[0], &ta) || !configText(s, c, c.args[1], &tb)) return kFailed;
    const ConfigFile fa = checkConfig(ta, *ref, kAppletName), fb = checkConfig(tb, *ref, kAppletName);
    auto label = [](const std::string& w) { return w == "-" ? std::string("board") : visible(shorten(w, 60)); };
    std::vector<std::vector<std::string>> rows = {{"PARAMETER", label(c.args[0]), label(c.args[1])}};
    unsigned compared = 0;
    for (size_t port = 0; port < ref->sections.size(); ++port) {
        for (int i = 0; i < configKeyCount(); ++i) {
            const ConfigKey& k = configKeys()[i];
            if (k.load == KeyLoad::NotRead) continue;
            ++compared;
            const KeyLine* a = fa.find(ref->sections[port], k.name);
            const KeyLine* bl = fb.find(ref->sections[port], k.name);
            if (sameKey(k, a, bl)) continue;
            rows.push_back({std::string(k.name) + "@" + std::to_string(port), shownKey(k, a), shownKey(k, bl)});
        }
    }
    const size_t differ = rows.size() - 1;
    if (differ == 0) {
        out("no differences (" + std::to_string(compared) + " parameters compared)\n");
    } else {
        out(columns(rows) + std::to_string(differ) + (differ == 1 ? " parameter differs" : " parameters differ") +
            " (" + std::to_string(compared) + " compared)\n");
    }
    return kOk;
}

Status cmdLutSave(Session& s, const Command& c) {
    Fg_Struct* fg = s.board().fg();
    const std::string& file = c.args[0];
    if (file.size() > kMaxTextValue) {
        err(Session::context(c), "file name longer than " + std::to_string(kMaxTextValue) + " characters");
        return kFailed;
    }
    int id = s.board().idOf("FG_LUT_SAVE_FILE");
    if (id < 0) return s.fail(c, id);
    int rc = Fg_setParameterWithType(fg, id, file.c_str(), c.port, FG_PARAM_TYPE_CHAR_PTR);
    if (rc != 0) return s.fail(c, rc);
    out("lookup table of port " + std::to_string(c.port) + " saved to " + visible(file) + "\n");
    return kOk;
}

Status cmdLutLoad(Session& s, const Command& c) {
    Board& b = s.board();
    Fg_Struct* fg = b.fg();
    const std::string& file = c.args[0];
    if (file.size() > kMaxTextValue) {
        err(Session::context(c), "file name longer than " + std::to_string(kMaxTextValue) + " characters");
        return kFailed;
    }
    if (refuseOddInput(s, c, file)) return kFailed;
    LutFile f;
    std::string content, why;
    const LutReference* ref = nullptr;
    if (readInputFile(file, kMaxInputFile, &content, &why) && (ref = s.lutReference(c)) != nullptr) {
        f = checkLut(content, *ref);
        printProblems(file, f.problems, true, c);
    }
    int fileId = b.idOf("FG_LUT_CUSTOM_FILE");
    int typeId = b.idOf("FG_LUT_TYPE");
    int valueId = b.idOf("FG_LUT_VALUE");
    if (fileId < 0) return s.fail(c, fileId);
    if (typeId < 0) return s.fail(c, typeId);
    // The custom type loads the file named; keep the old name to put it back.
    std::vector<char> old(65536, '\0');
    bool haveOld = Fg_getParameterWithType(fg, fileId, old.data(), c.port, FG_PARAM_TYPE_CHAR_PTR) == 0;
    old.back() = '\0';
    uint32_t type = 0;
    int rc = Fg_getParameterWithType(fg, typeId, &type, c.port, FG_PARAM_TYPE_UINT32_T);
    if (rc != 0) return s.fail(c, rc);
    rc = Fg_setParameterWithType(fg, fileId, file.c_str(), c.port, FG_PARAM_TYPE_CHAR_PTR);
    if (rc == 0 && type != 0) {
        const uint32_t custom = 0;  // LUT_TYPE_CUSTOM
        rc = Fg_setParameterWithType(fg, typeId, &custom, c.port, FG_PARAM_TYPE_UINT32_T);
        if (rc != 0 && haveOld) Fg_setParameterWithType(fg, fileId, old.data(), c.port, FG_PARAM_TYPE_CHAR_PTR);
    }
    if (rc != 0) return s.fail(c, rc);
    // The table read back against the entries the file states.
    unsigned differ = 0;
    if (valueId >= 0 && !f.entries.empty()) {
        const Value table = readValue(b, valueId, c.port, b.record(c.port, valueId));
        for (const auto& e : f.entries) {
            if (table.code || e.first >= table.field.size()) break;
            const double held = table.field[e.first];
            if (held == static_cast<double>(e.second.first)) continue;
            if (differ++ < kMaxReported) {
                err(Session::context(c), "entry " + std::to_string(e.first) + " = " + std::to_string(e.second.first) +
                                             " (line " + std::to_string(e.second.second) + "): the board holds " +
                                             formatDouble(held));
            }
        }
        if (differ > kMaxReported) {
            err(Session::context(c), "and " + std::to_string(differ - kMaxReported) + " more entries differ");
        }
    }
    out("lookup table of port " + std::to_string(c.port) + " loaded from " + visible(file) +
        " (FG_LUT_TYPE = LUT_TYPE_CUSTOM)" +
        (differ ? " (" + std::to_string(differ) + (differ == 1 ? " entry" : " entries") + " not as in the file)"
                : std::string()) +
        "\n");
    return differ ? kFailed : kOk;
}

}  // namespace appletctl
