// Direct QOR access publishing, seen on the applet object itself: with this
// applet's empty section name nothing is published; with a section name the
// host's described design parameters become "DQORA_" names and records.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "applet_object.h"

namespace {

class AppletObject : public orvtest::AppletObjectTest {
protected:
    void SetUp() override { open(); }
    void TearDown() override {
        close();
        unsetenv("TERVIK_ENABLE_DQORA");
    }
    void startUp(const char* section) {
        w->dllBaseName = section;
        AppletObjectTest::startUp();
    }
    static RegisterInfo* topGroup(RegisterInfo* first, const char* name) {
        for (RegisterInfo* g = first; g; g = g->next)
            if (std::strcmp(g->name, name) == 0) return g;
        return nullptr;
    }
};

}  // namespace

TEST_F(AppletObject, EmptySectionPublishesNothingEvenWhenSwitchedOn) {
    setenv("TERVIK_ENABLE_DQORA", "on", 1);
    startUp("");
    EXPECT_TRUE(w->map_inspect_parameter_name_parameter_id.empty());
    EXPECT_EQ(99, w->Fg_getParameterCount());
    EXPECT_EQ(nullptr, topGroup(w->Fg_getParameterInfo(0), "Direct QOR Access"));
}

TEST_F(AppletObject, NamedSectionPublishesTheHostsParameters) {
    setenv("TERVIK_ENABLE_DQORA", "TRUE", 1);
    startUp("Orvindel");
    const auto& published = w->map_inspect_parameter_name_parameter_id;
    ASSERT_FALSE(published.empty());
    // Names follow the SDK names in the enumeration, in ascending order.
    EXPECT_EQ(99 + static_cast<int>(published.size()), w->Fg_getParameterCount());
    EXPECT_EQ(published.begin()->first, w->Fg_getParameterName(99));
    // They are not reachable by name through the SDK map.
    EXPECT_EQ(-2070, w->Fg_getParameterIdByName(published.begin()->first.c_str()));
    // A published identity is the host's plus 2,000,000.
    auto width = published.find("DQORA_Device1_Process0_Buffer_0_DRAM_A_0_XLength");
    ASSERT_NE(published.end(), width);
    EXPECT_EQ(2000000 + SimBoard_ParameterId(dev, "Device1_Process0_Buffer_0_DRAM_A_0_XLength"), width->second);
    // Fields are not publishable.
    EXPECT_EQ(published.end(), published.find("DQORA_Device1_Process0_LookupTable_LookupTable_LUTcontent"));

    for (int port = 0; port < 2; ++port) {
        RegisterInfo* group = w->Fg_getParameterInfo(port);
        ASSERT_NE(nullptr, group);
        EXPECT_STREQ("Direct QOR Access", group->name) << "created last, listed first";
        ASSERT_GT(group->u.gReg.nrOfElements, 0);
        RegisterInfo* sub = group->u.gReg.elements[0];
        EXPECT_EQ(REG_FORMAT_GROUP, sub->format) << "the host's groups are recreated";
        RegisterInfo* r = w->registeredInfo(port, width->second);
        ASSERT_NE(nullptr, r);
        EXPECT_STREQ("DQORA_Device1_Process0_Buffer_0_DRAM_A_0_XLength", r->parameterName);
        EXPECT_EQ(port, r->port);
    }
}

TEST_F(AppletObject, SwitchOffPublishesNothingWhateverTheSection) {
    startUp("Orvindel");
    EXPECT_TRUE(w->map_inspect_parameter_name_parameter_id.empty());
}
