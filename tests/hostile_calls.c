/* Calls into the applet the way a C host passes on what an application gave
 * it: type selectors and element types as any number (in C every int
 * converts to the enumeration type). The applet's own exports are taken from
 * the library behind the application handle and called as fg_applet.h
 * declares them. */
#include "hostile_calls.h"

#include <dlfcn.h>
#include <stddef.h>

#include "sim_board.h"

typedef int (*SetTyped)(Fg_Struct*, const int, const void*, const unsigned int, const FgParamTypes);
typedef int (*GetTyped)(Fg_Struct*, const int, void*, const unsigned int, const FgParamTypes);

static void* appletEntry(Fg_Struct* fg, const char* name) {
    void* lib = SimBoard_AppletLibraryOf(fg);
    return lib ? dlsym(lib, name) : NULL;
}

int hostileSet(Fg_Struct* fg, int id, const void* value, unsigned int dma, int32_t type) {
    SetTyped f = (SetTyped)appletEntry(fg, "Fg_setParameterWithType");
    return f ? f(fg, id, value, dma, (FgParamTypes)type) : -1;
}

int hostileGet(Fg_Struct* fg, int id, void* value, unsigned int dma, int32_t type) {
    GetTyped f = (GetTyped)appletEntry(fg, "Fg_getParameterWithType");
    return f ? f(fg, id, value, dma, (FgParamTypes)type) : -1;
}

int hostileRuntimeSet(Fg_Struct* fg, int id, const void* value, unsigned int dma, int32_t type) {
    return Fg_setParameterWithType(fg, id, value, dma, (FgParamTypes)type);
}

int hostileRuntimeGet(Fg_Struct* fg, int id, void* value, unsigned int dma, int32_t type) {
    return Fg_getParameterWithType(fg, id, value, dma, (FgParamTypes)type);
}

int hostileSimSet(QORdevice* dev, const char* name, const void* value, int32_t type) {
    return SimBoard_SetValue(dev, name, (FgParamTypes)type, value);
}

void hostileElementType(FieldParameterAccess* record, int32_t vtype) { record->vtype = (FgParamTypes)vtype; }
