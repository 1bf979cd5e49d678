/*
 * The simulated board device (QORdevice) as the stand-in runtimes share it.
 *
 * The host runtime creates and destroys devices and fills the register file
 * from the design when it initialises a board; the register I/O runtime reads
 * and writes the register file through this layout. Both libraries are built
 * from this header by the same compiler, so the layout is private to them.
 */
#ifndef SIM_DEVICE_H
#define SIM_DEVICE_H

#include <pthread.h>
#include <stdint.h>

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define SIM_DEVICE_MAGIC 0x51444556u /* "QDEV" */

typedef struct SimRegister {
    int number;     /* register number of the design */
    int bits;       /* width */
    int direction;  /* 0 read-only, 1 write, 2 read-write (not enforced) */
    uint64_t value; /* current value, stored as written (no masking) */
} SimRegister;

struct QORdevice {
    uint32_t magic; /* SIM_DEVICE_MAGIC while the device lives */
    unsigned int boardIndex;
    pthread_mutex_t regLock; /* guards every register field below */
    SimRegister* regs;       /* owned by the host runtime (malloc) */
    int nrOfRegs;
    int regFailCode; /* non-zero: register reads and writes fail with it */
    void* host;      /* the host runtime's private device state */
};

#ifdef __cplusplus
}
#endif

#endif /* SIM_DEVICE_H */
