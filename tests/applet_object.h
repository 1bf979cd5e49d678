// An applet object of its own on a fresh simulated device, for the tests
// that look at the object itself rather than through the exports: bound to
// the host runtime and initialised on the device with the embedded design,
// not yet started up (the test decides the switches and the section name).
#ifndef ORV_TESTS_APPLET_OBJECT_H
#define ORV_TESTS_APPLET_OBJECT_H

#include <gtest/gtest.h>

#include <memory>

#include "AppletHap.h"
#include "AppletWrapper.h"
#include "sim_board.h"

namespace orvtest {

class AppletObjectTest : public ::testing::Test {
protected:
    // Creates the device and the object; fails the test if either cannot be set up.
    void open() {
        dev = SimBoard_CreateDevice(0);
        ASSERT_NE(nullptr, dev);
        w.reset(new FgQorWrapperImpl());
        ASSERT_EQ(0, w->initializeDllFunctions("libtalrun5.so"));
        fpga_design* design = HapLoadDesignFromBuffer(rawHap, rawHapSize, 1);
        ASSERT_NE(nullptr, design);
        ASSERT_EQ(0, w->runFgInit("Orvindel.hap", dev, design, 1));
        w->initHandles(dev, design);
    }
    // The start-up steps of an opening, without default values.
    void startUp() {
        w->initInternalMaps();
        w->retrieveIds();
        w->createUserParameters();
    }
    // Frees the host board, the object and the device.
    void close() {
        if (w && w->talrunFg()) w->hostEntries().DLL_Fg_FreeGrabber(w->talrunFg());
        w.reset();
        if (dev) SimBoard_DestroyDevice(dev);
        dev = nullptr;
    }
    void TearDown() override { close(); }

    QORdevice* dev = nullptr;
    std::unique_ptr<FgQorWrapperImpl> w;
};

}  // namespace orvtest

#endif
