#include "session.h"

#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "command_line.h"
#include "error_text.h"
#include "output.h"
#include "sim_board.h"
#include "text_util.h"

namespace appletctl {

std::string temporaryFile(const char* suffix) {
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/appletctl-XXXXXX" + suffix;
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int fd = mkstemps(name.data(), static_cast<int>(std::strlen(suffix)));
    if (fd < 0) return std::string();
    ::close(fd);
    return name.data();
}

namespace {

// Configuration saving and loading switch the process locale; the tool
// prints numbers in the C locale.
void restoreLocale() { std::setlocale(LC_ALL, "C"); }

const char* operationOf(const Command& c) { return c.def ? c.def->name : nullptr; }

}  // namespace

std::string Session::context(const Command& c) { return c.where + ": " + visible(shorten(c.typed)); }

Status Session::fail(const Command& c, int code, const std::string& extra) {
    err(context(c), errorText(code, operationOf(c)) + extra);
    return kFailed;
}

bool Session::resolve(const Command& c, const std::string& typed, int* id, std::string* name) {
    *id = board_.idOf(typed);
    if (*id < 0) {
        err(context(c), errorText(*id) + ": no parameter named '" + visible(shorten(typed)) + "'");
        return false;
    }
    *name = board_.canonicalName(*id, typed);
    return true;
}

bool Session::checkPort(const Command& c, unsigned port) {
    const std::string why = board_.checkPort(port);
    if (why.empty()) return true;
    err(context(c), why);
    return false;
}

bool Session::open(const std::string& where) {
    if (board_.isOpen()) return true;
    if (!board_.open(where)) return false;
    if (wantReference_) captureReference();
    return true;
}

bool Session::savedConfiguration(std::string* text, std::string* why) {
    const std::string path = temporaryFile(".mcf");
    if (path.empty()) {
        *why = std::string("cannot create a temporary file: ") + std::strerror(errno);
        return false;
    }
    const int rc = Fg_saveConfig(board_.fg(), path.c_str());
    restoreLocale();
    bool ok = rc == 0 && readInputFile(path, kMaxInputFile, text, why);
    if (rc != 0) *why = "the board could not save its configuration: " + errorText(rc);
    unlink(path.c_str());
    return ok;
}

// Right after opening: the default values of every parameter of every port,
// the configuration file and the lookup-table file the applet writes.
void Session::captureReference() {
    captured_ = true;
    Fg_Struct* fg = board_.fg();
    const unsigned ports = board_.portCount();
    if (board_.withDefaults()) {
        const int n = Fg_getNrOfParameter(fg);
        for (unsigned p = 0; p < ports; ++p) {
            for (int i = 0; i < n && i < 100000; ++i) {
                const int id = Fg_getParameterId(fg, i);
                if (id < 0) continue;
                defaults_[{p, id}] = readValue(board_, id, p, board_.record(p, id));
            }
        }
        defaultsKnown_ = true;
    }
    std::string text;
    if (!savedConfiguration(&text, &configRefWhy_)) {
    } else if (!makeConfigReference(text, &configRef_)) {
        configRefWhy_ = "the configuration the board saves has no header and port sections";
    } else {
        haveConfigRef_ = true;
    }
    // The lookup-table file: saved through the save-file parameter, which is
    // put back to its empty value (an empty name saves nothing).
    const int saveId = board_.idOf("FG_LUT_SAVE_FILE");
    std::vector<char> old(4096, '\0');
    if (saveId < 0 || Fg_getParameterWithType(fg, saveId, old.data(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0 || old[0]) {
        lutRefWhy_ = "the board has no empty lookup-table save file to write a reference through";
        return;
    }
    const std::string path = temporaryFile(".lut");
    if (path.empty()) {
        lutRefWhy_ = std::string("cannot create a temporary file: ") + std::strerror(errno);
        return;
    }
    int rc = Fg_setParameterWithType(fg, saveId, path.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR);
    Fg_setParameterWithType(fg, saveId, "", 0, FG_PARAM_TYPE_CHAR_PTR);
    if (rc != 0) {
        lutRefWhy_ = "the board could not save its lookup table: " + errorText(rc);
    } else if (!readInputFile(path, kMaxInputFile, &text, &lutRefWhy_)) {
    } else if (!makeLutReference(text, &lutRef_)) {
        lutRefWhy_ = "the lookup-table file the board saves has no section and entries";
    } else {
        haveLutRef_ = true;
    }
    unlink(path.c_str());
}

const Value* Session::defaultValue(unsigned port, int id) const {
    auto it = defaults_.find({port, id});
    return it == defaults_.end() ? nullptr : &it->second;
}

const ConfigReference* Session::configReference(const Command& c) {
    if (haveConfigRef_) return &configRef_;
    err(context(c), "cannot tell what a configuration file must hold: " +
                        (captured_ ? configRefWhy_ : std::string("the board was opened before")));
    return nullptr;
}

const LutReference* Session::lutReference(const Command& c) {
    if (haveLutRef_) return &lutRef_;
    err(context(c), "cannot tell what a lookup-table file must hold: " +
                        (captured_ ? lutRefWhy_ : std::string("the board was opened before")));
    return nullptr;
}

Status Session::run(const Command& c) {
    if (c.interactive) return interactive(c);
    if (c.help) {
        printCommandHelp(c.def->name);
        return kOk;
    }
    if (c.def->needsBoard) {
        if (!open(context(c))) return kFailed;
        if (c.portGiven && !checkPort(c, c.port)) return kFailed;
    }
    return c.def->run(*this, c);
}

Status Session::runAll(const std::vector<Command>& cmds) {
    Status worst = kOk;
    for (const Command& c : cmds) {
        Status s = run(c);
        if (s > worst) worst = s;
        if (s != kOk && !keepGoing_) break;
    }
    board_.close();
    return worst;
}

// Commands typed one by one on a terminal: the board stays open between them;
// a mistake is reported and the session goes on.
Status Session::interactive(const Command&) {
    ScriptReader reader;
    reader.open("-");
    Status worst = kOk;
    err("", "appletctl: one command per line (help lists them); end with Ctrl-D");
    for (;;) {
        std::fputs("appletctl> ", stderr);
        std::fflush(stderr);
        std::string line;
        ScriptReader::Result r = reader.next(&line);
        if (r == ScriptReader::End) break;
        if (r == ScriptReader::Error) {
            err("", reader.error());
            worst = kUsage;
            // Skip the rest of the line (or stop at the end of the input).
            int ch;
            while ((ch = std::getc(stdin)) != EOF && ch != '\n') {
            }
            if (ch == EOF) break;
            continue;
        }
        std::vector<Command> cmds;
        std::string why;
        const std::string where = "<stdin>:" + std::to_string(reader.lineNo());
        Status s = kOk;
        if (!parseScriptLine(line, where, &cmds, &why)) {
            err(where, visible(shorten(why)));
            s = kUsage;
        }
        for (const Command& c : cmds) s = run(c);
        if (s > worst) worst = s;
    }
    std::fputs("\n", stderr);
    return worst;
}

}  // namespace appletctl
