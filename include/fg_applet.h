/*
 * The C entry points of an acquisition applet library. The host runtime
 * looks them up by name; applications reach them through the runtime.
 */
#ifndef FG_APPLET_H
#define FG_APPLET_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define FG_APPLET_EXPORT __attribute__((visibility("default")))
#else
#define FG_APPLET_EXPORT
#endif

FG_APPLET_EXPORT Fg_Master* Std_entry(QORdevice* hwhandle, int* err, int flags);
FG_APPLET_EXPORT int Fg_FreeGrabber(Fg_Struct* Fg);
FG_APPLET_EXPORT int Fg_getLastErrorNumber(Fg_Struct* Fg);

FG_APPLET_EXPORT int Fg_setParameterWithType(Fg_Struct* Fg, const int Parameter, const void* Value,
                                             const unsigned int DmaIndex, const FgParamTypes type);
FG_APPLET_EXPORT int Fg_getParameterWithType(Fg_Struct* Fg, const int Parameter, void* Value,
                                             const unsigned int DmaIndex, const FgParamTypes type);
FG_APPLET_EXPORT int Fg_getNrOfParameter(Fg_Struct* Fg);
FG_APPLET_EXPORT const char* Fg_getParameterName(Fg_Struct* Fg, int index);
FG_APPLET_EXPORT int Fg_getParameterId(Fg_Struct* Fg, int index);
FG_APPLET_EXPORT int Fg_getParameterIdByName(Fg_Struct* Fg, const char* name);
FG_APPLET_EXPORT RegisterInfo* Fg_getParameterInfo(Fg_Struct* Fg, int CamPort);
FG_APPLET_EXPORT int Fg_getParameterInfoXML(Fg_Struct* Fg, int port, char* infoBuffer, size_t* infoBufferSize);
FG_APPLET_EXPORT int Fg_saveConfig(Fg_Struct* Fg, const char* Filename);
FG_APPLET_EXPORT int Fg_loadConfig(Fg_Struct* Fg, const char* Filename);
FG_APPLET_EXPORT uint64_t Fg_getEventMask(Fg_Struct* Fg, const char* name);
FG_APPLET_EXPORT const char* Fg_getEventName(Fg_Struct* Fg, uint64_t mask);

FG_APPLET_EXPORT int Fg_getAppletId(Fg_Struct* Fg, const char* Appletname);
FG_APPLET_EXPORT frameindex_t Fg_getStatusEx(Fg_Struct* Fg, const int Param, const frameindex_t Data,
                                             const unsigned int DmaIndex, dma_mem* pMem);
FG_APPLET_EXPORT int Fg_AcquireEx(Fg_Struct* Fg, int CamPort, const frameindex_t PicCount, int nFlag,
                                  dma_mem* memHandle);
FG_APPLET_EXPORT int Fg_stopAcquireEx(Fg_Struct* Fg, int CamPort, dma_mem* memHandle, int nFlag);
FG_APPLET_EXPORT frameindex_t Fg_getLastPicNumberEx(Fg_Struct* Fg, int CamPort, dma_mem* pMem);
FG_APPLET_EXPORT frameindex_t Fg_getLastPicNumberBlockingEx(Fg_Struct* Fg, const frameindex_t PicNr, int CamPort,
                                                            int Timeout, dma_mem* pMem);

FG_APPLET_EXPORT ShadingMaster* Fg_AllocShading(Fg_Struct* Fg, int set, int port);
FG_APPLET_EXPORT int Fg_FreeShading(Fg_Struct* Fg, ShadingMaster* sm);
FG_APPLET_EXPORT int Shad_SetSubValueLine(Fg_Struct* Fg, ShadingMaster* sm, int x, int channel, float sub);
FG_APPLET_EXPORT int Shad_SetMultValueLine(Fg_Struct* Fg, ShadingMaster* sm, int x, int channel, float mult);
FG_APPLET_EXPORT int Shad_SetFixedPatternNoiseLine(Fg_Struct* Fg, ShadingMaster* sm, int x, int channel, int on);
FG_APPLET_EXPORT int Shad_GetMaxLine(Fg_Struct* Fg, ShadingMaster* sm);
FG_APPLET_EXPORT int Shad_GetAccess(Fg_Struct* Fg, ShadingMaster* sm);
FG_APPLET_EXPORT int Shad_FreeAccess(Fg_Struct* Fg, ShadingMaster* sm);
FG_APPLET_EXPORT int Shad_WriteActLine(Fg_Struct* Fg, ShadingMaster* sm, int line);

FG_APPLET_EXPORT int Info(const AppletInfos cmd, const int arg1, const int arg2, void* vptr, const void** vptrptr);

#ifdef __cplusplus
}
#endif

#endif /* FG_APPLET_H */
