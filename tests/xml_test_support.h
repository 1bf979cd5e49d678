// Test support for the registry and the GenApi description: a minimal applet
// object that exposes its registry, and a synthetic registry of every kind.
#ifndef XML_TEST_SUPPORT_H
#define XML_TEST_SUPPORT_H

#include <string>
#include <utility>
#include <vector>

#include "FgQorWrapper.h"
#include "parameterInfo.h"

class XmlTestWrapper : public FgQorWrapper {
public:
    explicit XmlTestWrapper(const char* model = "Orvindel") : mModel(model) {}
    // Test fixtures that hold one need a destructor that does not throw.
    ~XmlTestWrapper() noexcept override {}

    Fg_ParameterInfo& registry() { return *parameterInfo(); }
    void setModel(const char* model) { mModel = model; }

    bool loadConfig(Fg_ConfigFileParser&) override { return false; }
    void saveConfig(Fg_ConfigFileParser&) override {}
    int processChannelToDma(int, int) override { return 0; }
    int mapDmaToFormat(int) override { return 0; }
    void setDmaAlignment(int, int) override {}
    int getDmaAlignment(int) override { return 0; }
    void createUserParameters() override {}
    int Fg_setParameterWithType(int, const void*, int, FgParamTypes) override { return FG_ERR_INVALID_PARAMETER; }
    int Fg_getParameterWithType(int, void*, int, FgParamTypes) override { return FG_ERR_INVALID_PARAMETER; }
    int Fg_getParameterIdByName(const char*) override { return FG_ERR_INVALID_PARAMETER; }
    const char* Fg_getParameterName(int) override { return NULL; }
    int Fg_getParameterId(int) override { return FG_ERR_INVALID_PARAMETER; }
    int Fg_getParameterCount() override { return 0; }
    const char* getManufacturer() override { return "Tervik"; }
    const char* getCameraType() override { return mModel; }
    const char* getCameraVersion() override { return "0"; }
    int getAppletID() override { return 0; }

private:
    const char* mModel;
};

// The synthetic registry of one port slot: a described parameter of every kind
// with a template, nested groups, and records the description leaves out
// (64-bit and field kinds, an invisible parameter, direct register access).
// Display names may carry `displaySuffix` (other bytes in descriptions).
inline void buildSyntheticRegistry(Fg_ParameterInfo& info, int port, const char* displaySuffix = "") {
    const std::string sfx(displaySuffix);
    const char* const us = "\xB5s";  // Latin-1 micro sign, then s

    // Oldest top-level group: listed last in the document.
    RegisterInfo* acq = info.addGroupInfo(port, NULL, "Acquisition / Timing");
    info.addInfoUInt(acq, ("Width" + sfx).c_str(), "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, port);
    RegisterInfo* trg = info.addGroupInfo(port, acq, "Line Trigger Input");
    RegisterInfo* ds = info.addGroupInfo(port, trg, "Downscale");
    info.addInfoUInt(ds, "Downscale", "FG_LINE_DOWNSCALE", 1, 255, 1, 3, 1, 1, "pulses", 24040, port);
    RegisterInfo* mode = info.addInfoEnum(trg, "Line Trigger Mode", "FG_LINETRIGGERMODE", 4, 3, 1, 1, "", 8102, port);
    info.addEnumNameValue(mode, 0, "Grabber controlled", 1, "GRABBER_CONTROLLED");
    info.addEnumNameValue(mode, 1, "Async External Trigger", 2, "ASYNC_TRIGGER");
    info.addEnumNameValue(mode, 2, "Gated, Grabber controlled", 6, "GRABBER_CONTROLLED_GATED");
    info.addEnumNameValue(mode, 3, "Gated, External Triggered", 5, "ASYNC_GATED");
    RegisterInfo* src = info.addInfoEnum(trg, "Source", "FG_IMGTRIGGERINSRC", 3, 7, 1, 1, "", 8113, port);
    info.addEnumNameValue(src, 0, "Trigger Source 0", 0, "TRGINSRC_0");
    info.addEnumNameValue(src, 1, "Trigger Source 1", 1, "TRGINSRC_1");
    info.addEnumNameValue(src, 2, "Software Trigger", -1, "TRGINSOFTWARE");
    info.addInfoDouble(trg, ("Delay->ExSync" + sfx).c_str(), "FG_LINETRIGGERDELAY", 0.0, 1048.568, 0.008, 7, 1, 1, us,
                       8900, port);
    info.addInfoInt(acq, "Gain Offset", "FG_GAIN_OFFSET", -100, 100, 2, 2, 1, 1, "", 500, port);
    info.addInfoDouble(acq, "Line Rate", "FG_CAMERASIMULATOR_LINERATE", 0.1, 10000000.0, 2.220446049250313e-16, 7, 2, 1,
                       "Hz", 200329, port);

    // Newer top-level group.
    RegisterInfo* misc = info.addGroupInfo(port, NULL, "Miscellaneous");
    info.addInfoString(misc, "Applet Id", "FG_APPLET_ID", NULL, 1, 1, 1, "", 24010, port);
    info.addInfoString(misc, "HAP file", "FG_HAP_FILE", "*.hap", 1, 1, 1, "", 24108, port);
    info.addInfoUInt(misc, "Applet version", "FG_APPLET_VERSION", 0, 0, 0, 1, 1, 1, "", 24020, port);
    info.addInfoUInt64(misc, "FPGA DNA", "FG_SYSTEMMONITOR_FPGA_DNA", 0, 144115188075855871ULL, 0, 1, 1, 1, "", 200349,
                       port);
    info.addInfoInt64(misc, "Signed Counter", "FG_SIGNED_COUNTER", -5, 5, 1, 1, 1, 1, "", 200360, port);
    info.addInfoUIntField(misc, "LUT Values", "FG_LUT_VALUE", 16, 0, 4095, 1, 7, 1, 1, "", 300001, port);
    info.addInfoIntField(misc, "Signed Field", "FG_SIGNED_FIELD", 4, -8, 8, 1, 7, 1, 1, "", 300009, port);
    info.addInfoDoubleField(misc, "Channel Current", "FG_SYSTEMMONITOR_CHANNEL_CURRENT", 4, -100000.0, 100000.0, 0.0, 1,
                            1, 1, "A", 200350, port);
    info.addInfoUInt(misc, "Hidden", "FG_HIDDEN", 0, 10, 1, 3, 1, 0, "", 200361, port);
    info.addInfoDouble(misc, "FGPA Temperature", "FG_SYSTEMMONITOR_FPGA_TEMPERATURE", 0.0078125, 1000.0, 0.0078125, 1,
                       1, 1, "Celsius", 200341, port);

    // Newest top-level group: never described.
    RegisterInfo* dra = info.addGroupInfo(port, NULL, "Direct Register Access");
    info.addInfoUInt(dra, "Register 1", "DRA_Register1", 0, 255, 1, 3, 1, 1, "", 1000001, port);
}

// Expected node texts of the description per kind, for whole documents.
inline std::string documentHeader(const std::string& model = "Orvindel") {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<RegisterDescription\nModelName=\"" + model +
           "\"\nVendorName=\"Tervik\"\nStandardNameSpace=\"None\"\nSchemaMajorVersion=\"1\"\nSchemaMinorVersion=\"0\"\n"
           "SchemaSubMinorVersion=\"1\"\nMajorVersion=\"1\"\nMinorVersion=\"0\"\nSubMinorVersion=\"0\"\n"
           "ProductGuid=\"0\"\nVersionGuid=\"0\"\nxmlns=\"http://www.genicam.org/GenApi/Version_1_0\"\n"
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\n"
           "xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_0 GenApiSchema_Version_1_0.xsd\">\n";
}
const char* const kDocumentEnd = "<Port Name=\"DevicePort\"></Port>\n</RegisterDescription>\n";

inline std::string registerTail(const std::string& access) {
    return "<AccessMode>" + access + "</AccessMode>\n<pPort>DevicePort</pPort>\n";
}
inline std::string intNodes(const std::string& name, const std::string& description, int address,
                            const std::string& access, const std::string& min, const std::string& max,
                            const std::string& inc) {
    return "<IntReg Name=\"" + name + "_Reg\">\n<Address>" + std::to_string(address) +
           "</Address>\n<Length>4</Length>\n" + registerTail(access) +
           "<Sign>Signed</Sign>\n<Endianess>LittleEndian</Endianess>\n</IntReg>\n<Integer Name='" + name +
           "'>\n<Description>" + description + "</Description>\n<pValue>" + name + "_Reg</pValue>\n<Min>" + min +
           "</Min>\n<Max>" + max + "</Max>\n" + (inc.empty() ? "" : "<Inc>" + inc + "</Inc>\n") + "</Integer>\n\r";
}
inline std::string floatNodes(const std::string& name, const std::string& description, int address,
                              const std::string& access, const std::string& min, const std::string& max) {
    return "<FloatReg Name=\"" + name + "_Reg\">\n<Address>" + std::to_string(address) +
           "</Address>\n<Length>8</Length>\n" + registerTail(access) +
           "<Endianess>LittleEndian</Endianess>\n</FloatReg>\n<Float Name=\"" + name + "\">\n<Description>" +
           description + "</Description>\n<pValue>" + name + "_Reg</pValue>\n<Min>" + min + "</Min>\n<Max>" + max +
           "</Max>\n</Float>\n\r";
}
inline std::string stringNode(const std::string& name, const std::string& description, int address,
                              const std::string& access) {
    return "<StringReg Name=\"" + name + "\">\n<Description>" + description + "</Description>\n<Address>" +
           std::to_string(address) + "</Address>\n<Length>4096</Length>\n" + registerTail(access) + "</StringReg>\n\r";
}
// `entries`: pairs of SDK constant name and value, in document order.
inline std::string enumNodes(const std::string& name, const std::string& description, int address,
                             const std::string& access, const std::vector<std::pair<std::string, int>>& entries) {
    std::string s = "<Enumeration Name='" + name + "'>\n<Description>" + description + "</Description>\n";
    for (const auto& e : entries)
        s += "<EnumEntry Name=\"" + e.first + "\">\n<Value>" + std::to_string(e.second) + "</Value>\n</EnumEntry>\n";
    return s + "<pValue>" + name + "_Reg</pValue>\n</Enumeration>\n\n<IntReg Name=\"" + name + "_Reg\">\n<Address>" +
           std::to_string(address) + "</Address>\n<Length>4</Length>\n" + registerTail(access) +
           "<Sign>Unsigned</Sign>\n<Endianess>LittleEndian</Endianess>\n</IntReg>\n\r";
}
// A category node; the root carries the standard name space.
inline std::string category(const std::string& name, const std::vector<std::string>& features) {
    std::string s =
        name == "Root" ? "<Category Name='Root' NameSpace='Standard' >\n" : "<Category Name='" + name + "'  >\n";
    for (const std::string& f : features) s += "<pFeature>" + f + "</pFeature>\n";
    return s + "</Category>\n";
}

// The document of buildSyntheticRegistry for model "Orvindel", no suffix.
inline std::string syntheticDocument() {
    return documentHeader() +
           // Miscellaneous
           stringNode("FG_APPLET_ID", "Applet Id", 24010, "RO") + stringNode("FG_HAP_FILE", "HAP file", 24108, "RO") +
           intNodes("FG_APPLET_VERSION", "Applet version", 24020, "RO", "0", "0", "") +
           floatNodes("FG_SYSTEMMONITOR_FPGA_TEMPERATURE", "FGPA Temperature", 200341, "RO", "0.0078125", "1000") +
           // Acquisition / Timing, with Downscale inside Line Trigger Input
           intNodes("FG_WIDTH", "Width", 100, "RW", "32", "16384", "16") +
           intNodes("FG_LINE_DOWNSCALE", "Downscale", 24040, "RW", "1", "255", "1") +
           enumNodes(
               "FG_LINETRIGGERMODE", "Line Trigger Mode", 8102, "RW",
               {{"GRABBER_CONTROLLED", 1}, {"ASYNC_TRIGGER", 2}, {"ASYNC_GATED", 5}, {"GRABBER_CONTROLLED_GATED", 6}}) +
           enumNodes("FG_IMGTRIGGERINSRC", "Source", 8113, "RW",
                     {{"TRGINSOFTWARE", -1}, {"TRGINSRC_0", 0}, {"TRGINSRC_1", 1}}) +
           floatNodes("FG_LINETRIGGERDELAY", "Delay-&gt;ExSync", 8900, "RW", "0", "1048.568") +
           intNodes("FG_GAIN_OFFSET", "Gain Offset", 500, "WO", "-100", "100", "2") +
           floatNodes("FG_CAMERASIMULATOR_LINERATE", "Line Rate", 200329, "RW", "0.1", "10000000") +
           // the category tree
           category("Root", {"Miscellaneous", "AcquisitionTiming", "Downscale", "LineTriggerInput"}) +
           category("Miscellaneous",
                    {"FG_APPLET_ID", "FG_HAP_FILE", "FG_APPLET_VERSION", "FG_SYSTEMMONITOR_FPGA_TEMPERATURE"}) +
           category("AcquisitionTiming", {"FG_WIDTH", "FG_GAIN_OFFSET", "FG_CAMERASIMULATOR_LINERATE"}) +
           category("Downscale", {"FG_LINE_DOWNSCALE"}) +
           category("LineTriggerInput", {"FG_LINETRIGGERMODE", "FG_IMGTRIGGERINSRC", "FG_LINETRIGGERDELAY"}) +
           kDocumentEnd;
}

#endif
