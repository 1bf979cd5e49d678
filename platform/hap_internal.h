/*
 * The design runtime's image format and its platform-internal interface.
 *
 * DESIGN IMAGE FORMAT ("TERVIK-HAP 1")
 *
 * A design image is a text manifest followed by arbitrary padding. The
 * manifest is a sequence of lines, each ended by '\n' (a '\r' before it is
 * ignored). Fields are separated by runs of blanks or tabs.
 *
 *   TERVIK-HAP 1                                   first line, exactly
 *   # any text                                     comment (also blank lines)
 *   design <name>                                  optional design name
 *   param <name> <kind> <count> <access> [initial]
 *   event <index> <kind> <name>
 *   register <number> <name> <bits> <direction>
 *   end                                            end of the manifest
 *
 * Everything after the "end" line is padding and is never looked at; the
 * generated image of the Orvindel design pads with a fixed pseudo-random byte
 * pattern to its full size.
 *
 * param: a design parameter. <name> is the full name (for example
 *   "Device1_Process0_Trigger_Trigger_ExsyncPeriod", at most 255 characters,
 *   unique). <kind> is one of U32, U64, DOUBLE, TEXT (single values) or
 *   UFIELD (unsigned 32-bit elements), DFIELD (double elements). <count> is the
 *   number of elements: 1 for single values, 1 to 1048576 for fields. <access>
 *   is RW or RO. [initial] is optional (default 0 / empty): a decimal or 0x
 *   hexadecimal integer for U32 and U64, a number for DOUBLE, the rest of the
 *   line for TEXT (at most 255 characters, blanks included), and for fields a
 *   comma-separated list of at most <count> element values (missing elements
 *   are 0).
 * event: an event of the design. <index> 0 to 1023, unique, not necessarily
 *   contiguous; <kind> 0 to 255; <name> unique.
 * register: a design register. Registers take positions 1..N in file order;
 *   <number> is the register number (1 to 999999, unique), <name> unique,
 *   <bits> the width 1 to 64, <direction> 0 read-only, 1 write, 2 read-write.
 *
 * A manifest without the magic line, without the "end" line inside the given
 * size, with an unknown line, a missing or extra field, a bad number, a
 * duplicate name / index / number, a NUL byte or a line longer than 1 MiB is
 * rejected (the load functions return NULL).
 *
 * REGISTER LOOK-UP ANSWERS
 *
 *   HapGetNrOfRegister: number of registers; 0 for a NULL design.
 *   HapGetRegisterName: the name at position 1..N; NULL outside.
 *   HapGetRegisterByName: the register number; 0 for an unknown name or NULL.
 *   HapGetRegisterBitRange: the width; 0 for an unknown register number.
 *   HapGetRegisterDirection: 0, 1 or 2; -1 for an unknown register number.
 *
 * The functions below let the host runtime learn the design's parameters and
 * registers; they are exported by libtervikhap.so but are not part of the
 * applet's platform contract.
 */
#ifndef HAP_INTERNAL_H
#define HAP_INTERNAL_H

#include "fg_platform.h"

#ifdef __cplusplus
extern "C" {
#endif

#define HAP_MAGIC_LINE "TERVIK-HAP 1"
#define HAP_MAX_NAME 255
#define HAP_MAX_TEXT 255
#define HAP_MAX_FIELD_COUNT 1048576u
#define HAP_MAX_EVENT_INDEX 1023
#define HAP_MAX_REGISTER_NUMBER 999999

typedef enum HapParamKind {
    HAP_KIND_U32 = 1,
    HAP_KIND_U64 = 2,
    HAP_KIND_DOUBLE = 3,
    HAP_KIND_TEXT = 4,
    HAP_KIND_UFIELD = 5,
    HAP_KIND_DFIELD = 6
} HapParamKind;

typedef struct HapParameterInfo {
    const char* name;
    int kind;                         /* HapParamKind */
    unsigned int count;               /* elements (1 for single values) */
    int readOnly;                     /* 1 for RO */
    uint64_t initialU;                /* U32, U64 */
    double initialD;                  /* DOUBLE */
    const char* initialText;          /* TEXT ("" when none) */
    unsigned int nrOfInitialElements; /* fields: elements given (<= count) */
    const uint64_t* initialUElements; /* UFIELD */
    const double* initialDElements;   /* DFIELD */
} HapParameterInfo;

typedef struct HapRegisterInfo {
    const char* name;
    int number;
    int bits;
    int direction;
} HapRegisterInfo;

/* Number of design parameters (0 for NULL). */
int HapGetNrOfParameter(fpga_design* design);
/* Parameter i (0-based, file order) or NULL. Valid while the design is loaded. */
const HapParameterInfo* HapGetParameter(fpga_design* design, int i);
/* Register at position 1..N or NULL. */
const HapRegisterInfo* HapGetRegisterInfo(fpga_design* design, int position);
/* The optional design name ("" when none; NULL for a NULL design). */
const char* HapGetDesignName(fpga_design* design);
/* Highest event index + 1 (0 when the design has no events). */
int HapGetEventRange(fpga_design* design);

#ifdef __cplusplus
}
#endif

#endif /* HAP_INTERNAL_H */
