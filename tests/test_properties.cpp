// The in-memory properties store: key rules, lookups, letter case, section
// listings and its recursive lock.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "templates/platform/PropertiesFile.h"

using tervik::templates::platform::PropertiesFile;
using tervik::templates::platform::RecursiveMutexGuard;

TEST(PropertiesKeys, SectionedKeysNeedANamedSectionAndAnInnerSeparator) {
    PropertiesFile store(true, false);  // set up as the applet does
    store.setCaseSensitive(true);
    // the applet's own section name is empty, so its keys all start with "::"
    for (const char* key : {"plain", "::name", "section::", "::", "", "::Device1_Process0_Width"})
        EXPECT_FALSE(store.setProperty(key, "On")) << key;
    EXPECT_TRUE(store.setProperty("section::name", "On"));
    EXPECT_TRUE(store.propertyNames("").empty());

    // without sections any key is accepted
    PropertiesFile flat(false, true);
    EXPECT_TRUE(flat.setProperty("plain", "1"));
    EXPECT_TRUE(flat.setProperty("::odd", "2"));
    std::string value;
    EXPECT_TRUE(flat.getProperty("plain", value));
    EXPECT_EQ("1", value);
    flat.setUseSections(true);
    EXPECT_FALSE(flat.setProperty("other", "3"));
}

TEST(PropertiesLookup, StoresReplacesAndMisses) {
    PropertiesFile store(true, true);
    ASSERT_TRUE(store.setProperty("dll::Gain", "yes"));
    ASSERT_TRUE(store.setProperty("dll::Gain", "no"));
    std::string value = "untouched";
    EXPECT_FALSE(store.getProperty("dll::Offset", value));
    EXPECT_EQ("untouched", value);
    EXPECT_TRUE(store.getProperty("dll::Gain", value));
    EXPECT_EQ("no", value);
    EXPECT_EQ(std::vector<std::string>{"Gain"}, store.propertyNames("dll"));
}

TEST(PropertiesLookup, LetterCaseFollowsTheFlag) {
    PropertiesFile exact(true, true);
    exact.setProperty("Dll::Gain", "1");
    std::string value;
    EXPECT_FALSE(exact.getProperty("dll::GAIN", value));
    EXPECT_TRUE(exact.propertyNames("dll").empty());

    PropertiesFile loose(true, false);
    loose.setProperty("Dll::Gain", "1");
    loose.setProperty("DLL::GAIN", "2");  // the same property
    EXPECT_TRUE(loose.getProperty("dll::gain", value));
    EXPECT_EQ("2", value);
    EXPECT_EQ(std::vector<std::string>{"Gain"}, loose.propertyNames("dLL"));
}

TEST(PropertiesNames, AscendingAndOnlyOfTheSection) {
    PropertiesFile store(true, true);
    for (const char* key : {"s::beta", "s::alpha", "t::aardvark", "s::Zeta", "st::x", "s::sub::name"})
        store.setProperty(key, "1");
    const std::vector<std::string> expected{"Zeta", "alpha", "beta", "sub::name"};
    EXPECT_EQ(expected, store.propertyNames("s"));
    EXPECT_EQ(std::vector<std::string>{"aardvark"}, store.propertyNames("t"));
    EXPECT_TRUE(store.propertyNames("u").empty());
}

TEST(PropertiesLock, HolderMayUseTheStoreWhileLocked) {
    PropertiesFile store(true, true);
    RecursiveMutexGuard guard(&store.m_mutex);
    EXPECT_TRUE(store.setProperty("a::b", "On"));
    std::string value;
    EXPECT_TRUE(store.getProperty("a::b", value));
    EXPECT_EQ(1u, store.propertyNames("a").size());
}
