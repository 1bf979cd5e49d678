// appletctl: opens a board with the Orvindel applet through the host runtime,
// runs the commands given on the command line or read from scripts, and
// closes the board.
//
// Everything goes through the exported C interface: the runtime's Fg_InitEx
// opens the board, the Fg_ calls on the returned handle reach the applet, and
// the applet library's Info answers the identity questions. The parameter
// descriptions (kinds, ranges, enumeration entries, units, access) come from
// the RegisterInfo records the applet hands out.
//
// The commands are rows of one table (command_table.cpp); this file reads the
// options of the tool, parses the whole command line with its scripts, and
// hands the commands to a session.
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "board.h"
#include "cli.h"
#include "command_line.h"
#include "output.h"
#include "session.h"
#include "sim_board.h"
#include "text_util.h"

namespace appletctl {
namespace {

// The applet's parameter names, one per line (for the completion).
int printNames(unsigned boardIndex, int flags) {
    Board b(boardIndex, flags | 1);
    if (!b.open("appletctl")) return kFailed;
    std::string s;
    const int n = Fg_getNrOfParameter(b.fg());
    for (int i = 0; i < n && i < 100000; ++i) {
        const char* name = Fg_getParameterName(b.fg(), i);
        if (name) s += visible(name) + "\n";
    }
    out(s);
    return kOk;
}

int mainImpl(int argc, char** argv) {
    // A file that grows past the size limit fails with a reason instead of
    // ending the process.
    std::signal(SIGXFSZ, SIG_IGN);
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) words.push_back(argv[i] ? argv[i] : "");

    unsigned board = 0;
    int flags = 0;
    bool keepGoing = false;
    size_t pos = 0;
    // Options of the tool, before the first command.
    while (pos < words.size()) {
        const std::string& t = words[pos];
        auto value = [&](const char* opt, std::string* v) {
            const std::string o = opt;
            if (t.compare(0, o.size() + 1, o + "=") == 0) {
                *v = t.substr(o.size() + 1);
                return true;
            }
            if (pos + 1 >= words.size()) return false;
            *v = words[++pos];
            return true;
        };
        std::string v;
        if (t == "-h" || t == "--help") {
            printToolHelp();
            return kOk;
        } else if (t == "--version") {
            out("appletctl " + toolVersion() + "\n");
            return kOk;
        } else if (t == "--manpage") {
            out(manualPage());
            return kOk;
        } else if (t == "--completion" || t.compare(0, 13, "--completion=") == 0) {
            if (!value("--completion", &v) || v != "bash") {
                err("appletctl", "--completion: the completion is written for bash (--completion bash)");
                return kUsage;
            }
            out(bashCompletion());
            return kOk;
        } else if (t == "--names") {
            return printNames(board, flags);
        } else if (t == "--no-defaults") {
            flags |= 1;
        } else if (t == "-k" || t == "--keep-going") {
            keepGoing = true;
        } else if (t == "--board" || t.compare(0, 8, "--board=") == 0) {
            if (!value("--board", &v)) {
                err("appletctl", "--board needs a number");
                return kUsage;
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
    if (pos >= words.size()) {
        err("appletctl", "no command given (see appletctl --help)");
        return kUsage;
    }

    // The whole command line, with every script, is checked before anything runs.
    std::vector<Command> cmds;
    ParseErrors errors;
    if (!parseAll(words, pos, isatty(0) == 1, &cmds, &errors)) {
        for (const std::string& m : errors.messages) err("", m);
        if (errors.messages.size() > 1 || errors.status == kUsage) err("appletctl", "nothing was run");
        return errors.status;
    }
    bool wantReference = false;
    for (const Command& c : cmds) wantReference = wantReference || c.interactive || (!c.help && c.def->needsReference);
    Session session(board, flags, keepGoing, wantReference);
    return session.runAll(cmds);
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
