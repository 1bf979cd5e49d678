// The command table of appletctl and the commands as parsed from it.
//
// Every command is one row of the table (command_table.cpp): its name, its
// positional arguments, its options, its help and the function that runs it.
// Parsing, --help, help COMMAND, the usage check of a whole command line or
// script, the bash completion and the manual page all read that table.
#ifndef APPLETCTL_CLI_H
#define APPLETCTL_CLI_H

#include <cstdint>
#include <string>
#include <vector>

namespace appletctl {

// Result of one command, and the exit status of the tool.
enum Status { kOk = 0, kFailed = 1, kUsage = 2 };

class Session;
struct Command;

// What a positional argument or an option value is; parsing checks it before
// anything runs, completion offers candidates by it.
enum class ArgKind {
    Parameter,      // NAME[@P]
    Assignment,     // NAME=VALUE[@P]
    InputFile,      // an existing regular file
    OutputFile,     // a file to write
    ImageFile,      // an image file to write, or a numbered pattern of them
    ConfigOrBoard,  // a configuration file, or "-" for the board
    CommandName,    // a command of the table (help)
    Port,           // a port number
    Count,          // a positive whole number
    Seconds,        // a positive number of seconds
    Address,        // ADDR:PORT
    Flag,           // an option without value
};

struct ArgDef {
    const char* name;  // as shown in the synopsis: "FILE", "NAME[@P]"
    ArgKind kind;
    bool optional;
    const char* extension;  // offered files (".mcf", ".lut"), or nullptr
};

struct OptionDef {
    const char* longName;   // "--port"
    const char* shortName;  // "-p", or nullptr
    const char* valueName;  // "P", or nullptr for a flag
    ArgKind kind;
    const char* help;
    const char* extension;  // for file values
};

typedef Status (*Handler)(Session&, const Command&);

struct CommandDef {
    const char* name;  // "get", or two words for a sub-command ("lut load")
    std::vector<ArgDef> args;
    std::vector<OptionDef> options;
    bool needsBoard;      // opens the board before it runs
    bool needsReference;  // uses the default values or the applet's own files
    Handler run;
    const char* summary;  // one line
    const char* help;     // the long help, paragraphs separated by empty lines
};

// The table, in the order help lists it.
const std::vector<CommandDef>& commandTable();
const CommandDef* findCommand(const std::string& name);

// The options of the tool itself (before the first command).
struct ToolOption {
    const char* longName;
    const char* shortName;
    const char* valueName;
    const char* help;
    bool hidden;  // used by the build (completion, manual page), not listed
};
const std::vector<ToolOption>& toolOptions();

// One option as given.
struct GivenOption {
    const OptionDef* def;
    std::string value;
};

// One command as parsed.
struct Command {
    const CommandDef* def = nullptr;
    std::vector<std::string> args;  // positional arguments; NAME and VALUE split for set
    std::vector<GivenOption> options;
    unsigned port = 0;  // from NAME@P or --port
    bool portGiven = false;
    bool help = false;         // COMMAND --help
    bool interactive = false;  // "-" on a terminal: commands typed one by one
    std::string typed;         // the command as typed, for messages
    std::string where;         // "appletctl", or "FILE:LINE" in a script

    bool has(const char* longName) const;
    const std::string* option(const char* longName) const;
};

// Parses one command from words[pos...] (advancing pos). kUsage with the
// reason in *why.
Status parseCommand(const std::vector<std::string>& words, size_t& pos, Command& cmd, std::string* why);

// A port number: digits only, at most 9 of them.
bool parsePort(const std::string& s, unsigned* port);

// Help and the generated documents.
void printToolHelp();
void printCommandHelp(const std::string& name);  // every row of that first word
std::string manualPage();
std::string bashCompletion();
std::string toolVersion();

}  // namespace appletctl

#endif  // APPLETCTL_CLI_H
