// Parsing of commands against the table, and the reading of scripts: a whole
// command line with every script it names is parsed before anything runs.
#include "command_line.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "image_files.h"
#include "text_util.h"

namespace appletctl {

bool Command::has(const char* longName) const { return option(longName) != nullptr; }

const std::string* Command::option(const char* longName) const {
    for (const GivenOption& o : options) {
        if (std::strcmp(o.def->longName, longName) == 0) return &o.value;
    }
    return nullptr;
}

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

namespace {

bool isHelp(const std::string& t) { return t == "--help" || t == "-h"; }

std::string firstWord(const char* name) {
    const char* sp = std::strchr(name, ' ');
    return sp ? std::string(name, sp) : std::string(name);
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

std::string synopsis(const CommandDef& c) {
    std::string s = c.name;
    for (const ArgDef& a : c.args) s += std::string(" ") + (a.optional ? "[" : "") + a.name + (a.optional ? "]" : "");
    for (const OptionDef& o : c.options) {
        s += std::string(" [") + o.longName + (o.valueName ? std::string(" ") + o.valueName : std::string()) + "]";
    }
    return s;
}

// The value of an option or argument, checked by its kind.
bool checkValue(ArgKind kind, const std::string& v, const std::string& what, std::string* why) {
    switch (kind) {
    case ArgKind::Port: {
        unsigned p = 0;
        if (!parsePort(v, &p)) {
            *why = what + ": bad port '" + visible(shorten(v)) + "' (a number such as 0 or 1)";
            return false;
        }
        return true;
    }
    case ArgKind::Count: {
        uint64_t n = 0;
        if (!parseUnsigned(v, &n) || n == 0 || n > 0x7FFFFFFF) {
            *why = what + ": expected a whole number from 1, not '" + visible(shorten(v)) + "'";
            return false;
        }
        return true;
    }
    case ArgKind::Seconds: {
        double s = 0;
        if (!parseDouble(v, &s) || s <= 0 || s > 1e6) {
            *why = what + ": expected a number of seconds above 0, not '" + visible(shorten(v)) + "'";
            return false;
        }
        return true;
    }
    case ArgKind::Address:
        if (v.find(':') == std::string::npos) {
            *why = what + ": expected ADDRESS:PORT, not '" + visible(shorten(v)) + "'";
            return false;
        }
        return true;
    case ArgKind::CommandName:
        if (!findCommand(v)) {
            *why = what + ": no command '" + visible(shorten(v)) + "' (see appletctl --help)";
            return false;
        }
        return true;
    case ArgKind::ImageFile:
        if (!checkImageName(v, why)) {
            *why = what + ": " + *why;
            return false;
        }
        return true;
    case ArgKind::InputFile:
    case ArgKind::OutputFile:
    case ArgKind::ConfigOrBoard:
        if (v.empty()) {
            *why = what + ": empty file name";
            return false;
        }
        return true;
    default: return true;
    }
}

const OptionDef* matchOption(const CommandDef& c, const std::string& t, std::string* inlineValue, bool* hasInline) {
    for (const OptionDef& o : c.options) {
        const std::string l = o.longName;
        if (t == l || (o.shortName && t == o.shortName)) {
            *hasInline = false;
            return &o;
        }
        if (o.valueName && t.compare(0, l.size() + 1, l + "=") == 0) {
            *inlineValue = t.substr(l.size() + 1);
            *hasInline = true;
            return &o;
        }
    }
    return nullptr;
}

}  // namespace

std::string commandSynopsis(const CommandDef& c) { return synopsis(c); }

Status parseCommand(const std::vector<std::string>& words, size_t& pos, Command& cmd, std::string* why) {
    const size_t start = pos;
    const std::string word = words[pos++];
    cmd = Command();
    auto finish = [&]() {
        cmd.typed.clear();
        for (size_t i = start; i < pos; ++i) cmd.typed += (i > start ? " " : "") + words[i];
    };
    auto next = [&]() -> const std::string* { return pos < words.size() ? &words[pos] : nullptr; };

    // The rows of this first word; a word with sub-commands takes its second word too.
    std::vector<const CommandDef*> rows;
    for (const CommandDef& c : commandTable()) {
        if (firstWord(c.name) == word) rows.push_back(&c);
    }
    if (rows.empty()) {
        *why = (word.size() > 1 && word[0] == '-' ? "unknown option '" : "unknown command '") + visible(shorten(word)) +
               "' (see appletctl --help)";
        return kUsage;
    }
    if (next() && isHelp(*next())) {
        ++pos;
        cmd.def = rows[0];
        cmd.help = true;
        finish();
        return kOk;
    }
    const CommandDef* def = rows[0];
    if (std::strchr(def->name, ' ')) {
        std::string subs;
        def = nullptr;
        for (const CommandDef* r : rows) {
            const std::string sub = std::strchr(r->name, ' ') + 1;
            subs += (subs.empty() ? "'" : " or '") + sub + "'";
            if (next() && *next() == sub) def = r;
        }
        if (!def) {
            *why = word + ": expected " + subs + (next() ? ", not '" + visible(shorten(*next())) + "'" : std::string());
            return kUsage;
        }
        ++pos;
    }
    cmd.def = def;

    size_t filled = 0;
    while (const std::string* t = next()) {
        if (isHelp(*t)) {
            ++pos;
            cmd.help = true;
            continue;
        }
        std::string value;
        bool hasInline = false;
        if (const OptionDef* o = matchOption(*def, *t, &value, &hasInline)) {
            const std::string opt = *t;
            ++pos;
            if (o->valueName && !hasInline) {
                if (!next()) {
                    *why = std::string(def->name) + ": " + opt + " needs a value";
                    return kUsage;
                }
                value = words[pos++];
            }
            if (o->valueName && !checkValue(o->kind, value, def->name, why)) {
                return kUsage;
            }
            if (o->kind == ArgKind::Port) {
                parsePort(value, &cmd.port);
                cmd.portGiven = true;
            }
            cmd.options.push_back({o, value});
            continue;
        }
        if (filled < def->args.size()) {
            const ArgDef& a = def->args[filled];
            if (a.optional && a.kind == ArgKind::CommandName && !findCommand(*t)) break;
            if (a.optional && t->size() > 1 && (*t)[0] == '-') break;
            cmd.args.push_back(*t);
            ++pos;
            ++filled;
            continue;
        }
        if (t->size() > 1 && (*t)[0] == '-' && *t != "--script") {
            *why = std::string(def->name) + ": unknown option '" + visible(shorten(*t)) +
                   "' (usage: " + synopsis(*def) + ")";
            return kUsage;
        }
        break;
    }
    finish();
    if (cmd.help) return kOk;
    for (size_t i = filled; i < def->args.size(); ++i) {
        if (!def->args[i].optional) {
            *why = std::string(def->name) + ": missing " + def->args[i].name + " (usage: " + synopsis(*def) + ")";
            return kUsage;
        }
    }
    // Checks of the arguments that need no board (an assignment adds its value
    // after the arguments, once they are all checked).
    std::string assigned;
    bool hasAssignment = false;
    for (size_t i = 0; i < filled; ++i) {
        const ArgDef& a = def->args[i];
        std::string& v = cmd.args[i];
        if (a.kind == ArgKind::Parameter) {
            splitPort(v, &cmd.port, &cmd.portGiven);
            if (v.empty()) {
                *why = std::string(def->name) + ": missing parameter name (usage: " + synopsis(*def) + ")";
                return kUsage;
            }
        } else if (a.kind == ArgKind::Assignment) {
            const std::string whole = v;
            const std::string::size_type eq = whole.find('=');
            if (eq == std::string::npos) {
                *why = std::string(def->name) + ": expected NAME=VALUE, not '" + visible(shorten(whole)) + "'";
                return kUsage;
            }
            std::string value = whole.substr(eq + 1);
            splitPort(value, &cmd.port, &cmd.portGiven);
            if (eq == 0) {
                *why = std::string(def->name) + ": missing parameter name in '" + visible(shorten(whole)) + "'";
                return kUsage;
            }
            v = whole.substr(0, eq);
            assigned = value;
            hasAssignment = true;
        } else if (!checkValue(a.kind, v, def->name, why)) {
            return kUsage;
        }
    }
    if (hasAssignment) cmd.args.push_back(assigned);  // the value after the name
    return kOk;
}

// ---- scripts ----------------------------------------------------------------

namespace {

const size_t kMaxLine = 4096;
const size_t kMaxScript = 4u << 20;
const size_t kMaxCommands = 100000;

}  // namespace

bool ScriptReader::open(const std::string& path) {
    label_ = path == "-" ? "<stdin>" : path;
    status_ = kFailed;  // a script that cannot be opened
    if (path == "-") {
        f_ = stdin;
        own_ = false;
        status_ = kUsage;
        return true;
    }
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        error_ = "cannot read script '" + visible(shorten(path)) + "': " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error_ = "cannot read script '" + visible(shorten(path)) + "': it is a directory";
        return false;
    }
    if (!S_ISREG(st.st_mode) && !S_ISFIFO(st.st_mode)) {
        error_ = "cannot read script '" + visible(shorten(path)) + "': not a regular file (a device or socket)";
        return false;
    }
    f_ = std::fopen(path.c_str(), "rb");
    if (!f_) {
        error_ = "cannot read script '" + visible(shorten(path)) + "': " + std::strerror(errno);
        return false;
    }
    own_ = true;
    status_ = kUsage;  // from here on: content that is no script
    return true;
}

ScriptReader::~ScriptReader() {
    if (f_ && own_) std::fclose(f_);
}

ScriptReader::Result ScriptReader::next(std::string* line) {
    line->clear();
    if (!f_) return End;
    bool any = false;
    for (;;) {
        int c = std::getc(f_);
        if (c == EOF) {
            if (std::ferror(f_)) {
                error_ = label_ + ": cannot read: " + std::strerror(errno ? errno : EIO);
                status_ = kFailed;
                return Error;
            }
            if (!any) return End;
            break;
        }
        any = true;
        if (++total_ > kMaxScript) {
            error_ = label_ + ": longer than " + std::to_string(kMaxScript >> 20) + " MiB: not a script";
            return Error;
        }
        if (c == '\n') break;
        if (c == '\0') {
            error_ = label_ + ":" + std::to_string(lineNo_ + 1) + ": binary data (a NUL byte): not a script";
            return Error;
        }
        if (line->size() >= kMaxLine) {
            error_ = label_ + ":" + std::to_string(lineNo_ + 1) + ": line longer than " + std::to_string(kMaxLine) +
                     " characters";
            return Error;
        }
        line->push_back(static_cast<char>(c));
    }
    ++lineNo_;
    return Line;
}

bool parseScriptLine(const std::string& line, const std::string& where, std::vector<Command>* cmds, std::string* why) {
    std::vector<std::string> words;
    if (!splitWords(line, &words, why)) return false;
    if (words.empty()) return true;
    if (words[0] == "--script" || words[0] == "-") {
        *why = "'" + words[0] + "' is not allowed inside a script";
        return false;
    }
    size_t pos = 0;
    Command cmd;
    if (parseCommand(words, pos, cmd, why) != kOk) return false;
    if (pos < words.size()) {
        *why = "unexpected '" + visible(shorten(words[pos])) + "' after " + cmd.def->name + " (one command per line)";
        return false;
    }
    cmd.where = where;
    cmds->push_back(cmd);
    return true;
}

bool parseScript(ScriptReader& reader, std::vector<Command>* cmds, ParseErrors* errors) {
    std::string line;
    for (;;) {
        ScriptReader::Result r = reader.next(&line);
        if (r == ScriptReader::End) return true;
        if (r == ScriptReader::Error) {
            errors->add(reader.status(), reader.error());
            return false;
        }
        const std::string where = visible(reader.label()) + ":" + std::to_string(reader.lineNo());
        std::string why;
        if (!parseScriptLine(line, where, cmds, &why)) errors->add(kUsage, where + ": " + visible(shorten(why)));
        if (cmds->size() > kMaxCommands) {
            errors->add(kUsage, where + ": more than " + std::to_string(kMaxCommands) + " commands");
            return false;
        }
    }
}

bool parseAll(const std::vector<std::string>& words, size_t pos, bool stdinIsTerminal, std::vector<Command>* cmds,
              ParseErrors* errors) {
    bool stdinUsed = false;
    while (pos < words.size()) {
        const std::string& w = words[pos];
        if (w == "--script" || w == "-") {
            ++pos;
            std::string path = "-";
            if (w == "--script") {
                if (pos >= words.size()) {
                    errors->add(kUsage, "appletctl: --script: missing FILE");
                    return false;
                }
                path = words[pos++];
            }
            if (path == "-" && stdinUsed) {
                errors->add(kUsage, "appletctl: standard input can be read only once");
                continue;
            }
            if (path == "-") stdinUsed = true;
            if (path == "-" && stdinIsTerminal) {
                Command c;
                c.interactive = true;
                c.where = "<stdin>";
                c.typed = "-";
                cmds->push_back(c);
                continue;
            }
            ScriptReader reader;
            if (!reader.open(path)) {
                errors->add(kFailed, "appletctl: " + reader.error());
                continue;
            }
            parseScript(reader, cmds, errors);
            continue;
        }
        Command c;
        std::string why;
        if (parseCommand(words, pos, c, &why) != kOk) {
            errors->add(kUsage, "appletctl: " + visible(shorten(why)));
            return false;  // the rest of the line cannot be split into commands
        }
        c.where = "appletctl";
        cmds->push_back(c);
    }
    return errors->messages.empty();
}

}  // namespace appletctl
