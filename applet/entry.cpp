// Std_entry and the life of the applet object.
#include <boost/algorithm/string/case_conv.hpp>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "AppletHap.h"
#include "AppletWrapper.h"
#include "fg_applet.h"

namespace {

const char kDesignFileName[] = "Orvindel.hap";

}  // namespace

// True when an environment switch reads "yes", "true", "on" or "1" in any
// letter case.
bool orvSwitchEnabled(const char* value) {
    if (value == nullptr) return false;
    const std::string v = boost::algorithm::to_upper_copy(std::string(value));
    return v == "YES" || v == "TRUE" || v == "ON" || v == "1";
}

FgQorWrapperImpl::FgQorWrapperImpl() : inspectProperties(true, false) {
    draEnabled = orvSwitchEnabled(std::getenv("TERVIK_ENABLE_DRA"));
    inspectProperties.setUseSections(true);
    inspectProperties.setCaseSensitive(true);
    std::memset(qorPort_, 0, sizeof(qorPort_));
    std::memset(qorBoard_, 0, sizeof(qorBoard_));
    std::memset(qorShared_, 0, sizeof(qorShared_));
    for (int p = 0; p < kPortCount; ++p) dmaProcess_[p] = -1;
}

FgQorWrapperImpl::~FgQorWrapperImpl() = default;

int FgQorWrapperImpl::processChannelToDma(int, int) {
    throw std::runtime_error("processChannelToDma() is not implemented.");
}
int FgQorWrapperImpl::mapDmaToFormat(int) { throw std::runtime_error("mapDmaToFormat() is not implemented."); }
void FgQorWrapperImpl::setDmaAlignment(int, int) { throw std::runtime_error("setDmaAlignment() is not implemented."); }
int FgQorWrapperImpl::getDmaAlignment(int) { throw std::runtime_error("getDmaAlignment() is not implemented."); }

extern "C" FG_APPLET_EXPORT Fg_Master* Std_entry(QORdevice* hwhandle, int* err, int flags) {
    int localStatus = 0;
    int& status = err ? *err : localStatus;

    FgQorWrapperImpl* w = new FgQorWrapperImpl();

    status = w->initializeDllFunctions(FG_HOST_RUNTIME_LIBRARY);
    if (status != 0) {
        delete w;
        return nullptr;
    }

    const char* name = kDesignFileName;
    fpga_design* design;
    if (std::getenv("__TERVIK_FORCE_EXTERNAL_HAP") != nullptr)
        design = HapLoadHapFileWithType(name, HAP_FILE_TYPE_DEFAULT, 1);
    else
        design = HapLoadDesignFromBuffer(rawHap, rawHapSize, 1);
    if (design == nullptr) {
        status = FG_ERR_INIT_FAILED;
        delete w;
        return nullptr;
    }

    status = w->runFgInit(name, hwhandle, design, flags);
    if (status != 0) {
        HapUnloadHapFile(design);
        delete w;
        return nullptr;
    }

    w->initHandles(hwhandle, design);
    w->initInternalMaps();
    w->retrieveIds();
    w->createUserParameters();

    for (int port = 0; port < kPortCount; ++port) CamSim(*w, port).start();

    if ((flags & 1) == 0) w->setDefaultValues();

    return reinterpret_cast<Fg_Master*>(static_cast<FgQorWrapper*>(w));
}
