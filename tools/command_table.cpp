// The command table: one row per command. --help, help COMMAND, the usage
// check before the board opens, the bash completion and the manual page are
// all derived from these rows; a new command is one row here and one function.
#include <cstring>

#include "cli.h"
#include "commands.h"

namespace appletctl {
namespace {

OptionDef portOption(const char* help = "port P (default 0)") {
    return {"--port", "-p", "P", ArgKind::Port, help, nullptr};
}

}  // namespace

const std::vector<CommandDef>& commandTable() {
    static const std::vector<CommandDef> table = {
        {"info",
         {},
         {},
         true,
         false,
         cmdInfo,
         "the applet's identity and layout",
         "Shows the applet's identity and layout as its Info query answers it: name, versions, category, "
         "description, tags, board type, ports, processes and the DMA channels with their data types."},
        {"list",
         {},
         {portOption()},
         true,
         false,
         cmdList,
         "every parameter of a port as a table",
         "Lists every parameter of port P as a table: SDK name, identity, access (r, rw), current value "
         "(enumerations by constant name), unit and the range or the enumeration entries. Values that cannot "
         "be read are shown as <error CODE>; they do not make the command fail."},
        {"get",
         {{"NAME[@P]", ArgKind::Parameter, false, nullptr}},
         {},
         true,
         false,
         cmdGet,
         "one value",
         "Reads one parameter of port P (default 0) and prints NAME@P = VALUE. Enumerations print their "
         "constant name and number, for example FG_FORMAT@0 = FG_GRAY (3); texts are printed in double "
         "quotes; fields print their number of elements and a short summary."},
        {"set",
         {{"NAME=VALUE[@P]", ArgKind::Assignment, false, nullptr}},
         {},
         true,
         false,
         cmdSet,
         "writes a value and reads it back",
         "Writes one parameter of port P (default 0), then reads it back and prints NAME@P = VALUE. VALUE is "
         "read by the parameter's kind: an unsigned integer (decimal or 0x hex), a double, a text, or for "
         "enumerations a constant name such as FG_GRAY (any case), an entry's display name or a number. The "
         "last '@' followed by digits only is taken as the port; to write a text that ends in such a suffix, "
         "give the port explicitly (set FG_LUT_SAVE_FILE=a@1.lut@0).\n\n"
         "A refused value prints the applet's error code with its meaning and, for numbers, the range the "
         "parameter has now."},
        {"describe",
         {{"NAME[@P]", ArgKind::Parameter, false, nullptr}},
         {},
         true,
         true,
         cmdDescribe,
         "everything about one parameter",
         "Shows what a user asks before writing a parameter of port P (default 0): its display name and "
         "group, kind, access, range and step (or each enumeration entry with constant name, display name "
         "and value), unit, the default value (the value right after the board was opened with its default "
         "values), the value now, and the long description."},
        {"reset",
         {},
         {portOption("only port P (default: every port)")},
         true,
         true,
         cmdReset,
         "writes the default values again",
         "Writes the default values again, the values the board held right after it was opened, in the order "
         "a configuration load applies them; without --port every port is reset. Each value the board does "
         "not take is reported. Not available when the board was opened with --no-defaults."},
        {"diff",
         {{"A", ArgKind::ConfigOrBoard, false, ".mcf"}, {"B", ArgKind::ConfigOrBoard, false, ".mcf"}},
         {},
         true,
         true,
         cmdDiff,
         "compares two configurations parameter by parameter",
         "Compares two configuration files, or a file and the board ('-' stands for the configuration the "
         "board holds now), parameter by parameter on every port, and prints each parameter that differs "
         "with both values (enumerations by constant name). Keys a load ignores (values the board reports "
         "but does not take) are not compared. The exit status is 0 whether or not the two differ."},
        {"check",
         {{"FILE", ArgKind::InputFile, false, ".mcf .lut"}},
         {},
         true,
         true,
         cmdCheck,
         "validates a .mcf or .lut file strictly",
         "Validates a configuration file (.mcf) or a lookup-table file (.lut) strictly and names file, line "
         "and key of each problem. A configuration file must have the header the applet writes, every key of "
         "each port section in its own section, once, and each value of its kind (a whole number, a finite "
         "decimal number or a quoted text), in its range, on its step grid and in its enumeration (the "
         "ranges the applet declares; ranges that follow other values are checked by a load). A lookup-table "
         "file must have its heading, its section and keys, and every entry, in order and in range, as many "
         "as the file states and the table has. The kind of file is taken from its name (.mcf, .lut) or from "
         "its first line. The exit status is 0 only for a clean file.\n\n"
         "The board's own readers are lenient: a load drops a value the board refuses without a word, and the "
         "lookup-table reader takes what it finds. 'load' and 'lut load' therefore run these checks first and "
         "report what the board did not take."},
        {"xml",
         {},
         {portOption(), {"--output", "-o", "FILE", ArgKind::OutputFile, "write to FILE", nullptr}},
         true,
         false,
         cmdXml,
         "the GenApi register description of a port",
         "Prints the GenApi register description of port P (default 0), or writes it to FILE. The file is "
         "written whole or not at all: an existing FILE is replaced only when the new one is complete."},
        {"save",
         {{"FILE", ArgKind::OutputFile, false, ".mcf"}},
         {},
         true,
         false,
         cmdSave,
         "saves the configuration of every port",
         "Saves the configuration of every port to FILE. The applet accepts only file names that contain "
         "\".mcf\"."},
        {"load",
         {{"FILE", ArgKind::InputFile, false, ".mcf"}},
         {},
         true,
         true,
         cmdLoad,
         "loads a configuration file and reports what the board did not take",
         "Loads a configuration file written by 'save' (or by any application). The file is checked first "
         "(as 'check' does) and each problem is printed as a warning. The board's load drops a refused value "
         "without a word, so after loading every value the load applies is written once more, with the "
         "file's other values in place, and each one the board refuses is reported with its answer and the "
         "value it keeps. The exit status is 1 when the load failed or a value was not taken."},
        {"lut save",
         {{"FILE", ArgKind::OutputFile, false, ".lut"}},
         {portOption()},
         true,
         false,
         cmdLutSave,
         "writes the lookup table of a port to a file",
         "Writes the lookup table of port P (default 0) to FILE."},
        {"lut load",
         {{"FILE", ArgKind::InputFile, false, ".lut"}},
         {portOption()},
         true,
         true,
         cmdLutLoad,
         "loads a lookup-table file into a port",
         "Loads FILE into the lookup table of port P (default 0) and switches the port's lookup table type "
         "to the user file (LUT_TYPE_CUSTOM); if the file cannot be loaded, the previous file name is put "
         "back. The file is checked first (as 'check' does) and each problem is printed as a warning; after "
         "loading, the table is read back and each entry that differs from the file is reported."},
        {"grab",
         {},
         {portOption(),
          {"--frames", "-n", "N", ArgKind::Count, "grab N frames (default 1)", nullptr},
          {"--output", "-o", "FILE", ArgKind::ImageFile,
           "write to FILE, a .pgm or .png name or pattern (default frame-%04d.pgm, with --strip strip.pgm)",
           ".pgm .png"},
          {"--strip", nullptr, nullptr, ArgKind::Flag, "stack all frames into one tall image", nullptr},
          {"--timeout", "-t", "S", ArgKind::Seconds, "wait at most S seconds for each frame (default 5)", nullptr},
          {"--software-trigger", nullptr, nullptr, ArgKind::Flag, "send one software trigger per frame", nullptr},
          {"--buffers", nullptr, "B", ArgKind::Count, "a ring of B frame buffers (default: up to 64 MB)", nullptr}},
         true,
         false,
         cmdGrab,
         "saves the frames a port delivers as PGM or PNG images",
         "Starts the acquisition on port P (default 0), takes N frames (default 1) and writes each to an image "
         "file as the port delivers it (the region, the output format and its bit alignment): one file per frame "
         "named by a pattern with the picture number, counted from 1 (frame-%04d.pgm gives frame-0001.pgm, ...; a "
         "name without %d gets -%04d before its extension when there are several frames), or with --strip all "
         "frames stacked into one tall image, as a line-scan camera's continuous picture. The region, format and "
         "trigger are set beforehand with set or load.\n\n"
         "The type follows the name: .pgm (binary PGM for every bit depth, maxval 2^bits-1, each pixel's value "
         "as delivered; left-aligned 10- and 12-bit pixels are shifted back, so a 10-bit pixel reads 0..1023) or "
         ".png (8-bit grayscale, or 16-bit grayscale for 10, 12 and 16 bits with the values scaled to the full "
         "16 bits and the significant bits recorded; the 32-bit build writes no PNG and says so). Every file is "
         "written whole or not at all.\n\n"
         "A triggered port waits for its trigger; --software-trigger sends one before each frame. On a terminal a "
         "progress line shows frames, frames per second, megabytes per second and lost frames. A frame that does "
         "not come within S seconds (default 5, whole seconds), a frame the board overwrote before it was taken "
         "(lost) or Ctrl-C ends the command with status 1; a strip is then not written."},
        {"serve",
         {},
         {{"--listen", "-l", "ADDR:PORT", ArgKind::Address,
           "listen on ADDR:PORT (default 127.0.0.1:8080; port 0 takes a free one)", nullptr},
          {"--dir", "-d", "DIR", ArgKind::OutputFile,
           "the directory for configuration, lookup-table and image files (default: the current one)", nullptr}},
         true,
         false,
         cmdServe,
         "the live view of the board in a browser",
         "Serves the live view of the board to a browser until interrupted (Ctrl-C): the parameter tree of "
         "each port with its groups, kinds, ranges, enumeration entries, units and access, edited in place "
         "(a refused value shows the code, its meaning and the range the parameter has now); the live image "
         "of each acquiring port with zoom and the pixel value under the pointer, the profile of a chosen line "
         "or column and a histogram, with frames per second and lost frames; start and stop of acquisition, "
         "software trigger, save and load of a configuration, lookup-table load and grab of N frames to PGM "
         "files, all files in DIR.\n\n"
         "The server listens on the loopback address unless told otherwise and prints the address to open, "
         "with a random token that every request must carry. Requests naming another Host, or coming from "
         "another site (Origin), are refused, as are file names that are not plain names in DIR. A write of "
         "the region or the output format restarts the port's acquisition with buffers of the new size."},
        {"help",
         {{"COMMAND", ArgKind::CommandName, true, nullptr}},
         {},
         false,
         false,
         cmdHelp,
         "the help of the tool or of one command",
         "Shows the help of the tool or of one command; COMMAND --help does the same."},
    };
    return table;
}

const CommandDef* findCommand(const std::string& name) {
    for (const CommandDef& c : commandTable()) {
        const char* sp = std::strchr(c.name, ' ');
        if (name == c.name || (sp && name == std::string(c.name, sp))) return &c;
    }
    return nullptr;
}

const std::vector<ToolOption>& toolOptions() {
    static const std::vector<ToolOption> options = {
        {"--board", nullptr, "N", "open board N (default 0)", false},
        {"--no-defaults", nullptr, nullptr, "open the board without writing the default values (start-up flags bit 0)",
         false},
        {"--keep-going", "-k", nullptr, "run the remaining commands after a failure", false},
        {"--help", "-h", nullptr, "show this help; COMMAND --help or help COMMAND shows the help of one command",
         false},
        {"--version", nullptr, nullptr, "show the version of appletctl (the applet's version: appletctl info)", false},
        {"--completion", nullptr, "SHELL", "print the completion script for SHELL (bash)", true},
        {"--manpage", nullptr, nullptr, "print the manual page (roff)", true},
        {"--names", nullptr, nullptr, "print the applet's parameter names, one per line", true},
    };
    return options;
}

}  // namespace appletctl
