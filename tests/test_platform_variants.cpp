// The reduced host runtimes under hostvariants/<name>/libtalrun5.so. This
// program does not link the full host runtime; each variant is opened by path.

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
    template <typename F>
    F fn(const char* n) const {
        return reinterpret_cast<F>(dlsym(lib_, n));
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    void* lib_ = nullptr;
};

}  // namespace

TEST(HostVariants, NoInitHasTheBindingTableButNoInitialisation) {
    Variant v("noinit");
    ASSERT_TRUE(v.ok()) << v.path();
    EXPECT_EQ(27u, kBindingTable.size());
    for (const std::string& n : kBindingTable) EXPECT_TRUE(v.has(n)) << n;
    EXPECT_FALSE(v.has("Fg_InitHandleSlaveAware"));
    EXPECT_FALSE(v.has("Fg_InitHandle"));
    uint32_t x = 0;
    EXPECT_LT(v.fn<Fg_setParameterWithType_t>("Fg_setParameterWithType")(nullptr, 1, &x, 0, FG_PARAM_TYPE_UINT32_T), 0);
}

TEST(HostVariants, InitOnlyHasThreeEntries) {
    Variant v("initonly");
    ASSERT_TRUE(v.ok()) << v.path();
    EXPECT_TRUE(v.has("Fg_InitHandle"));
    EXPECT_TRUE(v.has("Fg_getLastErrorNumber"));
    EXPECT_TRUE(v.has("Fg_FreeGrabber"));
    EXPECT_FALSE(v.has("Fg_InitHandleSlaveAware"));
    for (const std::string& n : kBindingTable)
        if (n != "Fg_getLastErrorNumber" && n != "Fg_FreeGrabber") {
            EXPECT_FALSE(v.has(n)) << n;
        }
    Fg_Struct* fg = v.fn<Fg_InitHandle_t>("Fg_InitHandle")("Orvindel.hap", nullptr, nullptr);
    ASSERT_NE(nullptr, fg);
    EXPECT_EQ(nullptr, fg->Master);
    EXPECT_EQ(0, v.fn<Fg_getLastErrorNumber_t>("Fg_getLastErrorNumber")(fg));
    EXPECT_EQ(0, v.fn<Fg_FreeGrabber_t>("Fg_FreeGrabber")(fg));
}

TEST(HostVariants, NullInitReturnsNoBoardWithItsError) {
    Variant v("nullinit");
    ASSERT_TRUE(v.ok()) << v.path();
    for (const std::string& n : kBindingTable) EXPECT_TRUE(v.has(n)) << n;
    EXPECT_FALSE(v.has("Fg_InitHandle"));
    auto init = v.fn<Fg_InitHandleSlaveAware_t>("Fg_InitHandleSlaveAware");
    ASSERT_NE(nullptr, init);
    EXPECT_EQ(nullptr, init("Orvindel.hap", nullptr, nullptr, 0));
    EXPECT_EQ(-1234, v.fn<Fg_getLastErrorNumber_t>("Fg_getLastErrorNumber")(nullptr));
}

TEST(HostVariants, NullInitWithoutErrorFunction) {
    Variant v("nullinit_noerr");
    ASSERT_TRUE(v.ok()) << v.path();
    EXPECT_FALSE(v.has("Fg_getLastErrorNumber"));
    for (const std::string& n : kBindingTable)
        if (n != "Fg_getLastErrorNumber") {
            EXPECT_TRUE(v.has(n)) << n;
        }
    auto init = v.fn<Fg_InitHandleSlaveAware_t>("Fg_InitHandleSlaveAware");
    ASSERT_NE(nullptr, init);
    EXPECT_EQ(nullptr, init("Orvindel.hap", nullptr, nullptr, 0));
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
