// The reduced host runtimes under hostvariants/<name>/libtalrun5.so: which
// entries each one has (what they answer is seen through the applet's start-up
// in test_entry_variants). This program does not link the full host runtime;
// each variant is opened by path.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fg_platform.h"
#include "platform_support.h"

using namespace platformtest;

namespace {

// The entries an applet binds from the host runtime.
const std::vector<std::string> kBindingTable = {
    "Fg_getAppletId", "Fg_setParameter", "Fg_setParameterWithType", "Fg_getParameter", "Fg_getParameterWithType",
    "Fg_saveConfig", "Fg_loadConfig", "Fg_Acquire", "Fg_stopAcquire", "Fg_getLastPicNumberBlockingEx",
    "Fg_getLastPicNumberEx", "Fg_FreeGrabber", "Fg_getLastErrorNumber", "Fg_getStatusEx", "Fg_AcquireEx",
    "Fg_stopAcquireEx", "Fg_getParameterInfo", "Fg_AllocShading", "Fg_FreeShading", "Shad_SetSubValueLine",
    "Shad_SetMultValueLine", "Shad_SetFixedPatternNoiseLine", "Shad_GetMaxLine", "Shad_GetAccess",
    "Shad_FreeAccess", "Shad_WriteActLine", "Fg_getParameterIdByName"};

class Variant {
public:
    explicit Variant(const char* name) {
        path_ = env("ORV_BINARY_DIR") + "/hostvariants/" + name + "/" FG_HOST_RUNTIME_LIBRARY;
        lib_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    ~Variant() {
        if (lib_) dlclose(lib_);
    }
    bool ok() const { return lib_ != nullptr; }
    bool has(const std::string& n) const { return dlsym(lib_, n.c_str()) != nullptr; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    void* lib_ = nullptr;
};

}  // namespace

TEST(HostVariants, EachVariantHasExactlyItsEntries) {
    EXPECT_EQ(27u, kBindingTable.size());
    const struct {
        const char* name;
        bool binding, slaveAware, initHandle, lastError;
    } variants[] = {{"noinit", true, false, false, true},
                    {"initonly", false, false, true, true},
                    {"nullinit", true, true, false, true},
                    {"nullinit_noerr", true, true, false, false}};
    for (const auto& c : variants) {
        Variant v(c.name);
        ASSERT_TRUE(v.ok()) << v.path();
        for (const std::string& n : kBindingTable) {
            const bool expected = n == "Fg_getLastErrorNumber" ? c.lastError
                                  : n == "Fg_FreeGrabber"      ? c.binding || c.initHandle
                                                               : c.binding;
            EXPECT_EQ(expected, v.has(n)) << c.name << " " << n;
        }
        EXPECT_EQ(c.slaveAware, v.has("Fg_InitHandleSlaveAware")) << c.name;
        EXPECT_EQ(c.initHandle, v.has("Fg_InitHandle")) << c.name;
    }
}

TEST(HostVariants, TheFullRuntimeHasEveryEntry) {
    void* lib = dlopen((env("ORV_BINARY_DIR") + "/host/" FG_HOST_RUNTIME_LIBRARY).c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, lib) << dlerror();
    for (const std::string& n : kBindingTable) EXPECT_NE(nullptr, dlsym(lib, n.c_str())) << n;
    for (const char* n : {"Fg_InitHandleSlaveAware", "Fg_InitHandle", "Fg_Init", "Fg_InitEx", "Fg_getNrOfParameter",
                          "Fg_getParameterName", "Fg_getParameterId", "Fg_getParameterInfoXML", "Fg_getEventMask",
                          "Fg_getEventName", "SimBoard_CreateDevice", "SimBoard_LogEntry"})
        EXPECT_NE(nullptr, dlsym(lib, n)) << n;
    // internals stay inside
    EXPECT_EQ(nullptr, dlsym(lib, "_ZN7simhost12createDeviceEj"));
    dlclose(lib);
}
