// Everything the user reads about the tool, derived from the command table:
// --help, help COMMAND, the manual page and the bash completion script.
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"
#include "command_line.h"
#include "output.h"
#include "text_util.h"

#ifndef APPLETCTL_VERSION
#define APPLETCTL_VERSION "0.0.0"
#endif

namespace appletctl {
namespace {

// Sections of the help that are about the tool as a whole, shared by --help
// and the manual page.
struct Section {
    const char* title;
    const char* text;
};

const Section kSections[] = {
    {"Ports",
     "NAME@P addresses port P (0 or 1); without @P (or --port) port 0 is meant. An unknown port is refused "
     "with the list of the ports that exist."},
    {"Scripts",
     "Among the commands, --script FILE runs the commands in FILE and - those read from standard input, one "
     "command per line; empty lines and lines starting with '#' are skipped, words are separated by blanks "
     "and may be quoted with '...' or \"...\". The whole command line and every script are read and checked "
     "before the board is opened: a usage error anywhere means nothing runs. A directory, a device, binary "
     "data or a line longer than 4096 characters is refused.\n\n"
     "When standard input is a terminal, - starts an interactive session: the board stays open between the "
     "commands typed at the prompt, a mistake is reported and the session goes on; Ctrl-D ends it."},
    {"Errors",
     "Errors print the error code with its meaning in the operation that failed, for example "
     "\"appletctl: set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16\"; a refused number shows "
     "the parameter's range. By default the tool stops at the first command that fails; --keep-going runs "
     "the rest."},
    {"Exit status",
     "0 when every command succeeded, 1 when a command failed, 2 for a usage error (unknown command or "
     "option, missing or malformed argument; nothing is run then)."},
};

const char* const kDescription =
    "Opens board N with the Orvindel applet through the host runtime (the simulated board, or a real runtime "
    "when one is installed), runs the commands in the order given and closes the board.";

// The text split into lines of at most `width` columns after `indent`.
std::string wrap(const std::string& text, size_t width, const std::string& indent) {
    std::string outText, line;
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t nl = text.find('\n', pos);
        if (nl == std::string::npos) nl = text.size();
        const std::string para = text.substr(pos, nl - pos);
        pos = nl + 1;
        if (para.empty()) {
            outText += "\n";
            continue;
        }
        line.clear();
        size_t i = 0;
        while (i < para.size()) {
            size_t j = para.find(' ', i);
            if (j == std::string::npos) j = para.size();
            const std::string word = para.substr(i, j - i);
            if (!line.empty() && displayWidth(line) + 1 + displayWidth(word) > width) {
                outText += indent + line + "\n";
                line.clear();
            }
            line += (line.empty() ? "" : " ") + word;
            i = j + 1;
        }
        if (!line.empty()) outText += indent + line + "\n";
    }
    return outText;
}

std::string toolOptionText(const ToolOption& o) {
    std::string s = o.shortName ? std::string(o.shortName) + ", " + o.longName : o.longName;
    if (o.valueName) s += std::string(" ") + o.valueName;
    return s;
}

std::string optionText(const OptionDef& o) {
    std::string s = o.shortName ? std::string(o.shortName) + ", " + o.longName : o.longName;
    if (o.valueName) s += std::string(" ") + o.valueName;
    return s;
}

// ---- roff ----

std::string roff(const std::string& text) {
    std::string s;
    bool lineStart = true;
    for (char ch : text) {
        if (lineStart && (ch == '.' || ch == '\'')) s += "\\&";
        if (ch == '\\') {
            s += "\\e";
        } else if (ch == '-') {
            s += "\\-";
        } else {
            s += ch;
        }
        lineStart = ch == '\n';
    }
    return s;
}

// Paragraphs of a help text as roff paragraphs.
std::string roffParagraphs(const std::string& text) {
    std::string s;
    size_t pos = 0;
    bool first = true;
    while (pos <= text.size()) {
        size_t end = text.find("\n\n", pos);
        if (end == std::string::npos) end = text.size();
        if (!first) s += ".PP\n";
        s += roff(text.substr(pos, end - pos)) + "\n";
        first = false;
        pos = end + 2;
    }
    return s;
}

std::string sectionTitle(const char* t) {
    std::string s = upperCase(t);
    return s;
}

}  // namespace

std::string toolVersion() { return APPLETCTL_VERSION; }

void printToolHelp() {
    std::string s = "Usage: appletctl [OPTIONS] COMMAND [ARGS] [COMMAND [ARGS]]...\n\n" + wrap(kDescription, 78, "") +
                    "\nCommands:\n";
    std::vector<std::vector<std::string>> rows;
    for (const CommandDef& c : commandTable()) rows.push_back({commandSynopsis(c), c.summary});
    s += columns(rows, "  ");
    s += "\nOptions (before the first command):\n";
    rows.clear();
    for (const ToolOption& o : toolOptions()) {
        if (!o.hidden) rows.push_back({toolOptionText(o), o.help});
    }
    s += columns(rows, "  ");
    for (const Section& sec : kSections) s += std::string("\n") + sec.title + ":\n" + wrap(sec.text, 76, "  ");
    out(s);
}

void printCommandHelp(const std::string& name) {
    std::string first = name.substr(0, name.find(' '));
    std::string s;
    for (const CommandDef& c : commandTable()) {
        const std::string w = std::string(c.name).substr(0, std::string(c.name).find(' '));
        if (w != first && name != c.name) continue;
        if (!s.empty()) s += "\n";
        s += "Usage: appletctl " + commandSynopsis(c) + "\n\n" + wrap(c.help, 78, "");
        if (!c.options.empty()) {
            std::vector<std::vector<std::string>> rows;
            for (const OptionDef& o : c.options) rows.push_back({optionText(o), o.help});
            s += "\nOptions:\n" + columns(rows, "  ");
        }
    }
    out(s);
}

std::string manualPage() {
    std::string s = ".TH APPLETCTL 1 \"\" \"appletctl " + toolVersion() + "\" \"User Commands\"\n";
    s += ".SH NAME\nappletctl \\- drive a frame\\-grabber board with the Orvindel applet from the command line\n";
    s += ".SH SYNOPSIS\n.B appletctl\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGS\\fR] "
         "[\\fICOMMAND\\fR [\\fIARGS\\fR]]...\n";
    s += ".SH DESCRIPTION\n" + roffParagraphs(kDescription);
    s += ".SH OPTIONS\n";
    for (const ToolOption& o : toolOptions()) {
        if (o.hidden) continue;
        s += ".TP\n.B " + roff(toolOptionText(o)) + "\n" + roff(o.help) + "\n";
    }
    s += ".SH COMMANDS\n";
    for (const CommandDef& c : commandTable()) {
        s += ".TP\n.B " + roff(commandSynopsis(c)) + "\n" + roffParagraphs(c.help);
        for (const OptionDef& o : c.options) {
            s += ".RS\n.TP\n.B " + roff(optionText(o)) + "\n" + roff(o.help) + "\n.RE\n";
        }
    }
    for (const Section& sec : kSections) s += ".SH " + roff(sectionTitle(sec.title)) + "\n" + roffParagraphs(sec.text);
    s += ".SH EXAMPLES\n.nf\n" +
         roff(
             "appletctl set FG_WIDTH=2048 get FG_XOFFSET\n"
             "appletctl describe FG_FORMAT@1\n"
             "appletctl check roi.mcf load roi.mcf\n"
             "appletctl diff roi.mcf -\n"
             "printf 'set FG_WIDTH=512@1\\nsave roi.mcf\\n' | appletctl -\n") +
         ".fi\n";
    return s;
}

std::string bashCompletion() {
    std::string words, caseArgs, caseOpts;
    for (const CommandDef& c : commandTable()) {
        const std::string name = c.name;
        const std::string first = name.substr(0, name.find(' '));
        if ((" " + words + " ").find(" " + first + " ") == std::string::npos)
            words += (words.empty() ? "" : " ") + first;
        // What the positional arguments and options of a command offer.
        std::string kinds, opts;
        for (const ArgDef& a : c.args) {
            switch (a.kind) {
            case ArgKind::Parameter: kinds += "name "; break;
            case ArgKind::Assignment: kinds += "assign "; break;
            case ArgKind::CommandName: kinds += "command "; break;
            case ArgKind::ConfigOrBoard: kinds += "board "; break;
            default: kinds += "file "; break;
            }
        }
        for (const OptionDef& o : c.options) {
            opts += std::string(o.longName) + " ";
            if (o.shortName) opts += std::string(o.shortName) + " ";
        }
        caseArgs += "        '" + name + "') kinds=(" + kinds + ") ;;\n";
        caseOpts += "        '" + name + "') opts='" + opts + "' ;;\n";
    }
    std::string toolOpts;
    for (const ToolOption& o : toolOptions()) {
        if (o.hidden) continue;
        toolOpts += std::string(o.longName) + " ";
        if (o.shortName) toolOpts += std::string(o.shortName) + " ";
    }
    std::string portOpts, fileOpts, otherValueOpts;
    for (const CommandDef& c : commandTable()) {
        for (const OptionDef& o : c.options) {
            if (!o.valueName) continue;
            std::string names = std::string(o.longName) + (o.shortName ? std::string("|") + o.shortName : "");
            const bool file =
                o.kind == ArgKind::OutputFile || o.kind == ArgKind::InputFile || o.kind == ArgKind::ImageFile;
            std::string& into = o.kind == ArgKind::Port ? portOpts : file ? fileOpts : otherValueOpts;
            if (("|" + into + "|").find("|" + names + "|") == std::string::npos)
                into += (into.empty() ? "" : "|") + names;
        }
    }
    std::string allValueOpts = "--board|--script";
    for (const std::string* o : {&portOpts, &fileOpts, &otherValueOpts}) {
        if (!o->empty()) allValueOpts += "|" + *o;
    }
    std::string s =
        "# bash completion for appletctl, generated from its command table (appletctl --completion bash).\n"
        "# Parameter names come from the applet itself: appletctl --names.\n"
        "_appletctl_names() {\n"
        "    if [ -z \"${_appletctl_name_cache:-}\" ]; then\n"
        "        _appletctl_name_cache=$(\"$1\" --names 2>/dev/null)\n"
        "    fi\n"
        "    printf '%s\\n' \"$_appletctl_name_cache\"\n"
        "}\n"
        "# The arguments (kinds) and options of a command.\n"
        "_appletctl_words() {\n"
        "    kinds=() opts=''\n"
        "    case $1 in\n" +
        caseArgs +
        "    esac\n"
        "    case $1 in\n" +
        caseOpts +
        "    esac\n"
        "}\n"
        "_appletctl() {\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
        "    local tool=${COMP_WORDS[0]} commands='" +
        words +
        "'\n"
        "    local i w cmd='' n=0 skip=0 kinds=() opts=''\n"
        "    COMPREPLY=()\n"
        "    case $prev in\n"
        "        --board) return ;;\n"
        "        --script) COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n";
    if (!portOpts.empty()) s += "        " + portOpts + ") COMPREPLY=($(compgen -W '0 1' -- \"$cur\")); return ;;\n";
    if (!fileOpts.empty()) s += "        " + fileOpts + ") COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n";
    if (!otherValueOpts.empty()) s += "        " + otherValueOpts + ") return ;;\n";
    s += "    esac\n"
         "    # The command the cursor is in, and how many of its arguments are given.\n"
         "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
         "        w=${COMP_WORDS[i]}\n"
         "        if [ \"$skip\" = 1 ]; then skip=0; continue; fi\n"
         "        case $w in " +
         allValueOpts +
         ") skip=1; continue ;; esac\n"
         "        if [ \"$cmd\" = lut ]; then cmd=\"lut $w\"; n=0; _appletctl_words \"$cmd\"; continue; fi\n"
         "        if [ -n \"$cmd\" ] && [ \"${kinds[n]:-}\" = command ]; then n=$((n + 1)); continue; fi\n"
         "        case \" $commands \" in *\" $w \"*) cmd=$w; n=0; _appletctl_words \"$cmd\"; continue ;; esac\n"
         "        case $w in -*) ;; *) n=$((n + 1)) ;; esac\n"
         "    done\n"
         "    if [ -z \"$cmd\" ]; then\n"
         "        COMPREPLY=($(compgen -W \"$commands " +
         toolOpts +
         "--script -\" -- \"$cur\"))\n"
         "        return\n"
         "    fi\n"
         "    if [ \"$cmd\" = lut ]; then COMPREPLY=($(compgen -W 'save load' -- \"$cur\")); return; fi\n"
         "    case ${kinds[n]:-} in\n"
         "        name) COMPREPLY=($(compgen -W \"$(_appletctl_names \"$tool\")\" -- \"$cur\")) ;;\n"
         "        assign) compopt -o nospace 2>/dev/null\n"
         "            COMPREPLY=($(compgen -W \"$(_appletctl_names \"$tool\" | sed 's/$/=/')\" -- \"$cur\")) ;;\n"
         "        command) COMPREPLY=($(compgen -W \"$commands\" -- \"$cur\")) ;;\n"
         "        board) COMPREPLY=($(compgen -f -- \"$cur\") $(compgen -W '-' -- \"$cur\")) ;;\n"
         "        file) COMPREPLY=($(compgen -f -- \"$cur\")) ;;\n"
         "        *) COMPREPLY=($(compgen -W \"$opts $commands --script -\" -- \"$cur\")) ;;\n"
         "    esac\n"
         "}\n"
         "complete -F _appletctl appletctl\n";
    return s;
}

}  // namespace appletctl
