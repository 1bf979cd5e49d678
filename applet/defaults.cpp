// The default values written when a board is opened: every port gets the same
// list, through the same setters an application's writes reach, so that all
// dependent design parameters, caches and registry ranges follow. The list is
// the rows of port_cache.def marked WRITTEN, with their construction values.
#include "AppletWrapper.h"

namespace {

// One step of the list. Setters called with throwOnError false report nothing;
// a step that still raises (a handler whose subsystem is not there) must not
// keep the later steps from running.
template <class T>
void applyDefault(FgQorWrapperImpl& applet, void (FgQorWrapperImpl::*setter)(int, T, bool), int port, T value) {
    try {
        (applet.*setter)(port, value, false);
    } catch (...) {
    }
}

}  // namespace

#define ORV_DEFAULT_WRITTEN(NAME, TYPE, VALUE) \
    applyDefault<PortType_##TYPE>(*this, &FgQorWrapperImpl::set_##NAME, port, static_cast<PortType_##TYPE>(VALUE));
#define ORV_DEFAULT_KEPT(NAME, TYPE, VALUE)

// Port 0 is brought completely into its default state before port 1. The order
// matters: several setters program the design from values cached by earlier
// steps (image selector period before its phase, width before x-offset,
// height and y-offset with the image trigger mode then cached, the simulator
// speed mode from the cached simulator geometry, the LUT type from the cached
// processing parameters).
void FgQorWrapperImpl::setDefaultValues() {
    for (int port = 0; port < kPortCount; ++port) {
#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) ORV_DEFAULT_##DEFAULT(NAME, TYPE, VALUE)
#include "port_cache.def"
    }
}
