/*
 * Frame-grabber board interface: the types shared by the host runtime, the
 * design runtime, the register I/O runtime and acquisition applets.
 *
 * Everything here is part of the binary interface between separately built
 * libraries: numeric values, record layouts and calling conventions are fixed.
 */
#ifndef FG_TYPES_H
#define FG_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- opaque handles ---------------------------------------------------- */

typedef struct Fg_Master Fg_Master;         /* an applet object, as the host sees it */
typedef struct QORdevice QORdevice;         /* board hardware handle */
typedef struct fpga_design fpga_design;     /* a design loaded by the design runtime */
typedef struct dma_mem dma_mem;             /* DMA memory handle */
typedef struct ShadingMaster ShadingMaster; /* shading context */

typedef int32_t frameindex_t;

/* The host's board structure. Only the first member is public; a host keeps
 * whatever else it needs behind it. */
typedef struct Fg_Struct {
    Fg_Master* Master;
} Fg_Struct;

/* ---- error codes ------------------------------------------------------- */

enum FgErrorCodes {
    FG_OK = 0,
    FG_ERR_NOT_AVAILABLE = -12,        /* host entry or board handle missing; read-only parameter */
    FG_ERR_INIT_FAILED = -100,         /* design not loadable; host init failed without error */
    FG_ERR_BUFFER_TOO_SMALL = -500,    /* buffer too small; text copy not allocated */
    FG_ERR_INVALID_BOARD = -2001,      /* no board structure or no applet object */
    FG_ERR_RUNTIME_MISSING = -2031,    /* host runtime not loadable or without init function */
    FG_ERR_INVALID_PARAMETER = -2070,  /* unknown parameter, port, name, event, index; NULL */
    FG_ERR_NO_DESCRIPTION = -2075,     /* no description for the port; unsupported code */
    FG_ERR_FILE_NOT_FOUND = -2076,     /* configuration or lookup-table file missing */
    FG_ERR_NOT_SUPPORTED = -2130,      /* shading, unknown information question */
    FG_ERR_CONFIG_LOAD = -5000,        /* configuration load failed */
    FG_ERR_FILE_ACCESS = -5001,        /* file could not be written or read */
    FG_ERR_VALUE_OUT_OF_RANGE = -6000, /* value outside range or enumeration */
    FG_ERR_NOT_MULTIPLE_OF_16 = -7080  /* width or x-offset not a multiple of 16 */
};

/* ---- typed parameter access -------------------------------------------- */

typedef enum FgParamTypes {
    FG_PARAM_TYPE_INVALID = 0,
    FG_PARAM_TYPE_INT32_T = 1,
    FG_PARAM_TYPE_UINT32_T = 2,
    FG_PARAM_TYPE_INT64_T = 3,
    FG_PARAM_TYPE_UINT64_T = 4,
    FG_PARAM_TYPE_DOUBLE = 5,
    FG_PARAM_TYPE_CHAR_PTR = 6,
    FG_PARAM_TYPE_SIZE_T = 7,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS = 4096,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMINT = 4098,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMINT64 = 4099,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE = 4101,
    FG_PARAM_TYPE_COMPLEX_DATATYPE = 8192,
    FG_PARAM_TYPE_AUTO = -1
} FgParamTypes;

typedef struct FieldParameterInt {
    uint32_t value;
    unsigned int index;
} FieldParameterInt;

typedef struct FieldParameterDouble {
    double value;
    unsigned int index;
} FieldParameterDouble;

typedef struct FieldParameterAccess {
    FgParamTypes vtype; /* element type */
    unsigned int index; /* first element */
    unsigned int count; /* number of elements */
    union {
        int32_t* p_int32_t;
        uint32_t* p_uint32_t;
        int64_t* p_int64_t;
        uint64_t* p_uint64_t;
        double* p_double;
        void* ptr;
    };
} FieldParameterAccess;

/* ---- parameter records ------------------------------------------------- */

typedef enum REG_FORMAT {
    REG_FORMAT_GROUP = 0,
    REG_FORMAT_UINT = 1,
    REG_FORMAT_FLOAT = 2,
    REG_FORMAT_ENUM = 3,
    REG_FORMAT_LUT = 4,
    REG_FORMAT_STRING = 5,
    REG_FORMAT_DOUBLE = 6,
    REG_FORMAT_UINTFIELD = 7,
    REG_FORMAT_DOUBLEFIELD = 8,
    REG_FORMAT_UINT64 = 9,
    REG_FORMAT_UINTFIELD64 = 10,
    REG_FORMAT_INT = 11,
    REG_FORMAT_INT64 = 12,
    REG_FORMAT_INTFIELD = 13,
    REG_FORMAT_INTFIELD64 = 14,
    REG_FORMAT_STRINGFIELD = 15,
    REG_FORMAT_ENUMFIELD = 16
} REG_FORMAT;

typedef struct RegisterInfo RegisterInfo;

typedef struct IntReg {
    int from, to, steps, value;
} IntReg;
typedef struct UIntReg {
    unsigned int from, to, steps, value;
} UIntReg;
typedef struct IntReg64 {
    uint64_t from, to, steps, value;
} IntReg64;
typedef struct FloatReg {
    float from, to, steps, value;
} FloatReg;
typedef struct DoubleReg {
    double from, to, steps, value;
} DoubleReg;
typedef struct GroupReg {
    int nrOfElements;
    RegisterInfo** elements;
    int autoIndex;
} GroupReg;
typedef struct EnumReg {
    int nrOfElements;
    char** enumNames;
    int* enumValues;
    int absValue;
    int indexValue;
    char** enumDefName;
} EnumReg;
typedef struct LutReg {
    int nrOfElements, nrOfBits, id, number;
} LutReg;
typedef struct StringReg {
    char* string;
    char* FileExtension;
    int strLen;
} StringReg;
typedef struct DoubleFieldReg {
    double from, to;
    int nrOfElements, index;
    double value;
} DoubleFieldReg;
typedef struct IntFieldReg {
    int from, to, nrOfElements, index, value;
} IntFieldReg;
typedef struct UIntFieldReg {
    unsigned int from, to;
    int nrOfElements, index;
    unsigned int value;
} UIntFieldReg;
typedef struct Int64FieldReg {
    uint64_t from, to;
    int nrOfElements, index;
    uint64_t value;
} Int64FieldReg;

struct RegisterInfo {
    REG_FORMAT format;
    int index;
    const char* name;
    const char* parameterName;
    int accessFlags;
    int rangeFlags;
    int visibilityFlags;
    int id;
    union {
        IntReg iReg;
        UIntReg uiReg;
        IntReg64 iReg64;
        FloatReg fReg;
        DoubleReg dReg;
        GroupReg gReg;
        EnumReg eReg;
        LutReg lReg;
        StringReg sReg;
        DoubleFieldReg dfReg;
        IntFieldReg ifReg;
        UIntFieldReg uifReg;
        Int64FieldReg if64Reg;
    } u;
    RegisterInfo* next;
    RegisterInfo* previous;
    int depth;
    const char* parentName;
    const char* unit;
    int port;
};

#if defined(__i386__) && !defined(__cplusplus)
_Static_assert(sizeof(RegisterInfo) == 88, "RegisterInfo layout");
#endif
#if defined(__i386__) && defined(__cplusplus)
static_assert(sizeof(RegisterInfo) == 88, "RegisterInfo layout");
static_assert(offsetof(RegisterInfo, format) == 0, "format");
static_assert(offsetof(RegisterInfo, index) == 4, "index");
static_assert(offsetof(RegisterInfo, name) == 8, "name");
static_assert(offsetof(RegisterInfo, parameterName) == 12, "parameterName");
static_assert(offsetof(RegisterInfo, accessFlags) == 16, "accessFlags");
static_assert(offsetof(RegisterInfo, rangeFlags) == 20, "rangeFlags");
static_assert(offsetof(RegisterInfo, visibilityFlags) == 24, "visibilityFlags");
static_assert(offsetof(RegisterInfo, id) == 28, "id");
static_assert(offsetof(RegisterInfo, u) == 32, "u");
static_assert(sizeof(((RegisterInfo*)0)->u) == 32, "u size");
static_assert(offsetof(RegisterInfo, next) == 64, "next");
static_assert(offsetof(RegisterInfo, previous) == 68, "previous");
static_assert(offsetof(RegisterInfo, depth) == 72, "depth");
static_assert(offsetof(RegisterInfo, parentName) == 76, "parentName");
static_assert(offsetof(RegisterInfo, unit) == 80, "unit");
static_assert(offsetof(RegisterInfo, port) == 84, "port");
static_assert(offsetof(EnumReg, enumNames) == 4 && offsetof(EnumReg, enumValues) == 8 &&
                  offsetof(EnumReg, absValue) == 12 && offsetof(EnumReg, indexValue) == 16 &&
                  offsetof(EnumReg, enumDefName) == 20,
              "EnumReg");
static_assert(offsetof(IntReg64, to) == 8 && offsetof(IntReg64, steps) == 16 && offsetof(IntReg64, value) == 24,
              "IntReg64");
static_assert(offsetof(DoubleReg, to) == 8 && offsetof(DoubleReg, steps) == 16 && offsetof(DoubleReg, value) == 24,
              "DoubleReg");
static_assert(offsetof(GroupReg, elements) == 4 && offsetof(GroupReg, autoIndex) == 8, "GroupReg");
static_assert(offsetof(StringReg, FileExtension) == 4 && offsetof(StringReg, strLen) == 8, "StringReg");
static_assert(offsetof(DoubleFieldReg, nrOfElements) == 16 && offsetof(DoubleFieldReg, index) == 20 &&
                  offsetof(DoubleFieldReg, value) == 24,
              "DoubleFieldReg");
static_assert(offsetof(UIntFieldReg, nrOfElements) == 8 && offsetof(UIntFieldReg, index) == 12 &&
                  offsetof(UIntFieldReg, value) == 16,
              "UIntFieldReg");
static_assert(offsetof(Int64FieldReg, nrOfElements) == 16 && offsetof(Int64FieldReg, index) == 20 &&
                  offsetof(Int64FieldReg, value) == 24,
              "Int64FieldReg");
#endif

/* ---- applet information query ------------------------------------------ */

typedef enum AppletInfos {
    GET_ISCAM_COLOR = 0x350,
    GET_IS_SMART_APPLET = 0x410,
    GET_PNG_ICON = 0x411,
    GET_EMBEDDED_HAP = 0x412,
    GET_HAP_ID = 0x413,
    GET_BITSTREAM_ID = 0x414,
    GET_IS_ADVANCED_ACQUISITION_APPLET = 0x415,
    GET_NR_OF_PORTS = 0x700,
    GET_NR_OF_CAMS = 0x750,
    GET_NR_OF_DMAS = 0x760,
    GET_VERSION = 0x800,
    GET_HAP_NAME = 0x870,
    GET_BOARD_TYPE = 0x880,
    GET_PX_TYPE = 0x890,
    GET_IS_CUSTOM = 0xA00,
    GET_IS_AREA = 0xB00,
    GET_IS_MEDIUM = 0xC00,
    GET_IS_FULL = 0xD00,
    GET_INFO_DESCRIPTION = 0x1000,
    GET_INFO_CATEGORY = 0x1010,
    GET_INFO_TAGS = 0x1020,
    GET_INFO_DEVICE_HANDLE = 0x1030,
    GET_INFO_DESIGN_HANDLE = 0x1040,
    GET_INFO_FRIENDLY_NAME = 0x1050,
    GET_INFO_VERSIONSTRING = 0x1060,
    GET_INFO_VERSIONSTRING_DETAIL = 0x1070,
    GET_INFO_RESOLVE_ENUM = 0x1100,
    GET_INFO_NR_OF_PROCESSES = 0x1200,
    GET_INFO_NR_OF_PROCESS_CHANNELS = 0x1210,
    GET_INFO_NR_OF_PROCESS_CAMERAS = 0x1220,
    GET_INFO_PROCESS_CHANNEL_DMA = 0x1230,
    GET_INFO_PROCESS_CAMERA_PORT = 0x1240,
    GET_INFO_DMA_DIRECTION = 0x1250,
    GET_INFO_DMA_DATATYPE = 0x1260
} AppletInfos;

typedef enum DmaDataType {
    DMA_DATATYPE_UNDEFINED = 0,
    DMA_DATATYPE_BINARY = 1,
    DMA_DATATYPE_GRAY8 = 2,
    DMA_DATATYPE_GRAY16 = 3,
    DMA_DATATYPE_BLOB = 4,
    DMA_DATATYPE_GRAY8_BLOB_COMBINED = 5,
    DMA_DATATYPE_GRAY16_BLOB_COMBINED = 6,
    DMA_DATATYPE_GRAY8_BLOBLIGHT_COMBINED = 7,
    DMA_DATATYPE_RGB24 = 8,
    DMA_DATATYPE_GRAY8_16 = 9,
    DMA_DATATYPE_RGB24_48 = 10,
    DMA_DATATYPE_GRAY8_LASERLINE_COMBINED = 11
} DmaDataType;

#ifdef __cplusplus
}
#endif

#endif /* FG_TYPES_H */
