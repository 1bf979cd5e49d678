/* Typed parameter access with the type selector as a plain number (see
 * typed_call.c). */
#ifndef ORV_FUZZ_TYPED_CALL_H
#define ORV_FUZZ_TYPED_CALL_H

#include <stdint.h>

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

int orvFuzzSetTyped(Fg_Struct* fg, int id, const void* value, unsigned int dma, int32_t type);
int orvFuzzGetTyped(Fg_Struct* fg, int id, void* value, unsigned int dma, int32_t type);

#ifdef __cplusplus
}
#endif

#endif
