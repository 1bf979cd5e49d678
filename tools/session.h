// A run of the tool: the board, the commands run on it in order, and what the
// tool learns from the board once, right after opening it (the default values
// and the files the applet itself writes, against which files are checked).
#ifndef APPLETCTL_SESSION_H
#define APPLETCTL_SESSION_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "board.h"
#include "cli.h"
#include "config_files.h"
#include "values.h"

namespace appletctl {

class Session {
public:
    Session(unsigned board, int flags, bool keepGoing, bool wantReference)
        : board_(board, flags), keepGoing_(keepGoing), wantReference_(wantReference) {}

    Status runAll(const std::vector<Command>& cmds);

    // The board, opened on first use (false with the message printed).
    bool open(const std::string& where);
    Board& board() { return board_; }

    // "appletctl: get FG_WIDTH" or "script.txt:3: get FG_WIDTH": the prefix of messages.
    static std::string context(const Command& c);
    // Reports a failing call; always kFailed. The meaning of the code is the
    // one it has in the command's operation.
    Status fail(const Command& c, int code, const std::string& extra = std::string());

    // Resolves NAME; on failure reports and returns false.
    bool resolve(const Command& c, const std::string& typed, int* id, std::string* name);
    // Checks the command's port; on failure reports and returns false.
    bool checkPort(const Command& c, unsigned port);

    // Known when the board was opened with its default values.
    bool defaultsKnown() const { return defaultsKnown_; }
    const Value* defaultValue(unsigned port, int id) const;
    // What the applet writes (nullptr with the reason printed when unknown).
    const ConfigReference* configReference(const Command& c);
    const LutReference* lutReference(const Command& c);

    // The configuration the board holds now, as the applet saves it.
    bool savedConfiguration(std::string* text, std::string* why);

private:
    Status run(const Command& c);
    Status interactive(const Command& c);
    void captureReference();

    Board board_;
    bool keepGoing_;
    bool wantReference_;
    bool captured_ = false;
    bool defaultsKnown_ = false;
    std::map<std::pair<unsigned, int>, Value> defaults_;
    bool haveConfigRef_ = false, haveLutRef_ = false;
    std::string configRefWhy_, lutRefWhy_;
    ConfigReference configRef_;
    LutReference lutRef_;
};

// A temporary file name in $TMPDIR (or /tmp) ending in `suffix`; the file
// exists, empty. Empty with errno set on failure.
std::string temporaryFile(const char* suffix);

}  // namespace appletctl

#endif  // APPLETCTL_SESSION_H
