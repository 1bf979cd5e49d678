// The GenApi description entry point of the applet base: builds the register
// description of a port from the registry as it is now and hands it out with
// the host's size protocol.
#include <cstring>
#include <new>
#include <string>

#include "FgQorWrapper.h"
#include "ParameterInfoBuilderXML.h"
#include "parameterInfo.h"

int FgQorWrapper::Fg_getParameterInfoXML(Fg_Struct* /*Fg*/, int port, char* infoBuffer, size_t* infoBufferSize) {
    if (infoBufferSize == NULL) {
        setError(FG_ERR_INVALID_PARAMETER);
        return FG_ERR_INVALID_PARAMETER;
    }
    if (infoBuffer != NULL && *infoBufferSize == 0) {
        setError(FG_ERR_BUFFER_TOO_SMALL);
        return FG_ERR_BUFFER_TOO_SMALL;
    }
    Fg_ParameterInfo* info = parameterInfo();
    if (info == NULL || info->getRegisterInfo(port) == NULL) {
        setError(FG_ERR_NO_DESCRIPTION);
        return FG_ERR_NO_DESCRIPTION;
    }

    std::string document;
    try {
        ParameterInfoBuilderXML builder(*info, *this, port);
        document = builder.build();
    } catch (const std::bad_alloc&) {
        setError(FG_ERR_BUFFER_TOO_SMALL);
        return FG_ERR_BUFFER_TOO_SMALL;
    }

    if (infoBuffer != NULL) {
        if (*infoBufferSize <= document.size()) {
            setError(FG_ERR_BUFFER_TOO_SMALL);
            return FG_ERR_BUFFER_TOO_SMALL;
        }
        memcpy(infoBuffer, document.c_str(), document.size() + 1);
    }
    *infoBufferSize = document.size() + 1;
    setError(FG_OK);
    return FG_OK;
}
