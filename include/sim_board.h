/*
 * Control and inspection of the simulated board platform.
 *
 * The simulated host runtime (libtalrun5.so) models one board per QORdevice:
 * the design parameters of the loaded design with their types and values, the
 * host-level parameters, the registers, a log of every design-parameter write,
 * and fault injection. These SimBoard_ functions are not part of the platform
 * contract: only tests, benchmarks and tools call them; an applet never does.
 *
 * The same library also carries the application side of the runtime
 * (Fg_Init / Fg_InitEx), which opens a board with a named applet library and
 * routes the application's calls on the returned handle to the applet.
 */
#ifndef SIM_BOARD_H
#define SIM_BOARD_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- application side ---------------------------------------------------- */

/* Opens board `boardIndex` with the applet `appletName` (library
 * "lib<appletName>.so", searched in $TERVIK_APPLET_PATH, then by the dynamic
 * loader's own rules) and calls its Std_entry with `flags`. NULL on failure;
 * Fg_getLastErrorNumber(NULL) then tells why. */
Fg_Struct* Fg_Init(const char* appletName, unsigned int boardIndex);
Fg_Struct* Fg_InitEx(const char* appletName, unsigned int boardIndex, int flags);
/* Closes it with Fg_FreeGrabber(fg) (routed to the applet). Failures of
 * Fg_Init / Fg_InitEx: no or empty applet name, or a name with '/': -2070;
 * library not found: -2076; library without Std_entry: -2031; Std_entry
 * returned NULL: its status (-100 when that is 0 or Std_entry threw). */

/* The calls an application makes on the handle. The runtime exports each of
 * these names once: on an application handle it routes the call to the
 * applet's export of the same name (an entry the applet lacks answers -12, or
 * NULL / 0 for the pointer and mask answers; Fg_FreeGrabber then still
 * releases the handle); on a host board handle (the one an applet gets from
 * the host's board initialisation) it answers as the host; anything else gets
 * -2001 (NULL / 0). */
int Fg_FreeGrabber(Fg_Struct* Fg);
int Fg_getLastErrorNumber(Fg_Struct* Fg);
int Fg_setParameterWithType(Fg_Struct* Fg, const int Parameter, const void* Value, const unsigned int DmaIndex,
                            const FgParamTypes type);
int Fg_getParameterWithType(Fg_Struct* Fg, const int Parameter, void* Value, const unsigned int DmaIndex,
                            const FgParamTypes type);
int Fg_getNrOfParameter(Fg_Struct* Fg);
const char* Fg_getParameterName(Fg_Struct* Fg, int index);
int Fg_getParameterId(Fg_Struct* Fg, int index);
int Fg_getParameterIdByName(Fg_Struct* Fg, const char* name);
RegisterInfo* Fg_getParameterInfo(Fg_Struct* Fg, int CamPort);
int Fg_getParameterInfoXML(Fg_Struct* Fg, int port, char* infoBuffer, size_t* infoBufferSize);
int Fg_saveConfig(Fg_Struct* Fg, const char* Filename);
int Fg_loadConfig(Fg_Struct* Fg, const char* Filename);
uint64_t Fg_getEventMask(Fg_Struct* Fg, const char* name);
const char* Fg_getEventName(Fg_Struct* Fg, uint64_t mask);
int Fg_getAppletId(Fg_Struct* Fg, const char* Appletname);
frameindex_t Fg_getStatusEx(Fg_Struct* Fg, const int Param, const frameindex_t Data, const unsigned int DmaIndex,
                            dma_mem* pMem);
int Fg_AcquireEx(Fg_Struct* Fg, int CamPort, const frameindex_t PicCount, int nFlag, dma_mem* memHandle);
int Fg_stopAcquireEx(Fg_Struct* Fg, int CamPort, dma_mem* memHandle, int nFlag);
frameindex_t Fg_getLastPicNumberEx(Fg_Struct* Fg, int CamPort, dma_mem* pMem);
frameindex_t Fg_getLastPicNumberBlockingEx(Fg_Struct* Fg, const frameindex_t PicNr, int CamPort, int Timeout,
                                           dma_mem* pMem);
ShadingMaster* Fg_AllocShading(Fg_Struct* Fg, int set, int port);
int Fg_FreeShading(Fg_Struct* Fg, ShadingMaster* sm);
int Shad_SetSubValueLine(Fg_Struct* Fg, ShadingMaster* sm, int x, int channel, float sub);
int Shad_SetMultValueLine(Fg_Struct* Fg, ShadingMaster* sm, int x, int channel, float mult);
int Shad_SetFixedPatternNoiseLine(Fg_Struct* Fg, ShadingMaster* sm, int x, int channel, int on);
int Shad_GetMaxLine(Fg_Struct* Fg, ShadingMaster* sm);
int Shad_GetAccess(Fg_Struct* Fg, ShadingMaster* sm);
int Shad_FreeAccess(Fg_Struct* Fg, ShadingMaster* sm);
int Shad_WriteActLine(Fg_Struct* Fg, ShadingMaster* sm, int line);
/* Untyped access and acquisition without memory handle: on an application
 * handle routed to the applet's typed access with FG_PARAM_TYPE_AUTO and to
 * Fg_AcquireEx / Fg_stopAcquireEx with flag 0 and no memory handle. */
int Fg_setParameter(Fg_Struct* Fg, int Parameter, const void* Value, unsigned int DmaIndex);
int Fg_getParameter(Fg_Struct* Fg, int Parameter, void* Value, unsigned int DmaIndex);
int Fg_Acquire(Fg_Struct* Fg, int CamPort, frameindex_t PicCount);
int Fg_stopAcquire(Fg_Struct* Fg, int CamPort);

/* Host board initialisation as an applet calls it (see fg_platform.h). */
Fg_Struct* Fg_InitHandleSlaveAware(const char* hapName, QORdevice* hw, fpga_design* design, int flags);
Fg_Struct* Fg_InitHandle(const char* hapName, QORdevice* hw, fpga_design* design);

/* The simulated device behind an application handle (NULL for others). */
QORdevice* SimBoard_DeviceOf(Fg_Struct* appFg);
/* The applet library handle behind an application handle (dlopen handle). */
void* SimBoard_AppletLibraryOf(Fg_Struct* appFg);

/* ---- devices ------------------------------------------------------------- */

QORdevice* SimBoard_CreateDevice(unsigned int boardIndex);
void SimBoard_DestroyDevice(QORdevice* dev);
/* The host board handle the runtime handed out for the device (NULL if none). */
Fg_Struct* SimBoard_HostHandleOf(QORdevice* dev);
/* The device behind a host board handle (NULL for others). */
QORdevice* SimBoard_DeviceOfHostHandle(Fg_Struct* hostFg);

/* ---- host face: behaviour in brief ----------------------------------------
 * Design parameters get the identities 1048576 + their position in the
 * design. Numbers are converted on write and read (UINT32, INT32, UINT64,
 * INT64, SIZE_T, DOUBLE; doubles rounded to the nearest integer); a value
 * that does not fit the parameter or the requested type fails with -6000.
 * FG_PARAM_TYPE_AUTO means the parameter's own type. Texts use CHAR_PTR (at
 * most 255 characters). Field parameters take a FieldParameterAccess record
 * (vtype INT32, UINT32, FIELDPARAMINT, INT64, UINT64, FIELDPARAMINT64 or
 * DOUBLE) or the element records FieldParameterInt / FieldParameterDouble;
 * index and count outside the field fail with -2070. Writes of read-only
 * design parameters fail with -12; unknown identities and NULL values -2070.
 * The DMA index of a design-parameter access is not checked (it is logged).
 * Host-level parameters: FG_TIMEOUT (initially 1000000) and
 * FG_APC_STOP_TIMEOUT (initially 5) are writable per DMA; FG_NR_OF_DMAS,
 * FG_NR_OF_CAMS and FG_NR_OF_PROCESSES read 2, FG_DMA_PORT and FG_CAM_PORT the
 * DMA index, FG_TRANSFER_LEN the bytes of the last frame (0 before any),
 * FG_DMASTATUS 1 while the DMA runs, else 0; DMA indices other than 0 and 1
 * fail with -2070. The last error of a host board is set by every failing call
 * and is not reset by successful ones.
 * Acquisition: see "acquisition" below. Fg_getAppletId answers 0. Shading:
 * -2130 / NULL. */

/* ---- acquisition ----------------------------------------------------------
 * With a frame-buffer ring (Fg_AllocRingEx) as memory handle, Fg_AcquireEx
 * starts the board's acquisition engine on the DMA channel: a producer thread
 * of the runtime computes every image from the port's design values (camera
 * simulator or simulated line-scan camera, lookup table, trigger block, image
 * selector, region, line mirror, output format; the README has the frame
 * model) and writes it straight into the ring; picture p goes to buffer
 * (p - 1) % count. picCount <= 0: endless, else the acquisition ends after
 * picCount pictures. Images arrive at the rate the programmed state implies
 * (SIM_PACE_REALTIME, the default) or as fast as possible (SIM_PACE_UNPACED,
 * where the source waits while the trigger block waits, so that images are
 * reproducible). The region and output format are taken when acquisition
 * starts (the ring's buffer size must hold a frame of them, else -500); all
 * other values take effect from the next image on.
 *
 * Fg_getLastPicNumberEx: the newest complete picture (0 before the first).
 * Fg_getLastPicNumberBlockingEx: waits until picture PicNr is complete and
 * answers the newest one; SIM_ERR_TIMEOUT after Timeout seconds, or at once
 * (or when a stop wakes the wait) if the acquisition ended before it.
 * Fg_stopAcquireEx stops and joins the producer; closing the board does too.
 * A second Fg_AcquireEx on a running channel, or with a ring another channel
 * uses: SIM_ERR_BUSY. A memory handle that is no ring of the board: -2070.
 *
 * The application takes picture p when it asks for it by number (a blocking
 * wait for p, Fg_getPicturePtrEx, Fg_copyPictureEx). When the engine must
 * reuse a buffer whose picture was never taken, that picture is lost: the
 * loss is counted (SIM_STATUS_LOST), the port's design overflow flag
 * ("..._Overflow_OverflowOccurred") reads 1 until the next start and its
 * overflow event is counted; the fill levels ("..._FillLevel") read the
 * percentage of the ring holding pictures not yet taken.
 *
 * Without a memory handle (NULL) the channel keeps the counter model that
 * applet tests use: no image is made; each Fg_getLastPicNumberEx on a running
 * DMA counts one picture, a blocking wait counts up to PicNr.
 */

/* Fg_getLastPicNumberBlockingEx when the wanted picture will not come. */
#define SIM_ERR_TIMEOUT (-2120)
/* A channel already acquiring, or a ring in use by a running acquisition. */
#define SIM_ERR_BUSY (-2121)

/* Fg_getStatusEx(Fg, Param, Data, DmaIndex, pMem) questions. */
#define SIM_STATUS_LAST_PICTURE 0 /* newest complete picture number */
#define SIM_STATUS_LOST 1         /* pictures lost (overwritten before taken) */
#define SIM_STATUS_RUNNING 2      /* 1 while a producer runs */
#define SIM_STATUS_BUFFER_OF 3    /* ring index holding picture Data, -2070 if none */
#define SIM_STATUS_PICTURE_IN 4   /* picture held by ring index Data (0: none) */
#define SIM_STATUS_TAKEN 5        /* highest picture the application took */
#define SIM_STATUS_IMAGES 6       /* images the trigger block cut (before the selector) */

/* What a delivered frame looks like (from the running acquisition, else from
 * the port's programmed values): width x height pixels, lines of
 * width * bytesPerPixel bytes without padding; 16-bit containers are
 * little-endian, the value `bitsPerPixel` wide, at bit 0 (right aligned) or
 * with its top bit at bit 15 (left aligned). */
typedef struct FgFrameFormat {
    uint32_t width;
    uint32_t height;
    uint32_t bitsPerPixel;  /* 8, 10, 12 or 16 */
    uint32_t bytesPerPixel; /* 1 or 2 */
    uint32_t leftAligned;   /* 1: value in the top bits of a 16-bit container */
    uint32_t reserved;
    uint64_t frameBytes; /* width * height * bytesPerPixel */
} FgFrameFormat;

/* ---- application side: frame-buffer rings -------------------------------- */

/* A ring of `BufCnt` buffers of `BufSize` bytes each for the board (1 to
 * 65536 buffers, 1 byte to 1 GiB each, 4 GiB in all on a 64-bit build and
 * 1 GiB on a 32-bit one; 64-byte aligned). NULL on failure, with
 * Fg_getLastErrorNumber(NULL) telling why (-2001 not an application handle,
 * -2070 a size or count out of range, -500 no memory). */
dma_mem* Fg_AllocRingEx(Fg_Struct* Fg, size_t BufSize, frameindex_t BufCnt);
/* Frees a ring: 0, -2001, -2070 (no ring of this board), SIM_ERR_BUSY while
 * an acquisition runs on it (stop it first). */
int Fg_FreeRingEx(Fg_Struct* Fg, dma_mem* mem);
/* The address of buffer `BufIndex` (0 .. BufCnt-1); NULL for a bad handle or index. */
void* Fg_getBufferPtrEx(Fg_Struct* Fg, frameindex_t BufIndex, dma_mem* mem);
/* The address of the buffer holding picture `PicNr` of the DMA channel's
 * acquisition, and the picture counts as taken; NULL when the ring does not
 * hold it (not yet complete, overwritten) or for bad arguments. */
void* Fg_getPicturePtrEx(Fg_Struct* Fg, frameindex_t PicNr, int CamPort, dma_mem* mem);
/* Copies picture `PicNr` (<= 0: the newest complete one, chosen again when
 * the producer overwrites it first) into `dst` so that the producer cannot
 * overwrite it meanwhile, and takes it. Answers the
 * picture number copied; -2070 for bad arguments or a picture the ring does
 * not hold, -500 when `size` is below the frame size. */
frameindex_t Fg_copyPictureEx(Fg_Struct* Fg, frameindex_t PicNr, int CamPort, void* dst, size_t size, dma_mem* mem);
/* The format of the frames the DMA channel delivers: 0, -2001, -2070. */
int Fg_getFrameFormatEx(Fg_Struct* Fg, int CamPort, FgFrameFormat* out);

/* ---- design parameters --------------------------------------------------- */

/* The host identity of a design parameter of the device's loaded design, or 0. */
int SimBoard_ParameterId(QORdevice* dev, const char* name);
/* Reads / sets a design parameter's current value by name without logging.
 * `type` selects the storage at `value` (UINT32_T, UINT64_T, DOUBLE, CHAR_PTR
 * (a char buffer of at least 256 bytes on read, a text on write)). For field
 * parameters use SimBoard_GetFieldElement / SimBoard_SetFieldElement.
 * 0 or FG_ERR_INVALID_PARAMETER. */
int SimBoard_GetValue(QORdevice* dev, const char* name, FgParamTypes type, void* value);
int SimBoard_SetValue(QORdevice* dev, const char* name, FgParamTypes type, const void* value);
int SimBoard_GetFieldElement(QORdevice* dev, const char* name, unsigned int index, double* value);
int SimBoard_SetFieldElement(QORdevice* dev, const char* name, unsigned int index, double value);

/* ---- write log ----------------------------------------------------------- */

typedef struct SimLogEntry {
    int id;                      /* host identity */
    const char* name;            /* design parameter name (host-level: its SDK name) */
    unsigned int dma;            /* DMA index passed */
    FgParamTypes type;           /* type passed */
    uint64_t u;                  /* value for integer types (also a field element record's value) */
    double d;                    /* value for DOUBLE (and double field element records) */
    const char* text;            /* value for CHAR_PTR */
    unsigned int fieldIndex;     /* field writes: first element */
    unsigned int fieldCount;     /* field writes: number of elements (1 for element records) */
    const uint64_t* fieldValues; /* field writes: the elements written, as unsigned 64-bit */
} SimLogEntry;

/* Only successful writes are logged: design parameters through the host's
 * typed or untyped write, and the writable host-level parameters (name
 * "FG_TIMEOUT", "FG_APC_STOP_TIMEOUT"). Field writes: fieldValues holds the
 * elements as stored, for double fields their IEEE-754 bit patterns; `d` holds
 * the first element of a double access record. */

/* Number of logged design and host-parameter writes since the last clear. */
int SimBoard_LogCount(QORdevice* dev);
/* Entry i (0 = oldest); the pointers in it stay valid until the next clear. 0 or -2070. */
int SimBoard_LogEntry(QORdevice* dev, int i, SimLogEntry* out);
void SimBoard_LogClear(QORdevice* dev);

/* ---- host calls and fault injection --------------------------------------- */

/* Number of calls the applet made into the host runtime for this device
 * (every entry that takes the host board handle counts one). */
int SimBoard_HostCallCount(QORdevice* dev);
/* Makes the n-th host call from now (1 = the next one) fail with `code`: the
 * call only returns the code (NULL for pointer answers, 0 for masks) and sets
 * the board's last error; a failed Fg_FreeGrabber still releases the handle.
 * n <= 0 cancels. Set before the board is initialised, it counts from the
 * first host call on the new board. */
void SimBoard_FailNthHostCall(QORdevice* dev, int n, int code);
/* Makes every write (isWrite 1) or read (isWrite 0) of the named design
 * parameter fail with `code` until cleared. */
void SimBoard_FailParameter(QORdevice* dev, const char* name, int isWrite, int code);
/* Makes the host's board initialisation for this device return NULL with
 * `code` as the last error (0 clears). */
void SimBoard_FailInit(QORdevice* dev, int code);
/* Clears every fault above and the register fault below. */
void SimBoard_ClearFaults(QORdevice* dev);

/* ---- registers ------------------------------------------------------------ */

int SimBoard_GetRegister(QORdevice* dev, int reg, uint64_t* value);
int SimBoard_SetRegister(QORdevice* dev, int reg, uint64_t value);
/* Makes register reads and writes fail with `code` (0 clears). */
void SimBoard_FailRegisters(QORdevice* dev, int code);

/* ---- acquisition counters ------------------------------------------------- */

typedef struct SimAcquisitionCounters {
    int acquireCalls;
    int stopCalls;
    int lastPicNumberCalls;
    int statusCalls;
    int appletIdCalls;
    int running[2]; /* per DMA channel */
} SimAcquisitionCounters;

void SimBoard_GetAcquisitionCounters(QORdevice* dev, SimAcquisitionCounters* out);

/* ---- acquisition engine ---------------------------------------------------- */

#define SIM_PACE_REALTIME 0 /* images at the programmed rate (default) */
#define SIM_PACE_UNPACED 1  /* as fast as possible, reproducible (tests, benchmarks) */
/* Sets the pacing of the device's acquisitions (also of running ones, from
 * their next image on): 0 or -2070. */
int SimBoard_SetPacing(QORdevice* dev, int mode);

/* The simulated line-scan camera on a port (its picture when the camera, not
 * the simulator, is the port's source): binary PGM files (P5, 8-bit or, with
 * a maxval above 255, 16-bit samples, at most 16384 x 16384), played one line
 * per line pulse, file after file, looped. Without files the camera shows its
 * test scene. Add: 0, -2070 (bad device or port), -2076 (file missing),
 * -5001 (not such a PGM), -500 (no memory for it). Taken by acquisitions from
 * their next image on. */
int SimBoard_AddCameraImage(QORdevice* dev, int port, const char* pgmPath);
int SimBoard_ClearCameraImages(QORdevice* dev, int port);

/* The board's trigger inputs 0..7 (the SDK's trigger sources; the software
 * trigger is the applet's own parameters): `count` pulses (a rising and a
 * falling edge each), or a level (0 or 1; which level is active is the
 * polarity the port programs). An encoder on input A moves `steps` (negative:
 * backwards). 0 or -2070. */
int SimBoard_PulseTriggerInput(QORdevice* dev, int input, int count);
int SimBoard_SetTriggerInputLevel(QORdevice* dev, int input, int level);
int SimBoard_MoveEncoder(QORdevice* dev, int input, int steps);

typedef struct SimAcquisitionStatus {
    int running;              /* a producer runs */
    int engine;               /* the last acquisition ran with a ring */
    frameindex_t lastPicture; /* newest complete picture */
    frameindex_t taken;       /* highest picture the application took */
    uint64_t lost;            /* pictures overwritten before they were taken */
    uint64_t images;          /* images cut by the trigger block */
    uint32_t overflow;        /* the design's overflow flag */
    uint32_t fillLevel;       /* the design's fill level, percent */
} SimAcquisitionStatus;
/* 0 or -2070. */
int SimBoard_GetAcquisitionStatus(QORdevice* dev, int port, SimAcquisitionStatus* out);
/* How often the design event of `mask` (Fg_getEventMask) fired since the
 * board was opened: overflows, image triggers lost while busy. */
uint64_t SimBoard_EventCount(QORdevice* dev, uint64_t mask);

#ifdef __cplusplus
}
#endif

#endif /* SIM_BOARD_H */
