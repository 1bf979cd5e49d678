/* Typed access with selectors as plain numbers (see hostile_calls.c). */
#ifndef ORV_TESTS_HOSTILE_CALLS_H
#define ORV_TESTS_HOSTILE_CALLS_H

#include <stdint.h>

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The applet's typed exports with the type selector passed as `type`. */
int hostileSet(Fg_Struct* fg, int id, const void* value, unsigned int dma, int32_t type);
int hostileGet(Fg_Struct* fg, int id, void* value, unsigned int dma, int32_t type);
/* The same through the runtime's exports (host or application handle), and
 * the simulated board's own value write. */
int hostileRuntimeSet(Fg_Struct* fg, int id, const void* value, unsigned int dma, int32_t type);
int hostileRuntimeGet(Fg_Struct* fg, int id, void* value, unsigned int dma, int32_t type);
int hostileSimSet(QORdevice* dev, const char* name, const void* value, int32_t type);
/* Stores any number as the element type of an access record. */
void hostileElementType(FieldParameterAccess* record, int32_t vtype);

#ifdef __cplusplus
}
#endif

#endif
