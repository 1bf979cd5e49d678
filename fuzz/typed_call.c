/* The applet's typed exports called the way a C host passes on what an
 * application gave it: with any number as the type selector (in C every int
 * converts to the enumeration type). The applet (C++) must cope with
 * whatever arrives. The exports are taken from the applet library behind the
 * application handle and called as fg_applet.h declares them. */
#include "fuzz_typed_call.h"

#include <dlfcn.h>
#include <stdlib.h>

#include "sim_board.h"

typedef int (*SetTyped)(Fg_Struct*, const int, const void*, const unsigned int, const FgParamTypes);
typedef int (*GetTyped)(Fg_Struct*, const int, void*, const unsigned int, const FgParamTypes);

static void* appletEntry(Fg_Struct* fg, const char* name) {
    void* lib = SimBoard_AppletLibraryOf(fg);
    void* f = lib ? dlsym(lib, name) : NULL;
    if (f == NULL) abort();
    return f;
}

int orvFuzzSetTyped(Fg_Struct* fg, int id, const void* value, unsigned int dma, int32_t type) {
    SetTyped f = (SetTyped)appletEntry(fg, "Fg_setParameterWithType");
    return f(fg, id, value, dma, (FgParamTypes)type);
}

int orvFuzzGetTyped(Fg_Struct* fg, int id, void* value, unsigned int dma, int32_t type) {
    GetTyped f = (GetTyped)appletEntry(fg, "Fg_getParameterWithType");
    return f(fg, id, value, dma, (FgParamTypes)type);
}
