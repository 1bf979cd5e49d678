// The error codes of the applet and the host runtime with their meanings, as
// appletctl prints them ("-7080 width or x-offset not a multiple of 16").
#ifndef APPLETCTL_ERROR_TEXT_H
#define APPLETCTL_ERROR_TEXT_H

#include <string>

#include "fg_types.h"

namespace appletctl {

struct ErrorText {
    int code;
    const char* meaning;
};

// One entry per code the applet and the runtime report.
inline constexpr ErrorText kErrorTexts[] = {
    {FG_ERR_INVALID_BOARD, "no board structure, or no applet object in it"},
    {FG_ERR_NOT_AVAILABLE, "host function or host board handle missing; write of a read-only parameter"},
    {FG_ERR_RUNTIME_MISSING, "host runtime library cannot be opened, or offers no initialisation function"},
    {FG_ERR_INIT_FAILED, "design cannot be loaded; host initialisation failed without a host error"},
    {FG_ERR_INVALID_PARAMETER, "unknown parameter, port, name, event or index; NULL value or pointer"},
    {FG_ERR_VALUE_OUT_OF_RANGE, "value outside its range or not in its enumeration"},
    {FG_ERR_NOT_MULTIPLE_OF_16, "width or x-offset not a multiple of 16"},
    {FG_ERR_NO_DESCRIPTION, "no parameter description for the port; unsupported mode or format code"},
    {FG_ERR_FILE_NOT_FOUND, "file missing (configuration or lookup-table file)"},
    {FG_ERR_CONFIG_LOAD, "configuration load failed"},
    {FG_ERR_FILE_ACCESS, "configuration save failed; lookup-table file could not be read or written"},
    {FG_ERR_BUFFER_TOO_SMALL, "buffer too small (XML description); text copy could not be allocated (registry)"},
    {FG_ERR_NOT_SUPPORTED, "not supported (shading, unknown Info question)"},
};

// The meaning of a code, or nullptr when the table does not know it.
inline const char* errorMeaning(int code) {
    for (const ErrorText& e : kErrorTexts) {
        if (e.code == code) return e.meaning;
    }
    return nullptr;
}

// Codes whose meaning depends on the operation that answered them: the text
// names what failed in that operation.
struct OperationErrorText {
    const char* operation;  // a command of the tool ("save", "lut load", ...)
    int code;
    const char* meaning;
};

inline constexpr OperationErrorText kOperationErrorTexts[] = {
    {"save", FG_ERR_FILE_ACCESS, "the configuration file could not be created"},
    {"load", FG_ERR_FILE_NOT_FOUND, "configuration file missing, or its name does not contain \".mcf\""},
    {"load", FG_ERR_CONFIG_LOAD,
     "configuration load failed: the header does not name this applet, or a key is missing"},
    {"lut save", FG_ERR_FILE_ACCESS, "the lookup-table file could not be written"},
    {"lut load", FG_ERR_FILE_ACCESS, "the lookup-table file could not be read"},
    {"lut load", FG_ERR_FILE_NOT_FOUND, "lookup-table file missing"},
};

// "<code> <meaning>", for codes outside the table "<code> unknown error code".
// With an operation, a code that means different things in different
// operations gets the meaning it has in that one.
inline std::string errorText(int code, const char* operation = nullptr) {
    if (operation) {
        for (const OperationErrorText& e : kOperationErrorTexts) {
            if (e.code == code && std::string(e.operation) == operation) return std::to_string(code) + " " + e.meaning;
        }
    }
    const char* m = errorMeaning(code);
    return std::to_string(code) + " " + (m ? m : "unknown error code");
}

}  // namespace appletctl

#endif  // APPLETCTL_ERROR_TEXT_H
