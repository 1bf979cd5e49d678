// appletctl: opens a board with the Orvindel applet through the host runtime,
// runs the commands given on the command line or read from script files, and
// closes the board.
//
// Everything goes through the exported C interface: the runtime's Fg_InitEx
// opens the board, the Fg_ calls on the returned handle reach the applet, and
// the applet library's Info answers the identity questions. The parameter
// descriptions (kinds, ranges, enumeration entries, units, access) come from
// the RegisterInfo records the applet hands out.

#include <dlfcn.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include <clocale>

#include "error_text.h"
#include "fg_applet.h"
#include "fg_param_ids.h"
#include "fg_types.h"
#include "sim_board.h"
#include "text_util.h"

namespace appletctl {
namespace {

const char* const kAppletName = "Orvindel";
const char* const kAppletLibrary = "libOrvindel.so";
const size_t kTextBuffer = 65536;  // reads of text parameters
const size_t kMaxTextValue = 1023; // longest text the tool writes
const int kMaxFieldElements = 1 << 20;

// Result of one command.
enum Status { kOk = 0, kFailed = 1, kUsage = 2 };

// ---- output ----------------------------------------------------------------

void out(const std::string& s) { std::fwrite(s.data(), 1, s.size(), stdout); }

void err(const std::string& where, const std::string& msg) {
    std::fflush(stdout);
    std::string line = where.empty() ? msg : where + ": " + msg;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

// ---- help texts ----------------------------------------------------------------

struct CommandHelp {
    const char* word;
    const char* synopsis;
    const char* text;
};

const CommandHelp kCommands[] = {
    {"info", "info",
     "Shows the applet's identity and layout as its Info query answers it: name,\n"
     "versions, category, description, tags, board type, ports, processes and the\n"
     "DMA channels with their data types.\n"},
    {"list", "list [--port P]",
     "Lists every parameter of port P (default 0) as a table: SDK name, identity,\n"
     "access (r, rw), current value (enumerations by constant name), unit and the\n"
     "range or the enumeration entries. Values that cannot be read are shown as\n"
     "<error CODE>; they do not make the command fail.\n"},
    {"get", "get NAME[@P]",
     "Reads one parameter of port P (default 0) and prints NAME@P = VALUE.\n"
     "Enumerations print their constant name and number, for example\n"
     "FG_FORMAT@0 = FG_GRAY (3); texts are printed in double quotes; fields\n"
     "print their number of elements and a short summary.\n"},
    {"set", "set NAME=VALUE[@P]",
     "Writes one parameter of port P (default 0), then reads it back and prints\n"
     "NAME@P = VALUE. VALUE is read by the parameter's kind: an unsigned integer\n"
     "(decimal or 0x hex), a double, a text, or for enumerations a constant name\n"
     "such as FG_GRAY (any case), an entry's display name or a number. The last\n"
     "'@' followed by digits only is taken as the port; to write a text that ends\n"
     "in such a suffix, give the port explicitly (set FG_LUT_SAVE_FILE=a@1.lut@0).\n"
     "A rejected value prints the applet's error code and its meaning.\n"},
    {"describe", "describe NAME[@P]",
     "Prints the long description of a parameter (port P, default 0).\n"},
    {"xml", "xml [--port P] [-o FILE]",
     "Prints the GenApi register description of port P (default 0), or writes it\n"
     "to FILE.\n"},
    {"save", "save FILE",
     "Saves the configuration of both ports to FILE. The applet accepts only file\n"
     "names that contain \".mcf\".\n"},
    {"load", "load FILE",
     "Loads a configuration file written by 'save' (or by any application).\n"},
    {"lut", "lut save|load FILE [--port P]",
     "lut save FILE: writes the lookup table of port P (default 0) to FILE.\n"
     "lut load FILE: loads FILE into the lookup table of port P and switches the\n"
     "port's lookup table type to the user file (LUT_TYPE_CUSTOM). If the file\n"
     "cannot be loaded, the previous file name is put back.\n"},
    {"help", "help [COMMAND]", "Shows the help of the tool or of one command.\n"},
};

const CommandHelp* findCommand(const std::string& word) {
    for (const CommandHelp& c : kCommands) {
        if (word == c.word) return &c;
    }
    return nullptr;
}

void printToolHelp() {
    std::string s =
        "Usage: appletctl [OPTIONS] COMMAND [ARGS] [COMMAND [ARGS]]...\n"
        "\n"
        "Opens board N with the Orvindel applet through the host runtime (the\n"
        "simulated board, or a real runtime when one is installed), runs the\n"
        "commands in the order given and closes the board.\n"
        "\n"
        "Commands:\n";
    for (const CommandHelp& c : kCommands) {
        s += "  ";
        s += c.synopsis;
        s += '\n';
    }
    s +=
        "\n"
        "Options (before the first command):\n"
        "  --board N          open board N (default 0)\n"
        "  --no-defaults      open the board without writing the default values\n"
        "                     (start-up flags bit 0)\n"
        "  -k, --keep-going   run the remaining commands after a failure\n"
        "  -h, --help         show this help; COMMAND --help or help COMMAND shows\n"
        "                     the help of one command\n"
        "\n"
        "Scripts (anywhere among the commands):\n"
        "  --script FILE      run the commands in FILE, one per line\n"
        "  -                  run the commands read from standard input\n"
        "  In a script, empty lines and lines starting with '#' are skipped; words\n"
        "  are separated by blanks and may be quoted with '...' or \"...\".\n"
        "\n"
        "Ports: NAME@P addresses port P (0 or 1); without @P port 0 is meant.\n"
        "\n"
        "Errors print the error code with its meaning, for example\n"
        "  appletctl: set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16\n"
        "By default the tool stops at the first command that fails; --keep-going\n"
        "runs the rest.\n"
        "\n"
        "Exit status: 0 when every command succeeded, 1 when a command failed,\n"
        "2 for a usage error (unknown command or option, missing or malformed\n"
        "argument; on the command line nothing is run then).\n";
    out(s);
}

void printCommandHelp(const CommandHelp& c) {
    out(std::string("Usage: appletctl ") + c.synopsis + "\n\n" + c.text);
}

// ---- commands as parsed ----------------------------------------------------

struct Command {
    std::string word;               // "info", "get", ..., or "script"
    std::vector<std::string> args;  // positional arguments
    unsigned port = 0;
    bool portGiven = false;
    std::string outFile;            // xml -o
    bool help = false;
    std::string typed;              // the command as typed, for messages
};

bool isCommandWord(const std::string& w) { return findCommand(w) != nullptr; }

// A port number: digits only, at most 9 of them.
bool parsePort(const std::string& s, unsigned* port) {
    if (s.empty() || s.size() > 9) return false;
    unsigned v = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + static_cast<unsigned>(c - '0');
    }
    *port = v;
    return true;
}

// Splits "TEXT@P" at the last '@' when only digits follow it.
void splitPort(std::string& text, unsigned* port, bool* given) {
    std::string::size_type at = text.rfind('@');
    if (at == std::string::npos) return;
    unsigned p = 0;
    if (!parsePort(text.substr(at + 1), &p)) return;
    text.erase(at);
    *port = p;
    *given = true;
}

// Parses one command from tokens[pos...]. Returns kOk and advances pos, or
// kUsage with a message in *why.
Status parseCommand(const std::vector<std::string>& tokens, size_t& pos, bool atCommandLine, Command& cmd,
                    std::string* why) {
    const size_t start = pos;
    const std::string word = tokens[pos++];
    cmd = Command();
    cmd.word = word;
    auto finish = [&]() {
        cmd.typed.clear();
        for (size_t i = start; i < pos; ++i) {
            if (i > start) cmd.typed += ' ';
            cmd.typed += tokens[i];
        }
    };
    auto next = [&]() -> const std::string* { return pos < tokens.size() ? &tokens[pos] : nullptr; };
    auto isHelp = [](const std::string& t) { return t == "--help" || t == "-h"; };

    if (word == "--script" || word == "-") {
        if (!atCommandLine) {
            *why = "'" + word + "' is not allowed inside a script";
            return kUsage;
        }
        cmd.word = "script";
        if (word == "-") {
            cmd.args.push_back("-");
        } else {
            if (!next()) {
                *why = "--script: missing FILE";
                return kUsage;
            }
            cmd.args.push_back(tokens[pos++]);
        }
        finish();
        return kOk;
    }
    const CommandHelp* help = findCommand(word);
    if (!help) {
        *why = "unknown command '" + visible(word) + "' (see appletctl --help)";
        return kUsage;
    }
    if (next() && isHelp(*next())) {
        ++pos;
        cmd.help = true;
        finish();
        return kOk;
    }

    // Positional arguments by command.
    size_t required = 0, optional = 0;
    if (word == "get" || word == "set" || word == "describe" || word == "save" || word == "load") required = 1;
    if (word == "lut") required = 2;
    if (word == "help") optional = 1;
    for (size_t i = 0; i < required; ++i) {
        const std::string* t = next();
        if (!t || isHelp(*t)) {
            *why = std::string(word) + ": missing argument (usage: " + help->synopsis + ")";
            return kUsage;
        }
        cmd.args.push_back(*t);
        ++pos;
    }
    for (size_t i = 0; i < optional; ++i) {
        const std::string* t = next();
        if (!t || !isCommandWord(*t)) break;
        cmd.args.push_back(*t);
        ++pos;
    }

    // Options of the command.
    const bool takesPort = word == "list" || word == "xml" || word == "lut";
    const bool takesOut = word == "xml";
    while (const std::string* t = next()) {
        if (isHelp(*t)) {
            ++pos;
            cmd.help = true;
            continue;
        }
        std::string value;
        bool isPort = false, isOut = false;
        if (takesPort && (*t == "--port" || *t == "-p")) {
            isPort = true;
        } else if (takesPort && t->compare(0, 7, "--port=") == 0) {
            isPort = true;
            value = t->substr(7);
        } else if (takesOut && *t == "-o") {
            isOut = true;
        } else if (takesOut && t->compare(0, 9, "--output=") == 0) {
            isOut = true;
            value = t->substr(9);
        } else if (takesOut && *t == "--output") {
            isOut = true;
        } else {
            break;
        }
        const std::string opt = *t;
        ++pos;
        if (value.empty() && opt.find('=') == std::string::npos) {
            if (!next()) {
                *why = word + ": " + opt + " needs a value";
                return kUsage;
            }
            value = tokens[pos++];
        }
        if (isPort) {
            if (!parsePort(value, &cmd.port)) {
                *why = word + ": bad port '" + visible(value) + "' (a number such as 0 or 1)";
                return kUsage;
            }
            cmd.portGiven = true;
        }
        if (isOut) {
            if (value.empty()) {
                *why = word + ": " + opt + " needs a file name";
                return kUsage;
            }
            cmd.outFile = value;
        }
    }
    finish();
    if (cmd.help) return kOk;

    // Checks of the arguments that need no board.
    if (word == "lut" && cmd.args[0] != "save" && cmd.args[0] != "load") {
        *why = "lut: expected 'save' or 'load', not '" + visible(cmd.args[0]) + "'";
        return kUsage;
    }
    if ((word == "save" || word == "load" || word == "lut") && cmd.args.back().empty()) {
        *why = word + ": empty file name";
        return kUsage;
    }
    if (word == "get" || word == "describe") {
        std::string name = cmd.args[0];
        splitPort(name, &cmd.port, &cmd.portGiven);
        if (name.empty()) {
            *why = word + ": missing parameter name (usage: " + help->synopsis + ")";
            return kUsage;
        }
        cmd.args[0] = name;
    }
    if (word == "set") {
        std::string a = cmd.args[0];
        std::string::size_type eq = a.find('=');
        if (eq == std::string::npos) {
            *why = "set: expected NAME=VALUE, not '" + visible(a) + "'";
            return kUsage;
        }
        std::string name = a.substr(0, eq);
        std::string value = a.substr(eq + 1);
        splitPort(value, &cmd.port, &cmd.portGiven);
        if (name.empty()) {
            *why = "set: missing parameter name in '" + visible(a) + "'";
            return kUsage;
        }
        cmd.args = {name, value};
    }
    return kOk;
}

// ---- the board -------------------------------------------------------------

typedef int (*InfoFn)(const AppletInfos, const int, const int, void*, const void**);

class Board {
public:
    Board(unsigned index, int flags) : index_(index), flags_(flags) {}
    ~Board() { close(); }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    // Opens the board on first use; false (with the message printed) on failure.
    bool open(const std::string& where) {
        if (fg_) return true;
        if (openFailed_) {
            err(where, "the board is not open");
            return false;
        }
        fg_ = Fg_InitEx(kAppletName, index_, flags_);
        if (!fg_) {
            openFailed_ = true;
            int code = Fg_getLastErrorNumber(nullptr);
            std::string msg = "cannot open board " + std::to_string(index_) + " with the applet " + kAppletName +
                              ": " + errorText(code);
            if (code == FG_ERR_FILE_NOT_FOUND) msg += std::string(": ") + kAppletLibrary + " was not found";
            err(where, msg);
            return false;
        }
        // The runtime loaded the applet library; take Info from it.
        lib_ = dlopen(kAppletLibrary, RTLD_NOW | RTLD_NOLOAD);
        if (!lib_) lib_ = dlopen(kAppletLibrary, RTLD_NOW | RTLD_LOCAL);
        if (lib_) info_ = reinterpret_cast<InfoFn>(dlsym(lib_, "Info"));
        return true;
    }

    void close() {
        if (fg_) Fg_FreeGrabber(fg_);
        fg_ = nullptr;
        if (lib_) dlclose(lib_);
        lib_ = nullptr;
        info_ = nullptr;
        records_.clear();
    }

    Fg_Struct* fg() const { return fg_; }
    InfoFn info() const { return info_; }
    unsigned index() const { return index_; }

    // The parameter's identity, or a negative code. Accepts the name in any case.
    int idOf(const std::string& name) {
        if (name.empty() || name.size() > 256) return FG_ERR_INVALID_PARAMETER;
        int id = Fg_getParameterIdByName(fg_, name.c_str());
        if (id >= 0) return id;
        std::string upper = upperCase(name);
        if (upper != name) {
            int id2 = Fg_getParameterIdByName(fg_, upper.c_str());
            if (id2 >= 0) return id2;
        }
        return id < 0 ? id : FG_ERR_INVALID_PARAMETER;
    }

    // The SDK name the applet gives an identity (the name as typed otherwise).
    std::string canonicalName(int id, const std::string& typed) {
        int n = Fg_getNrOfParameter(fg_);
        for (int i = 0; i < n && i < 100000; ++i) {
            if (Fg_getParameterId(fg_, i) == id) {
                const char* nm = Fg_getParameterName(fg_, i);
                if (nm) return nm;
            }
        }
        return typed;
    }

    // The record of an identity on a port (nullptr when the port has none).
    const RegisterInfo* record(unsigned port, int id) {
        const std::map<int, const RegisterInfo*>& m = recordsOf(port);
        std::map<int, const RegisterInfo*>::const_iterator it = m.find(id);
        return it == m.end() ? nullptr : it->second;
    }

    // Whether the port has any parameter description.
    bool hasRecords(unsigned port) { return !recordsOf(port).empty(); }

private:
    const std::map<int, const RegisterInfo*>& recordsOf(unsigned port) {
        std::map<unsigned, std::map<int, const RegisterInfo*>>::iterator it = records_.find(port);
        if (it != records_.end()) return it->second;
        std::map<int, const RegisterInfo*>& m = records_[port];
        if (port <= 0x7FFFFFFFu) {
            std::set<const RegisterInfo*> seen;
            for (const RegisterInfo* g = Fg_getParameterInfo(fg_, static_cast<int>(port)); g && seen.size() < 100000;
                 g = g->next) {
                if (!seen.insert(g).second) break;
                collect(g, m, seen, 0);
            }
        }
        return m;
    }

    static void collect(const RegisterInfo* r, std::map<int, const RegisterInfo*>& m,
                        std::set<const RegisterInfo*>& seen, int depth) {
        if (r->format != REG_FORMAT_GROUP) {
            if (r->parameterName) m.emplace(r->id, r);
            return;
        }
        if (depth > 64 || r->u.gReg.elements == nullptr) return;
        for (int i = 0; i < r->u.gReg.nrOfElements && i < 100000; ++i) {
            const RegisterInfo* c = r->u.gReg.elements[i];
            if (c && seen.insert(c).second) collect(c, m, seen, depth + 1);
        }
    }

    unsigned index_;
    int flags_;
    Fg_Struct* fg_ = nullptr;
    bool openFailed_ = false;
    void* lib_ = nullptr;
    InfoFn info_ = nullptr;
    std::map<unsigned, std::map<int, const RegisterInfo*>> records_;
};

// ---- values ------------------------------------------------------------------

// How a parameter's value is exchanged, from its record's format.
enum class Kind { UInt32, Int32, UInt64, Int64, Double, Enum, Text, UIntField, IntField, DoubleField, Unsupported };

Kind kindOf(const RegisterInfo* r) {
    if (!r) return Kind::UInt32;  // parameters without a record (host-level ones)
    switch (r->format) {
    case REG_FORMAT_UINT: return Kind::UInt32;
    case REG_FORMAT_INT: return Kind::Int32;
    case REG_FORMAT_ENUM: return Kind::Enum;
    case REG_FORMAT_STRING: return Kind::Text;
    case REG_FORMAT_DOUBLE:
    case REG_FORMAT_FLOAT: return Kind::Double;
    case REG_FORMAT_UINT64: return Kind::UInt64;
    case REG_FORMAT_INT64: return Kind::Int64;
    case REG_FORMAT_UINTFIELD: return Kind::UIntField;
    case REG_FORMAT_INTFIELD: return Kind::IntField;
    case REG_FORMAT_DOUBLEFIELD: return Kind::DoubleField;
    default: return Kind::Unsupported;
    }
}

int fieldSize(const RegisterInfo* r) {
    switch (r->format) {
    case REG_FORMAT_UINTFIELD: return r->u.uifReg.nrOfElements;
    case REG_FORMAT_INTFIELD: return r->u.ifReg.nrOfElements;
    case REG_FORMAT_DOUBLEFIELD: return r->u.dfReg.nrOfElements;
    default: return 0;
    }
}

// The entry of an enumeration with the given value (-1 when none).
int enumEntry(const RegisterInfo* r, uint32_t value) {
    const EnumReg& e = r->u.eReg;
    if (!e.enumValues) return -1;
    for (int i = 0; i < e.nrOfElements && i < 100000; ++i) {
        if (static_cast<uint32_t>(e.enumValues[i]) == value) return i;
    }
    return -1;
}

std::string enumConstant(const RegisterInfo* r, int i) {
    const EnumReg& e = r->u.eReg;
    if (e.enumDefName && e.enumDefName[i]) return toUtf8(e.enumDefName[i]);
    if (e.enumNames && e.enumNames[i]) return "\"" + toUtf8(e.enumNames[i]) + "\"";
    return std::to_string(e.enumValues[i]);
}

// An enumeration value printed as a number: negative when an entry says so.
std::string enumNumber(const RegisterInfo* r, uint32_t v) {
    int i = enumEntry(r, v);
    if (i >= 0 && r->u.eReg.enumValues[i] < 0) return std::to_string(r->u.eReg.enumValues[i]);
    return std::to_string(v);
}

struct Value {
    int code = 0;  // 0 or the error code of the read
    Kind kind = Kind::UInt32;
    uint64_t u = 0;
    int64_t i = 0;
    double d = 0;
    std::string text;
    std::vector<double> field;  // field elements (integers are exact in a double)
    int fieldTotal = 0;
};

// Reads a number as type T and widens it into `out`; the read's code.
template <class T, class Out>
int readNumber(Fg_Struct* fg, int id, unsigned port, FgParamTypes type, Out& out) {
    T x = 0;
    const int code = Fg_getParameterWithType(fg, id, &x, port, type);
    out = x;
    return code;
}

Value readValue(Board& b, int id, unsigned port, const RegisterInfo* r) {
    Value v;
    v.kind = kindOf(r);
    Fg_Struct* fg = b.fg();
    switch (v.kind) {
    case Kind::UInt32:
    case Kind::Enum:
        v.code = readNumber<uint32_t>(fg, id, port, FG_PARAM_TYPE_UINT32_T, v.u);
        break;
    case Kind::Int32:
        v.code = readNumber<int32_t>(fg, id, port, FG_PARAM_TYPE_INT32_T, v.i);
        break;
    case Kind::UInt64:
        v.code = readNumber<uint64_t>(fg, id, port, FG_PARAM_TYPE_UINT64_T, v.u);
        break;
    case Kind::Int64:
        v.code = readNumber<int64_t>(fg, id, port, FG_PARAM_TYPE_INT64_T, v.i);
        break;
    case Kind::Double:
        v.code = readNumber<double>(fg, id, port, FG_PARAM_TYPE_DOUBLE, v.d);
        break;
    case Kind::Text: {
        std::vector<char> buf(kTextBuffer, '\0');
        v.code = Fg_getParameterWithType(fg, id, buf.data(), port, FG_PARAM_TYPE_CHAR_PTR);
        buf.back() = '\0';
        v.text = buf.data();
        break;
    }
    case Kind::UIntField:
    case Kind::IntField:
    case Kind::DoubleField: {
        int n = fieldSize(r);
        v.fieldTotal = n;
        if (n <= 0 || n > kMaxFieldElements) break;
        FieldParameterAccess a;
        std::memset(&a, 0, sizeof a);
        a.index = 0;
        a.count = static_cast<unsigned>(n);
        std::vector<uint32_t> u32;
        std::vector<int32_t> i32;
        std::vector<double> dbl;
        if (v.kind == Kind::UIntField) {
            u32.assign(static_cast<size_t>(n), 0);
            a.vtype = FG_PARAM_TYPE_UINT32_T;
            a.p_uint32_t = u32.data();
        } else if (v.kind == Kind::IntField) {
            i32.assign(static_cast<size_t>(n), 0);
            a.vtype = FG_PARAM_TYPE_INT32_T;
            a.p_int32_t = i32.data();
        } else {
            dbl.assign(static_cast<size_t>(n), 0.0);
            a.vtype = FG_PARAM_TYPE_DOUBLE;
            a.p_double = dbl.data();
        }
        v.code = Fg_getParameterWithType(fg, id, &a, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
        if (v.code == 0) {
            for (int k = 0; k < n; ++k) {
                v.field.push_back(v.kind == Kind::UIntField  ? static_cast<double>(u32[static_cast<size_t>(k)])
                                  : v.kind == Kind::IntField ? static_cast<double>(i32[static_cast<size_t>(k)])
                                                             : dbl[static_cast<size_t>(k)]);
            }
        }
        break;
    }
    case Kind::Unsupported: v.code = FG_ERR_NOT_SUPPORTED; break;
    }
    return v;
}

std::string fieldSummary(const Value& v) {
    std::string s = std::to_string(v.fieldTotal) + (v.fieldTotal == 1 ? " value" : " values");
    if (v.field.empty()) return s;
    s += ": ";
    const size_t n = v.field.size();
    auto item = [&](size_t k) { return formatDouble(v.field[k]); };
    if (n <= 8) {
        for (size_t k = 0; k < n; ++k) s += (k ? ", " : "") + item(k);
    } else {
        for (size_t k = 0; k < 4; ++k) s += item(k) + ", ";
        s += "..., " + item(n - 1);
    }
    return s;
}

// The value as `get` prints it (enumerations with constant name and number).
std::string showValue(const Value& v, const RegisterInfo* r, bool withNumber) {
    switch (v.kind) {
    case Kind::UInt32:
    case Kind::UInt64: return std::to_string(v.u);
    case Kind::Int32:
    case Kind::Int64: return std::to_string(v.i);
    case Kind::Double: return formatDouble(v.d);
    case Kind::Enum: {
        uint32_t x = static_cast<uint32_t>(v.u);
        int i = enumEntry(r, x);
        if (i < 0) return enumNumber(r, x);
        std::string s = enumConstant(r, i);
        if (withNumber) s += " (" + enumNumber(r, x) + ")";
        return s;
    }
    case Kind::Text: return quoted(toUtf8(v.text));
    case Kind::UIntField:
    case Kind::IntField:
    case Kind::DoubleField: return fieldSummary(v);
    case Kind::Unsupported: break;
    }
    return "?";
}

// Parses VALUE for a write. Returns false with the reason in *why.
struct Written {
    FgParamTypes type = FG_PARAM_TYPE_UINT32_T;
    uint32_t u32 = 0;
    int32_t i32 = 0;
    uint64_t u64 = 0;
    int64_t i64 = 0;
    double d = 0;
    std::string text;
    const void* ptr() const {
        switch (type) {
        case FG_PARAM_TYPE_INT32_T: return &i32;
        case FG_PARAM_TYPE_UINT64_T: return &u64;
        case FG_PARAM_TYPE_INT64_T: return &i64;
        case FG_PARAM_TYPE_DOUBLE: return &d;
        case FG_PARAM_TYPE_CHAR_PTR: return text.c_str();
        default: return &u32;
        }
    }
};

bool parseValue(const std::string& text, const RegisterInfo* r, Written* w, std::string* why) {
    Kind k = kindOf(r);
    switch (k) {
    case Kind::UInt32: {
        uint64_t x = 0;
        if (!parseUnsigned(text, &x) || x > 0xFFFFFFFFull) {
            *why = "expected an unsigned 32-bit integer";
            return false;
        }
        w->type = FG_PARAM_TYPE_UINT32_T;
        w->u32 = static_cast<uint32_t>(x);
        return true;
    }
    case Kind::UInt64: {
        if (!parseUnsigned(text, &w->u64)) {
            *why = "expected an unsigned 64-bit integer";
            return false;
        }
        w->type = FG_PARAM_TYPE_UINT64_T;
        return true;
    }
    case Kind::Int32:
    case Kind::Int64: {
        int64_t x = 0;
        if (!parseSigned(text, &x) || (k == Kind::Int32 && (x < INT32_MIN || x > INT32_MAX))) {
            *why = "expected an integer";
            return false;
        }
        w->type = k == Kind::Int32 ? FG_PARAM_TYPE_INT32_T : FG_PARAM_TYPE_INT64_T;
        w->i32 = static_cast<int32_t>(x);
        w->i64 = x;
        return true;
    }
    case Kind::Double: {
        if (!parseDouble(text, &w->d)) {
            *why = "expected a finite number";
            return false;
        }
        w->type = FG_PARAM_TYPE_DOUBLE;
        return true;
    }
    case Kind::Enum: {
        const EnumReg& e = r->u.eReg;
        w->type = FG_PARAM_TYPE_UINT32_T;
        // Constant name (exact, then any case), then display name, then number.
        for (int pass = 0; pass < 3; ++pass) {
            for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
                const char* def = e.enumDefName ? e.enumDefName[i] : nullptr;
                const char* disp = e.enumNames ? e.enumNames[i] : nullptr;
                bool hit = (pass == 0 && def && text == def) ||
                           (pass == 1 && def && upperCase(text) == upperCase(def)) ||
                           (pass == 2 && disp && upperCase(text) == upperCase(toUtf8(disp)));
                if (hit) {
                    w->u32 = static_cast<uint32_t>(e.enumValues[i]);
                    return true;
                }
            }
        }
        int64_t x = 0;
        if (parseSigned(text, &x) && x >= INT32_MIN && x <= static_cast<int64_t>(UINT32_MAX)) {
            w->u32 = static_cast<uint32_t>(x);
            return true;
        }
        std::string names;
        for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
            names += (i ? ", " : "") + enumConstant(r, i);
        }
        *why = "not an entry of the enumeration (" + names + ")";
        return false;
    }
    case Kind::Text: {
        if (text.size() > kMaxTextValue) {
            *why = "text longer than " + std::to_string(kMaxTextValue) + " characters";
            return false;
        }
        if (text.find('\0') != std::string::npos) {
            *why = "text contains a NUL character";
            return false;
        }
        w->type = FG_PARAM_TYPE_CHAR_PTR;
        w->text = text;
        return true;
    }
    case Kind::UIntField:
    case Kind::IntField:
    case Kind::DoubleField:
        *why = "a field of " + std::to_string(fieldSize(r)) +
               " elements cannot be set from here (for the lookup table use 'lut load')";
        return false;
    case Kind::Unsupported: break;
    }
    *why = "parameter kind " + std::to_string(r ? static_cast<int>(r->format) : -1) + " is not supported";
    return false;
}

// ---- the commands ----------------------------------------------------------

class Runner {
public:
    Runner(unsigned board, int flags, bool keepGoing) : board_(board, flags), keepGoing_(keepGoing) {}

    Status runAll(const std::vector<Command>& cmds) {
        Status worst = kOk;
        for (const Command& c : cmds) {
            Status s = run(c, "appletctl");
            if (s > worst) worst = s;
            if (s != kOk && !keepGoing_) break;
            if (stopped_) break;
        }
        board_.close();
        return worst;
    }

private:
    Status run(const Command& c, const std::string& where) {
        if (c.help) {
            if (const CommandHelp* h = findCommand(c.word)) printCommandHelp(*h);
            return kOk;
        }
        if (c.word == "help") {
            if (c.args.empty()) {
                printToolHelp();
            } else if (const CommandHelp* h = findCommand(c.args[0])) {
                printCommandHelp(*h);
            }
            return kOk;
        }
        if (c.word == "script") return runScript(c.args[0], where);
        const std::string ctx = where + ": " + visible(shorten(c.typed));
        if (!board_.open(where)) return kFailed;
        if (c.word == "info") return info(ctx);
        if (c.word == "list") return list(c, ctx);
        if (c.word == "get") return get(c, ctx);
        if (c.word == "set") return set(c, ctx);
        if (c.word == "describe") return describe(c, ctx);
        if (c.word == "xml") return xml(c, ctx);
        if (c.word == "save") return saveConfig(c, ctx);
        if (c.word == "load") return loadConfig(c, ctx);
        if (c.word == "lut") return lut(c, ctx);
        err(ctx, "unknown command");
        return kUsage;
    }

    Status runScript(const std::string& path, const std::string& where) {
        std::istream* in = &std::cin;
        std::ifstream file;
        std::string label = "<stdin>";
        if (path != "-") {
            file.open(path, std::ios::in | std::ios::binary);
            if (!file) {
                err(where, "cannot read script '" + visible(path) + "': " + std::strerror(errno));
                return kFailed;
            }
            in = &file;
            label = path;
        }
        Status worst = kOk;
        std::string line;
        unsigned long lineNo = 0;
        while (std::getline(*in, line)) {
            ++lineNo;
            const std::string at = visible(label) + ":" + std::to_string(lineNo);
            std::vector<std::string> tokens;
            std::string why;
            if (!splitWords(line, &tokens, &why)) {
                err(at, why);
                worst = kUsage;
                if (!keepGoing_) {
                    stopped_ = true;
                    break;
                }
                continue;
            }
            if (tokens.empty()) continue;
            size_t pos = 0;
            Command cmd;
            Status s = parseCommand(tokens, pos, false, cmd, &why);
            if (s == kOk && pos < tokens.size()) {
                why = "unexpected '" + visible(tokens[pos]) + "' after " + cmd.word + " (one command per line)";
                s = kUsage;
            }
            if (s != kOk) {
                err(at, why);
            } else {
                s = run(cmd, at);
            }
            if (s > worst) worst = s;
            if (s != kOk && !keepGoing_) {
                stopped_ = true;
                break;
            }
        }
        return worst;
    }

    // Reports a failing call; always kFailed.
    Status fail(const std::string& ctx, int code, const std::string& extra = std::string()) {
        err(ctx, errorText(code) + extra);
        return kFailed;
    }

    Status info(const std::string& ctx) {
        InfoFn f = board_.info();
        if (!f) {
            err(ctx, std::string("the applet library ") + kAppletLibrary + " offers no Info query");
            return kFailed;
        }
        Status st = kOk;
        std::string s;
        auto row = [&](const std::string& key, const std::string& value) {
            s += key;
            s += std::string(key.size() < 16 ? 16 - key.size() : 1, ' ');
            s += value;
            s += '\n';
        };
        auto text = [&](AppletInfos q) -> std::string {
            const void* p = nullptr;
            int rc = f(q, 0, 0, nullptr, &p);
            if (rc < 0) {
                st = kFailed;
                return "<error " + errorText(rc) + ">";
            }
            return p ? toUtf8(static_cast<const char*>(p)) : std::string();
        };
        auto number = [&](AppletInfos q, int a1, int a2) -> int {
            return f(q, a1, a2, nullptr, nullptr);
        };
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
        row("board", std::to_string(board_.index()));
        int ports = number(GET_NR_OF_PORTS, 0, 0);
        row("ports", shown(ports));
        row("cameras", shown(number(GET_NR_OF_CAMS, 0, 0)));
        int processes = number(GET_INFO_NR_OF_PROCESSES, 0, 0);
        row("processes", shown(processes));
        for (int p = 0; p < processes && p < 64; ++p) {
            std::string v = "camera port " + shown(number(GET_INFO_PROCESS_CAMERA_PORT, p, 0));
            int channels = number(GET_INFO_NR_OF_PROCESS_CHANNELS, p, 0);
            if (channels < 0) shown(channels);
            for (int c = 0; c < channels && c < 64; ++c) {
                v += ", DMA " + shown(number(GET_INFO_PROCESS_CHANNEL_DMA, p, c));
            }
            row("process " + std::to_string(p), v);
        }
        int dmas = number(GET_NR_OF_DMAS, 0, 0);
        row("DMA channels", shown(dmas));
        for (int d = 0; d < dmas && d < 64; ++d) {
            int t = number(GET_INFO_DMA_DATATYPE, d, 0);
            row("DMA " + std::to_string(d), t < 0 ? shown(t) : dmaTypeName(t));
        }
        out(s);
        return st;
    }

    static std::string dmaTypeName(int t) {
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

    static std::string accessText(const RegisterInfo* r) {
        if (!r) return "r";
        switch (r->accessFlags & 3) {
        case 3: return "rw";
        case 1: return "r";
        case 2: return "w";
        default: return "-";
        }
    }

    static std::string rangeText(const RegisterInfo* r) {
        if (!r) return "";
        auto withStep = [](const std::string& from, const std::string& to, const std::string& step) {
            std::string s = from + ".." + to;
            if (!step.empty()) s += " step " + step;
            return s;
        };
        switch (r->format) {
        case REG_FORMAT_UINT: {
            const UIntReg& u = r->u.uiReg;
            return withStep(std::to_string(u.from), std::to_string(u.to),
                            u.steps > 1 ? std::to_string(u.steps) : std::string());
        }
        case REG_FORMAT_INT: {
            const IntReg& u = r->u.iReg;
            return withStep(std::to_string(u.from), std::to_string(u.to),
                            u.steps > 1 ? std::to_string(u.steps) : std::string());
        }
        case REG_FORMAT_UINT64: {
            const IntReg64& u = r->u.iReg64;
            return withStep(std::to_string(u.from), std::to_string(u.to),
                            u.steps > 1 ? std::to_string(u.steps) : std::string());
        }
        case REG_FORMAT_INT64: {
            const IntReg64& u = r->u.iReg64;
            return withStep(std::to_string(static_cast<int64_t>(u.from)), std::to_string(static_cast<int64_t>(u.to)),
                            static_cast<int64_t>(u.steps) > 1 ? std::to_string(static_cast<int64_t>(u.steps))
                                                              : std::string());
        }
        case REG_FORMAT_DOUBLE: {
            const DoubleReg& u = r->u.dReg;
            // A step of the double epsilon stands for a continuous range.
            return withStep(formatDouble(u.from), formatDouble(u.to),
                            u.steps > DBL_EPSILON ? formatDouble(u.steps) : std::string());
        }
        case REG_FORMAT_FLOAT: {
            const FloatReg& u = r->u.fReg;
            return withStep(formatDouble(u.from), formatDouble(u.to),
                            u.steps > FLT_EPSILON ? formatDouble(u.steps) : std::string());
        }
        case REG_FORMAT_ENUM: {
            std::string s;
            const EnumReg& e = r->u.eReg;
            for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
                if (i) s += ' ';
                s += enumConstant(r, i) + "=" + std::to_string(e.enumValues[i]);
            }
            return s;
        }
        case REG_FORMAT_STRING: {
            const char* ext = r->u.sReg.FileExtension;
            return ext && *ext ? "file " + toUtf8(ext) : "text";
        }
        case REG_FORMAT_UINTFIELD: {
            const UIntFieldReg& u = r->u.uifReg;
            return std::to_string(u.nrOfElements) + " x " + std::to_string(u.from) + ".." + std::to_string(u.to);
        }
        case REG_FORMAT_INTFIELD: {
            const IntFieldReg& u = r->u.ifReg;
            return std::to_string(u.nrOfElements) + " x " + std::to_string(u.from) + ".." + std::to_string(u.to);
        }
        case REG_FORMAT_DOUBLEFIELD: {
            const DoubleFieldReg& u = r->u.dfReg;
            return std::to_string(u.nrOfElements) + " x " + formatDouble(u.from) + ".." + formatDouble(u.to);
        }
        default: return "kind " + std::to_string(static_cast<int>(r->format));
        }
    }

    Status list(const Command& c, const std::string& ctx) {
        Fg_Struct* fg = board_.fg();
        if (!board_.hasRecords(c.port)) return fail(ctx, FG_ERR_NO_DESCRIPTION);
        int n = Fg_getNrOfParameter(fg);
        if (n < 0) return fail(ctx, n);
        std::vector<std::vector<std::string>> rows;
        rows.push_back({"NAME", "ID", "ACCESS", "VALUE", "UNIT", "RANGE / ENTRIES"});
        for (int i = 0; i < n && i < 1000000; ++i) {
            const char* name = Fg_getParameterName(fg, i);
            if (!name) continue;
            int id = Fg_getParameterId(fg, i);
            if (id < 0) continue;
            const RegisterInfo* r = board_.record(c.port, id);
            Value v = readValue(board_, id, c.port, r);
            std::string value = v.code ? "<error " + std::to_string(v.code) + ">" : showValue(v, r, false);
            std::string unit = r && r->unit ? toUtf8(r->unit) : "";
            rows.push_back({visible(name), std::to_string(id), accessText(r), value, unit, rangeText(r)});
        }
        std::vector<size_t> width(rows[0].size(), 0);
        for (const auto& row : rows) {
            for (size_t k = 0; k < row.size(); ++k) width[k] = std::max(width[k], displayWidth(row[k]));
        }
        std::string s = "port " + std::to_string(c.port) + ": " + std::to_string(rows.size() - 1) + " parameters\n";
        for (const auto& row : rows) {
            std::string line;
            for (size_t k = 0; k < row.size(); ++k) {
                line += row[k];
                if (k + 1 < row.size()) line += std::string(width[k] - displayWidth(row[k]) + 2, ' ');
            }
            while (!line.empty() && line.back() == ' ') line.pop_back();
            s += line + '\n';
        }
        out(s);
        return kOk;
    }

    // Resolves NAME for get/set/describe; on failure reports and returns false.
    bool resolve(const std::string& typed, const std::string& ctx, int* id, std::string* name) {
        *id = board_.idOf(typed);
        if (*id < 0) {
            err(ctx, errorText(*id) + ": no parameter named '" + visible(shorten(typed)) + "'");
            return false;
        }
        *name = board_.canonicalName(*id, typed);
        return true;
    }

    Status get(const Command& c, const std::string& ctx) {
        int id = 0;
        std::string name;
        if (!resolve(c.args[0], ctx, &id, &name)) return kFailed;
        const RegisterInfo* r = board_.record(c.port, id);
        Value v = readValue(board_, id, c.port, r);
        if (v.code) return fail(ctx, v.code);
        out(name + "@" + std::to_string(c.port) + " = " + showValue(v, r, true) + "\n");
        return kOk;
    }

    Status set(const Command& c, const std::string& ctx) {
        int id = 0;
        std::string name;
        if (!resolve(c.args[0], ctx, &id, &name)) return kFailed;
        const RegisterInfo* r = board_.record(c.port, id);
        Written w;
        std::string why;
        if (!parseValue(c.args[1], r, &w, &why)) {
            err(ctx, "bad value '" + visible(shorten(c.args[1])) + "' for " + name + ": " + why);
            return kFailed;
        }
        int rc = Fg_setParameterWithType(board_.fg(), id, w.ptr(), c.port, w.type);
        if (rc != 0) return fail(ctx, rc);
        Value v = readValue(board_, id, c.port, r);
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

    Status describe(const Command& c, const std::string& ctx) {
        int id = 0;
        std::string name;
        if (!resolve(c.args[0], ctx, &id, &name)) return kFailed;
        std::vector<char> buf(kTextBuffer, '\0');
        if (name.size() >= buf.size()) return fail(ctx, FG_ERR_INVALID_PARAMETER);
        std::memcpy(buf.data(), name.c_str(), name.size() + 1);
        int rc = Fg_getParameterWithType(board_.fg(), FG_PARAMETER_DESCRIPTION_QUERY, buf.data(), c.port, FG_PARAM_TYPE_CHAR_PTR);
        if (rc != 0) return fail(ctx, rc);
        buf.back() = '\0';
        std::string text = toUtf8(buf.data());
        out(name + ": " + (text.empty() ? std::string("(no description)") : text) + "\n");
        return kOk;
    }

    Status xml(const Command& c, const std::string& ctx) {
        if (c.port > 0x7FFFFFFFu) return fail(ctx, FG_ERR_INVALID_PARAMETER);
        const int port = static_cast<int>(c.port);
        size_t size = 0;
        int rc = Fg_getParameterInfoXML(board_.fg(), port, nullptr, &size);
        if (rc != 0) return fail(ctx, rc);
        if (size == 0 || size > (size_t(1) << 30)) return fail(ctx, FG_ERR_BUFFER_TOO_SMALL);
        std::vector<char> buf(size + 1, '\0');
        size_t have = buf.size();
        rc = Fg_getParameterInfoXML(board_.fg(), port, buf.data(), &have);
        if (rc != 0) return fail(ctx, rc);
        buf.back() = '\0';
        std::string doc(buf.data());
        if (c.outFile.empty()) {
            out(doc);
            if (doc.empty() || doc.back() != '\n') out("\n");
            return kOk;
        }
        std::FILE* f = std::fopen(c.outFile.c_str(), "wb");
        if (!f) {
            err(ctx, "cannot write '" + visible(c.outFile) + "': " + std::strerror(errno));
            return kFailed;
        }
        bool ok = std::fwrite(doc.data(), 1, doc.size(), f) == doc.size();
        ok = (std::fclose(f) == 0) && ok;
        if (!ok) {
            err(ctx, "cannot write '" + visible(c.outFile) + "'");
            return kFailed;
        }
        out("GenApi description of port " + std::to_string(port) + " written to " + visible(c.outFile) + " (" +
            std::to_string(doc.size()) + " bytes)\n");
        return kOk;
    }

    // Configuration saving and loading switch the process locale; the tool
    // prints numbers in the C locale.
    static void restoreLocale() { std::setlocale(LC_ALL, "C"); }

    static std::string mcfHint(const std::string& file) {
        return file.find(".mcf") == std::string::npos ? " (configuration file names must contain \".mcf\")"
                                                       : std::string();
    }

    Status saveConfig(const Command& c, const std::string& ctx) {
        const std::string& file = c.args[0];
        int rc = Fg_saveConfig(board_.fg(), file.c_str());
        restoreLocale();
        if (rc != 0) return fail(ctx, rc, mcfHint(file));
        out("configuration saved to " + visible(file) + "\n");
        return kOk;
    }

    Status loadConfig(const Command& c, const std::string& ctx) {
        const std::string& file = c.args[0];
        int rc = Fg_loadConfig(board_.fg(), file.c_str());
        restoreLocale();
        if (rc != 0) return fail(ctx, rc, rc == FG_ERR_FILE_NOT_FOUND ? mcfHint(file) : std::string());
        out("configuration loaded from " + visible(file) + "\n");
        return kOk;
    }

    Status lut(const Command& c, const std::string& ctx) {
        Fg_Struct* fg = board_.fg();
        const std::string& file = c.args[1];
        if (file.size() > kMaxTextValue) {
            err(ctx, "file name longer than " + std::to_string(kMaxTextValue) + " characters");
            return kFailed;
        }
        const std::string port = std::to_string(c.port);
        if (c.args[0] == "save") {
            int id = board_.idOf("FG_LUT_SAVE_FILE");
            if (id < 0) return fail(ctx, id);
            int rc = Fg_setParameterWithType(fg, id, file.c_str(), c.port, FG_PARAM_TYPE_CHAR_PTR);
            if (rc != 0) return fail(ctx, rc);
            out("lookup table of port " + port + " saved to " + visible(file) + "\n");
            return kOk;
        }
        int fileId = board_.idOf("FG_LUT_CUSTOM_FILE");
        int typeId = board_.idOf("FG_LUT_TYPE");
        if (fileId < 0) return fail(ctx, fileId);
        if (typeId < 0) return fail(ctx, typeId);
        // The custom type loads the file named; keep the old name to put it back.
        std::vector<char> old(kTextBuffer, '\0');
        bool haveOld = Fg_getParameterWithType(fg, fileId, old.data(), c.port, FG_PARAM_TYPE_CHAR_PTR) == 0;
        old.back() = '\0';
        uint32_t type = 0;
        int rc = Fg_getParameterWithType(fg, typeId, &type, c.port, FG_PARAM_TYPE_UINT32_T);
        if (rc != 0) return fail(ctx, rc);
        rc = Fg_setParameterWithType(fg, fileId, file.c_str(), c.port, FG_PARAM_TYPE_CHAR_PTR);
        if (rc == 0 && type != 0) {
            const uint32_t custom = 0;  // LUT_TYPE_CUSTOM
            rc = Fg_setParameterWithType(fg, typeId, &custom, c.port, FG_PARAM_TYPE_UINT32_T);
            if (rc != 0 && haveOld) {
                Fg_setParameterWithType(fg, fileId, old.data(), c.port, FG_PARAM_TYPE_CHAR_PTR);
            }
        }
        if (rc != 0) return fail(ctx, rc);
        out("lookup table of port " + port + " loaded from " + visible(file) + " (FG_LUT_TYPE = LUT_TYPE_CUSTOM)\n");
        return kOk;
    }

    Board board_;
    bool keepGoing_;
    bool stopped_ = false;
};

int mainImpl(int argc, char** argv) {
    std::vector<std::string> tokens;
    for (int i = 1; i < argc; ++i) tokens.push_back(argv[i] ? argv[i] : "");

    unsigned board = 0;
    int flags = 0;
    bool keepGoing = false;
    size_t pos = 0;
    // Options of the tool, before the first command.
    while (pos < tokens.size()) {
        const std::string& t = tokens[pos];
        if (t == "-h" || t == "--help") {
            printToolHelp();
            return kOk;
        } else if (t == "--no-defaults") {
            flags |= 1;
        } else if (t == "-k" || t == "--keep-going") {
            keepGoing = true;
        } else if (t == "--board" || t.compare(0, 8, "--board=") == 0) {
            std::string v;
            if (t == "--board") {
                if (pos + 1 >= tokens.size()) {
                    err("appletctl", "--board needs a number");
                    return kUsage;
                }
                v = tokens[++pos];
            } else {
                v = t.substr(8);
            }
            if (!parsePort(v, &board)) {
                err("appletctl", "bad board number '" + visible(shorten(v)) + "'");
                return kUsage;
            }
        } else if (t.size() > 1 && t[0] == '-' && t != "--script") {
            err("appletctl", "unknown option '" + visible(shorten(t)) + "' (see appletctl --help)");
            return kUsage;
        } else {
            break;
        }
        ++pos;
    }
    if (pos >= tokens.size()) {
        err("appletctl", "no command given (see appletctl --help)");
        return kUsage;
    }

    // The whole command line is checked before anything runs.
    std::vector<Command> cmds;
    while (pos < tokens.size()) {
        Command c;
        std::string why;
        if (parseCommand(tokens, pos, true, c, &why) != kOk) {
            err("appletctl", visible(shorten(why)));
            return kUsage;
        }
        cmds.push_back(c);
    }
    // Help alone needs no board.
    Runner runner(board, flags, keepGoing);
    return runner.runAll(cmds);
}

}  // namespace
}  // namespace appletctl

int main(int argc, char** argv) {
    try {
        return appletctl::mainImpl(argc, argv);
    } catch (const std::bad_alloc&) {
        appletctl::err("appletctl", "out of memory");
    } catch (const std::exception& e) {
        appletctl::err("appletctl", std::string("internal error: ") + e.what());
    } catch (...) {
        appletctl::err("appletctl", "internal error");
    }
    return 1;
}
