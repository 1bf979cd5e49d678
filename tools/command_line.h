// Parsing of a whole command line, with the scripts it names, before anything
// runs; and the reading of scripts with bounded memory.
#ifndef APPLETCTL_COMMAND_LINE_H
#define APPLETCTL_COMMAND_LINE_H

#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"

namespace appletctl {

// Messages of everything that keeps the commands from running, and the exit
// status they give (2 for usage errors, 1 for a script that cannot be read).
struct ParseErrors {
    std::vector<std::string> messages;
    Status status = kOk;
    void add(Status s, const std::string& m) {
        messages.push_back(m);
        if (s > status) status = s;
    }
};

// Reads script lines: a directory, a device, binary data, an overlong line or
// an endless input is refused with a message.
class ScriptReader {
public:
    enum Result { Line, End, Error };
    ScriptReader() = default;
    ~ScriptReader();
    ScriptReader(const ScriptReader&) = delete;
    ScriptReader& operator=(const ScriptReader&) = delete;

    bool open(const std::string& path);  // "-" is standard input
    Result next(std::string* line);
    const std::string& error() const { return error_; }
    Status status() const { return status_; }
    const std::string& label() const { return label_; }
    unsigned long lineNo() const { return lineNo_; }

private:
    std::FILE* f_ = nullptr;
    bool own_ = false;
    std::string label_, error_;
    Status status_ = kUsage;
    unsigned long lineNo_ = 0;
    size_t total_ = 0;
};

// One script line into zero or one command; false with the reason.
bool parseScriptLine(const std::string& line, const std::string& where, std::vector<Command>* cmds, std::string* why);

// Every command of words[pos...], scripts expanded in their place; "-" on a
// terminal becomes an interactive command. False when anything was wrong.
bool parseAll(const std::vector<std::string>& words, size_t pos, bool stdinIsTerminal, std::vector<Command>* cmds,
              ParseErrors* errors);

std::string commandSynopsis(const CommandDef& c);

}  // namespace appletctl

#endif  // APPLETCTL_COMMAND_LINE_H
