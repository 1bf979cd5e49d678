// Camera configuration files at the level of the applet base: the locale, the
// file, the header section with the applet's identity; the port sections are
// written and read by the applet's own saveConfig / loadConfig.
#include <clocale>
#include <cstring>
#include <exception>

#include "FgQorWrapper.h"
#include "Fg_ConfigFileParser.h"

namespace {

// Numbers in the file are formatted and read under the process locale; this
// is the locale the files are written for. The request may fail (the name is
// not known everywhere); the locale then stays as it is.
void requestFileLocale() { std::setlocale(LC_ALL, "English"); }

// Holds the longest header value a lookup can store (one piece of a line).
const int kHeaderValueSize = Fg_ConfigFileParser::ValueBufferSize;

}  // namespace

int FgQorWrapper::Fg_saveConfig(Fg_Struct* /*Fg*/, const char* Filename) {
    requestFileLocale();

    Fg_ConfigFileParser parser(nullptr, nullptr, false);
    if (!parser.setSaveFile(Filename)) {
        setError(FG_ERR_FILE_ACCESS);
        return FG_ERR_FILE_ACCESS;
    }

    try {
        parser.writeConfigFileHeader();
        parser.writeConfigFile("Hersteller", getManufacturer());
        parser.writeConfigFile("Typ", getCameraType());
        parser.writeConfigFile("Version", getCameraVersion());
        parser.writeConfigFileIntKey("LoadAppletId", getAppletID());
        parser.writeConfigFileIntKey("AktivePort", 0);

        saveConfig(parser);
    } catch (const std::exception&) {
        // Per-key errors are handled by saveConfig; only resource exhaustion
        // gets here: the incomplete content does not replace the file.
        parser.discardSave();
        setError(FG_ERR_FILE_ACCESS);
        return FG_ERR_FILE_ACCESS;
    }
    // A write that failed (a full file system, a device that refuses the
    // bytes) fails the save, and the file keeps its previous content.
    if (!parser.finishSave()) {
        setError(FG_ERR_FILE_ACCESS);
        return FG_ERR_FILE_ACCESS;
    }

    setError(0);
    return 0;
}

int FgQorWrapper::Fg_loadConfig(Fg_Struct* /*Fg*/, const char* Filename) {
    requestFileLocale();

    Fg_ConfigFileParser parser(nullptr, Filename, true);
    if (!parser.checkFileExist(Filename) || !parser.checkFileType(Filename) || !parser.isOpen()) {
        setError(FG_ERR_CONFIG_LOAD);
        return FG_ERR_FILE_NOT_FOUND;
    }

    bool loaded = false;
    try {
        char value[kHeaderValueSize];
        std::memset(value, 0, sizeof value);
        int activePort = 0;
        const char* type = getCameraType();
        loaded = parser.parseKeyFromLine("Hersteller", value) == 0 && parser.parseKeyFromLine("Typ", value) == 0 &&
                 type != nullptr && std::strcmp(value, type) == 0 &&
                 parser.parseIntKeyFromHeader("AktivePort", &activePort) == 0 && loadConfig(parser);
    } catch (const std::exception&) {
        loaded = false;
    }

    if (!loaded) {
        setError(FG_ERR_CONFIG_LOAD);
        return FG_ERR_CONFIG_LOAD;
    }
    setError(0);
    return 0;
}
