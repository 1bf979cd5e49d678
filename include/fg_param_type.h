// The typed-access selector as a C caller passed it.
//
// A C caller may pass any 32-bit number where an FgParamTypes is expected.
// C++ may only read an FgParamTypes that lies within the range its
// enumerators (-1 to 8192) give it, -16384 to 16383; any other number is
// handed on as FG_PARAM_TYPE_INVALID, a selector that no layer accepts.
#ifndef FG_PARAM_TYPE_H
#define FG_PARAM_TYPE_H

#include <stdint.h>
#include <string.h>

#include "fg_types.h"

#ifdef __cplusplus
static_assert(sizeof(FgParamTypes) == sizeof(int32_t), "the selector is passed as a 32-bit number");

inline FgParamTypes fgParamTypeOf(const FgParamTypes& type) {
    int32_t code;
    memcpy(&code, &type, sizeof code);
    if (code < -16384 || code > 16383) return FG_PARAM_TYPE_INVALID;
    return static_cast<FgParamTypes>(code);
}
#endif

#endif
