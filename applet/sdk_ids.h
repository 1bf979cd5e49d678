// The SDK parameter identities and indices, derived from sdk_params.def.
#ifndef SDK_IDS_H
#define SDK_IDS_H

#include "fg_param_ids.h"

// Identities of the host's public numbering: FG_WIDTH == 100, ...
enum SdkParameterId {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) NAME = ID,
#include "sdk_params.def"
};

// Position of each parameter in the enumeration order: SDK_INDEX_FG_WIDTH == 31, ...
enum SdkParameterIndex {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) SDK_INDEX_##NAME,
#include "sdk_params.def"
    SDK_PARAM_COUNT
};

#endif
