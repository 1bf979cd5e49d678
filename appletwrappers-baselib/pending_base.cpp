// Base operations whose subsystem is not built yet (overridden by their own files).
#include "FgQorWrapper.h"

__attribute__((weak)) int FgQorWrapper::Fg_saveConfig(Fg_Struct*, const char*) { return FG_ERR_NOT_SUPPORTED; }
__attribute__((weak)) int FgQorWrapper::Fg_loadConfig(Fg_Struct*, const char*) { return FG_ERR_NOT_SUPPORTED; }
__attribute__((weak)) int FgQorWrapper::Fg_getParameterInfoXML(Fg_Struct*, int, char*, size_t*) {
    return FG_ERR_NOT_SUPPORTED;
}
