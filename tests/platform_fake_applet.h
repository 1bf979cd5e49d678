// A stand-in applet library for the tests of the host runtime's application
// side: it records the calls it gets and forwards parameter access and
// acquisition to the host board it initialises.
#ifndef ORV_TESTS_PLATFORM_FAKE_APPLET_H
#define ORV_TESTS_PLATFORM_FAKE_APPLET_H

#include "fg_types.h"

// Std_entry flags understood by the stand-in.
#define FAKE_APPLET_FAIL 0x100  /* Std_entry returns NULL with status -1234 */
#define FAKE_APPLET_THROW 0x200 /* Std_entry throws an int */

typedef struct FakeAppletRecord {
    int stdEntryCalls;
    int lastFlags;
    QORdevice* lastDevice;
    int freeCalls;
    int setCalls;
    int getCalls;
    int lastId;
    unsigned int lastDma;
    int lastType;
    Fg_Struct* lastFg; /* the handle the runtime passed to the last routed call */
    int acquireCalls;
} FakeAppletRecord;

typedef FakeAppletRecord* (*FakeApplet_Record_t)(void);

/* What the stand-in answers to Fg_getLastErrorNumber. */
#define FAKE_APPLET_LAST_ERROR (-77)

#endif
