// Handlers of parameters whose subsystem is not built yet: their identities
// answer as unknown (-2070). Each subsystem's file overrides these.
#include "AppletWrapper.h"

#define W __attribute__((weak))
#define UNKNOWN { throw int(FG_ERR_INVALID_PARAMETER); }
#undef ORV_SET_U32
#undef ORV_SET_DOUBLE
#undef ORV_SET_TEXT
#undef ORV_SET_UFIELD
#undef ORV_GET_U32
#undef ORV_GET_DOUBLE
#undef ORV_GET_TEXT
#undef ORV_GET_U64
#undef ORV_GET_UFIELD
#undef ORV_GET_DFIELD
#define ORV_SET_U32(NAME) W void FgQorWrapperImpl::set_##NAME(int, uint32_t, bool) UNKNOWN
#define ORV_SET_DOUBLE(NAME) W void FgQorWrapperImpl::set_##NAME(int, double, bool) UNKNOWN
#define ORV_SET_TEXT(NAME) W void FgQorWrapperImpl::set_##NAME(int, const char*, bool) UNKNOWN
#define ORV_SET_UFIELD(NAME) W void FgQorWrapperImpl::set_##NAME(int, const FieldParameterAccess*, bool) UNKNOWN
#define ORV_GET_U32(NAME) W void FgQorWrapperImpl::get_##NAME(int, uint32_t*) UNKNOWN
#define ORV_GET_DOUBLE(NAME) W void FgQorWrapperImpl::get_##NAME(int, double*) UNKNOWN
#define ORV_GET_TEXT(NAME) W void FgQorWrapperImpl::get_##NAME(int, char*) UNKNOWN
#define ORV_GET_U64(NAME) W void FgQorWrapperImpl::get_##NAME(int, uint64_t*) UNKNOWN
#define ORV_GET_UFIELD(NAME)                                                       \
    W void FgQorWrapperImpl::get_##NAME(int, FieldParameterAccess*) UNKNOWN \
    W void FgQorWrapperImpl::get_##NAME(int, FieldParameterInt*) UNKNOWN
#define ORV_GET_DFIELD(NAME)                                                       \
    W void FgQorWrapperImpl::get_##NAME(int, FieldParameterAccess*) UNKNOWN \
    W void FgQorWrapperImpl::get_##NAME(int, FieldParameterDouble*) UNKNOWN

#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    ORV_SET_##WRITE(NAME, TYPE)                             \
    ORV_GET_##READ(NAME, TYPE)
#include "sdk_params.def"

W void FgQorWrapperImpl::setTriggerHeightAndOffset(int, uint32_t, uint32_t, uint32_t) UNKNOWN
W void FgQorWrapperImpl::setDefaultValues() {}
W bool FgQorWrapperImpl::loadConfig(Fg_ConfigFileParser&) { return false; }
W void FgQorWrapperImpl::saveConfig(Fg_ConfigFileParser&) {}
