// The default values written when a board is opened: every port gets the same
// list, through the same setters an application's writes reach, so that all
// dependent design parameters, caches and registry ranges follow.
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

#define ORV_DEFAULT_U32(NAME, VALUE) applyDefault<uint32_t>(*this, &FgQorWrapperImpl::set_##NAME, port, VALUE##u)
#define ORV_DEFAULT_DOUBLE(NAME, VALUE) applyDefault<double>(*this, &FgQorWrapperImpl::set_##NAME, port, VALUE)

// Port 0 is brought completely into its default state before port 1. The order
// matters: several setters program the design from values cached by earlier
// steps (image selector period before its phase, width before x-offset,
// height and y-offset with the image trigger mode then cached, the simulator
// speed mode from the cached simulator geometry, the LUT type from the cached
// processing parameters).
void FgQorWrapperImpl::setDefaultValues() {
    for (int port = 0; port < kPortCount; ++port) {
        ORV_DEFAULT_U32(FG_PIXELFORMAT, 257);  // Mono8
        ORV_DEFAULT_U32(FG_CXP_TRIGGER_PACKET_MODE, 0);  // FG_STANDARD
        ORV_DEFAULT_U32(FG_TIMEOUT, 1000000);
        ORV_DEFAULT_U32(FG_IMG_SELECT_PERIOD, 1);
        ORV_DEFAULT_U32(FG_IMG_SELECT, 0);
        ORV_DEFAULT_U32(FG_WIDTH, 1024);
        ORV_DEFAULT_U32(FG_HEIGHT, 1024);
        ORV_DEFAULT_U32(FG_XOFFSET, 0);
        ORV_DEFAULT_U32(FG_YOFFSET, 0);
        ORV_DEFAULT_U32(FG_REVERSE_X, 0);  // FG_FALSE
        ORV_DEFAULT_U32(FG_FORMAT, 3);  // FG_GRAY
        ORV_DEFAULT_U32(FG_BITALIGNMENT, 1);  // FG_LEFT_ALIGNED
        ORV_DEFAULT_U32(FG_CAMERASIMULATOR_ENABLE, 0);  // FG_CAMPORT
        ORV_DEFAULT_U32(FG_CAMERASIMULATOR_PATTERN, 3);  // FG_DIAGONAL
        ORV_DEFAULT_U32(FG_CAMERASIMULATOR_PATTERN_OFFSET, 0);
        ORV_DEFAULT_U32(FG_CAMERASIMULATOR_ROLL, 1);  // FG_ON
        ORV_DEFAULT_U32(FG_CAMERASIMULATOR_SELECT_MODE, 1);  // FG_LINERATE
        ORV_DEFAULT_U32(FG_CAMERASIMULATOR_TRIGGER_MODE, 0);  // SIMULATION_FREE_RUN
        ORV_DEFAULT_U32(FG_LUT_TYPE, 3);  // LUT_TYPE_PROCESSING
        ORV_DEFAULT_U32(FG_LINETRIGGERMODE, 1);  // GRABBER_CONTROLLED
        ORV_DEFAULT_U32(FG_EXSYNCON, 1);  // FG_ON
        ORV_DEFAULT_U32(FG_LINETRIGGERINSRC, 1);  // TRGINSRC_1
        ORV_DEFAULT_U32(FG_LINETRIGGERINPOLARITY, 0);  // HIGH_ON_ZERO_HIGH
        ORV_DEFAULT_DOUBLE(FG_LINETRIGGERDEBOUNCING, 0.112);  // microseconds
        ORV_DEFAULT_U32(FG_LINE_DOWNSCALE, 1);
        ORV_DEFAULT_U32(FG_LINE_DOWNSCALEINIT, 1);
        ORV_DEFAULT_U32(FG_SHAFTENCODERON, 0);  // FG_OFF
        ORV_DEFAULT_U32(FG_SHAFTENCODERMODE, 1);  // FILTER_X1
        ORV_DEFAULT_U32(FG_SHAFTENCODERINSRC, 2);  // TRGINSRC_2
        ORV_DEFAULT_U32(FG_SHAFTENCODERLEADING, 0);  // SOURCE_A
        ORV_DEFAULT_U32(FG_SHAFTENCODER_COMPENSATION_ENABLE, 1);  // FG_ON
        ORV_DEFAULT_U32(FG_SHAFTENCODER_COMPENSATION_COUNT, 0);
        ORV_DEFAULT_DOUBLE(FG_LINEPERIODE, 200.0);  // microseconds
        ORV_DEFAULT_DOUBLE(FG_LINEEXPOSURE, 19.0);  // microseconds
        ORV_DEFAULT_U32(FG_EXSYNCPOLARITY, 1);  // FG_HIGH
        ORV_DEFAULT_DOUBLE(FG_LINETRIGGERDELAY, 0.0);  // microseconds
        ORV_DEFAULT_U32(FG_IMGTRIGGERMODE, 0);  // FREE_RUN
        ORV_DEFAULT_U32(FG_IMGTRIGGERON, 1);  // FG_ON
        ORV_DEFAULT_U32(FG_FLASHON, 1);  // FG_ON
        ORV_DEFAULT_U32(FG_IMGTRIGGER_ASYNC_HEIGHT, 1024);
        ORV_DEFAULT_U32(FG_IMGTRIGGERINSRC, 0);  // TRGINSRC_0
        ORV_DEFAULT_U32(FG_IMGTRIGGERINPOLARITY, 0);  // HIGH_ON_ZERO_HIGH
        ORV_DEFAULT_U32(FG_IMGTRIGGERGATEDELAY, 0);
        ORV_DEFAULT_DOUBLE(FG_IMGTRIGGERDEBOUNCING, 0.112);  // microseconds
        ORV_DEFAULT_U32(FG_FLASH_POLARITY, 1);  // FG_HIGH
        ORV_DEFAULT_U32(FG_STROBEPULSEDELAY, 0);
        ORV_DEFAULT_U32(FG_SETSOFTWARETRIGGER, 0);
        ORV_DEFAULT_U32(FG_DIGIO_OUTPUT, 3);
    }
}
