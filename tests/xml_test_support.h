// Test support for the registry and the GenApi description: a minimal applet
// object (every pure operation answered trivially) that exposes its registry,
// and a synthetic registry with one parameter of every kind.
#ifndef XML_TEST_SUPPORT_H
#define XML_TEST_SUPPORT_H

#include <string>

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

// The synthetic registry of one port slot: one described parameter of every
// kind with a template (UINT, INT, DOUBLE, ENUM, STRING), nested groups, and
// records that the description leaves out (64-bit and field kinds, an
// invisible parameter, the direct register access group). Display names may
// carry `displaySuffix` (used to put other bytes into descriptions).
inline void buildSyntheticRegistry(Fg_ParameterInfo& info, int port, const char* displaySuffix = "")
{
    const std::string sfx(displaySuffix);
    const char* const us = "\xB5s";  // Latin-1 micro sign, then s

    // Oldest top-level group: listed last in the document.
    RegisterInfo* acq = info.addGroupInfo(port, NULL, "Acquisition / Timing");
    info.addInfoUInt(acq, ("Width" + sfx).c_str(), "FG_WIDTH", 32, 16384, 16, 3, 2, 1, "pixel", 100, port);
    RegisterInfo* trg = info.addGroupInfo(port, acq, "Line Trigger Input");
    RegisterInfo* ds = info.addGroupInfo(port, trg, "Downscale");
    info.addInfoUInt(ds, "Downscale", "FG_LINE_DOWNSCALE", 1, 255, 1, 3, 1, 1, "pulses", 24040, port);
    RegisterInfo* mode =
        info.addInfoEnum(trg, "Line Trigger Mode", "FG_LINETRIGGERMODE", 4, 3, 1, 1, "", 8102, port);
    info.addEnumNameValue(mode, 0, "Grabber controlled", 1, "GRABBER_CONTROLLED");
    info.addEnumNameValue(mode, 1, "Async External Trigger", 2, "ASYNC_TRIGGER");
    info.addEnumNameValue(mode, 2, "Gated, Grabber controlled", 6, "GRABBER_CONTROLLED_GATED");
    info.addEnumNameValue(mode, 3, "Gated, External Triggered", 5, "ASYNC_GATED");
    RegisterInfo* src = info.addInfoEnum(trg, "Source", "FG_IMGTRIGGERINSRC", 3, 7, 1, 1, "", 8113, port);
    info.addEnumNameValue(src, 0, "Trigger Source 0", 0, "TRGINSRC_0");
    info.addEnumNameValue(src, 1, "Trigger Source 1", 1, "TRGINSRC_1");
    info.addEnumNameValue(src, 2, "Software Trigger", -1, "TRGINSOFTWARE");
    info.addInfoDouble(trg, ("Delay->ExSync" + sfx).c_str(), "FG_LINETRIGGERDELAY", 0.0, 1048.568, 0.008, 7, 1,
                       1, us, 8900, port);
    info.addInfoInt(acq, "Gain Offset", "FG_GAIN_OFFSET", -100, 100, 2, 2, 1, 1, "", 500, port);
    info.addInfoDouble(acq, "Line Rate", "FG_CAMERASIMULATOR_LINERATE", 0.1, 10000000.0, 2.220446049250313e-16,
                       7, 2, 1, "Hz", 200329, port);

    // Newer top-level group.
    RegisterInfo* misc = info.addGroupInfo(port, NULL, "Miscellaneous");
    info.addInfoString(misc, "Applet Id", "FG_APPLET_ID", NULL, 1, 1, 1, "", 24010, port);
    info.addInfoString(misc, "HAP file", "FG_HAP_FILE", "*.hap", 1, 1, 1, "", 24108, port);
    info.addInfoUInt(misc, "Applet version", "FG_APPLET_VERSION", 0, 0, 0, 1, 1, 1, "", 24020, port);
    info.addInfoUInt64(misc, "FPGA DNA", "FG_SYSTEMMONITOR_FPGA_DNA", 0, 144115188075855871ULL, 0, 1, 1, 1, "",
                       200349, port);
    info.addInfoInt64(misc, "Signed Counter", "FG_SIGNED_COUNTER", -5, 5, 1, 1, 1, 1, "", 200360, port);
    info.addInfoUIntField(misc, "LUT Values", "FG_LUT_VALUE", 16, 0, 4095, 1, 7, 1, 1, "", 300001, port);
    info.addInfoIntField(misc, "Signed Field", "FG_SIGNED_FIELD", 4, -8, 8, 1, 7, 1, 1, "", 300009, port);
    info.addInfoDoubleField(misc, "Channel Current", "FG_SYSTEMMONITOR_CHANNEL_CURRENT", 4, -100000.0, 100000.0,
                            0.0, 1, 1, 1, "A", 200350, port);
    info.addInfoUInt(misc, "Hidden", "FG_HIDDEN", 0, 10, 1, 3, 1, 0, "", 200361, port);
    info.addInfoDouble(misc, "FGPA Temperature", "FG_SYSTEMMONITOR_FPGA_TEMPERATURE", 0.0078125, 1000.0,
                       0.0078125, 1, 1, 1, "Celsius", 200341, port);

    // Newest top-level group: never described.
    RegisterInfo* dra = info.addGroupInfo(port, NULL, "Direct Register Access");
    info.addInfoUInt(dra, "Register 1", "DRA_Register1", 0, 255, 1, 3, 1, 1, "", 1000001, port);
}

// The document that buildSyntheticRegistry gives for model "Orvindel" and no
// display-name suffix.
inline std::string syntheticDocument()
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "\n"
           "<RegisterDescription\n"
           "ModelName=\"Orvindel\"\n"
           "VendorName=\"Tervik\"\n"
           "StandardNameSpace=\"None\"\n"
           "SchemaMajorVersion=\"1\"\n"
           "SchemaMinorVersion=\"0\"\n"
           "SchemaSubMinorVersion=\"1\"\n"
           "MajorVersion=\"1\"\n"
           "MinorVersion=\"0\"\n"
           "SubMinorVersion=\"0\"\n"
           "ProductGuid=\"0\"\n"
           "VersionGuid=\"0\"\n"
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_0\"\n"
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\n"
           "xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_0 GenApiSchema_Version_1_0.xsd\">\n"
           // Miscellaneous
           "<StringReg Name=\"FG_APPLET_ID\">\n"
           "<Description>Applet Id</Description>\n"
           "<Address>24010</Address>\n"
           "<Length>4096</Length>\n"
           "<AccessMode>RO</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "</StringReg>\n\r"
           "<StringReg Name=\"FG_HAP_FILE\">\n"
           "<Description>HAP file</Description>\n"
           "<Address>24108</Address>\n"
           "<Length>4096</Length>\n"
           "<AccessMode>RO</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "</StringReg>\n\r"
           "<IntReg Name=\"FG_APPLET_VERSION_Reg\">\n"
           "<Address>24020</Address>\n"
           "<Length>4</Length>\n"
           "<AccessMode>RO</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Sign>Signed</Sign>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n"
           "<Integer Name='FG_APPLET_VERSION'>\n"
           "<Description>Applet version</Description>\n"
           "<pValue>FG_APPLET_VERSION_Reg</pValue>\n"
           "<Min>0</Min>\n"
           "<Max>0</Max>\n"
           "</Integer>\n\r"
           "<FloatReg Name=\"FG_SYSTEMMONITOR_FPGA_TEMPERATURE_Reg\">\n"
           "<Address>200341</Address>\n"
           "<Length>8</Length>\n"
           "<AccessMode>RO</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</FloatReg>\n"
           "<Float Name=\"FG_SYSTEMMONITOR_FPGA_TEMPERATURE\">\n"
           "<Description>FGPA Temperature</Description>\n"
           "<pValue>FG_SYSTEMMONITOR_FPGA_TEMPERATURE_Reg</pValue>\n"
           "<Min>0.0078125</Min>\n"
           "<Max>1000</Max>\n"
           "</Float>\n\r"
           // Acquisition / Timing
           "<IntReg Name=\"FG_WIDTH_Reg\">\n"
           "<Address>100</Address>\n"
           "<Length>4</Length>\n"
           "<AccessMode>RW</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Sign>Signed</Sign>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n"
           "<Integer Name='FG_WIDTH'>\n"
           "<Description>Width</Description>\n"
           "<pValue>FG_WIDTH_Reg</pValue>\n"
           "<Min>32</Min>\n"
           "<Max>16384</Max>\n"
           "<Inc>16</Inc>\n"
           "</Integer>\n\r"
           // Downscale (inside Line Trigger Input)
           "<IntReg Name=\"FG_LINE_DOWNSCALE_Reg\">\n"
           "<Address>24040</Address>\n"
           "<Length>4</Length>\n"
           "<AccessMode>RW</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Sign>Signed</Sign>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n"
           "<Integer Name='FG_LINE_DOWNSCALE'>\n"
           "<Description>Downscale</Description>\n"
           "<pValue>FG_LINE_DOWNSCALE_Reg</pValue>\n"
           "<Min>1</Min>\n"
           "<Max>255</Max>\n"
           "<Inc>1</Inc>\n"
           "</Integer>\n\r"
           // Line Trigger Input
           "<Enumeration Name='FG_LINETRIGGERMODE'>\n"
           "<Description>Line Trigger Mode</Description>\n"
           "<EnumEntry Name=\"GRABBER_CONTROLLED\">\n"
           "<Value>1</Value>\n"
           "</EnumEntry>\n"
           "<EnumEntry Name=\"ASYNC_TRIGGER\">\n"
           "<Value>2</Value>\n"
           "</EnumEntry>\n"
           "<EnumEntry Name=\"ASYNC_GATED\">\n"
           "<Value>5</Value>\n"
           "</EnumEntry>\n"
           "<EnumEntry Name=\"GRABBER_CONTROLLED_GATED\">\n"
           "<Value>6</Value>\n"
           "</EnumEntry>\n"
           "<pValue>FG_LINETRIGGERMODE_Reg</pValue>\n"
           "</Enumeration>\n"
           "\n"
           "<IntReg Name=\"FG_LINETRIGGERMODE_Reg\">\n"
           "<Address>8102</Address>\n"
           "<Length>4</Length>\n"
           "<AccessMode>RW</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Sign>Unsigned</Sign>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n\r"
           "<Enumeration Name='FG_IMGTRIGGERINSRC'>\n"
           "<Description>Source</Description>\n"
           "<EnumEntry Name=\"TRGINSOFTWARE\">\n"
           "<Value>-1</Value>\n"
           "</EnumEntry>\n"
           "<EnumEntry Name=\"TRGINSRC_0\">\n"
           "<Value>0</Value>\n"
           "</EnumEntry>\n"
           "<EnumEntry Name=\"TRGINSRC_1\">\n"
           "<Value>1</Value>\n"
           "</EnumEntry>\n"
           "<pValue>FG_IMGTRIGGERINSRC_Reg</pValue>\n"
           "</Enumeration>\n"
           "\n"
           "<IntReg Name=\"FG_IMGTRIGGERINSRC_Reg\">\n"
           "<Address>8113</Address>\n"
           "<Length>4</Length>\n"
           "<AccessMode>RW</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Sign>Unsigned</Sign>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n\r"
           "<FloatReg Name=\"FG_LINETRIGGERDELAY_Reg\">\n"
           "<Address>8900</Address>\n"
           "<Length>8</Length>\n"
           "<AccessMode>RW</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</FloatReg>\n"
           "<Float Name=\"FG_LINETRIGGERDELAY\">\n"
           "<Description>Delay-&gt;ExSync</Description>\n"
           "<pValue>FG_LINETRIGGERDELAY_Reg</pValue>\n"
           "<Min>0</Min>\n"
           "<Max>1048.568</Max>\n"
           "</Float>\n\r"
           // Acquisition / Timing again
           "<IntReg Name=\"FG_GAIN_OFFSET_Reg\">\n"
           "<Address>500</Address>\n"
           "<Length>4</Length>\n"
           "<AccessMode>WO</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Sign>Signed</Sign>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</IntReg>\n"
           "<Integer Name='FG_GAIN_OFFSET'>\n"
           "<Description>Gain Offset</Description>\n"
           "<pValue>FG_GAIN_OFFSET_Reg</pValue>\n"
           "<Min>-100</Min>\n"
           "<Max>100</Max>\n"
           "<Inc>2</Inc>\n"
           "</Integer>\n\r"
           "<FloatReg Name=\"FG_CAMERASIMULATOR_LINERATE_Reg\">\n"
           "<Address>200329</Address>\n"
           "<Length>8</Length>\n"
           "<AccessMode>RW</AccessMode>\n"
           "<pPort>DevicePort</pPort>\n"
           "<Endianess>LittleEndian</Endianess>\n"
           "</FloatReg>\n"
           "<Float Name=\"FG_CAMERASIMULATOR_LINERATE\">\n"
           "<Description>Line Rate</Description>\n"
           "<pValue>FG_CAMERASIMULATOR_LINERATE_Reg</pValue>\n"
           "<Min>0.1</Min>\n"
           "<Max>10000000</Max>\n"
           "</Float>\n\r"
           // the category tree
           "<Category Name='Root' NameSpace='Standard' >\n"
           "<pFeature>Miscellaneous</pFeature>\n"
           "<pFeature>AcquisitionTiming</pFeature>\n"
           "<pFeature>Downscale</pFeature>\n"
           "<pFeature>LineTriggerInput</pFeature>\n"
           "</Category>\n"
           "<Category Name='Miscellaneous'  >\n"
           "<pFeature>FG_APPLET_ID</pFeature>\n"
           "<pFeature>FG_HAP_FILE</pFeature>\n"
           "<pFeature>FG_APPLET_VERSION</pFeature>\n"
           "<pFeature>FG_SYSTEMMONITOR_FPGA_TEMPERATURE</pFeature>\n"
           "</Category>\n"
           "<Category Name='AcquisitionTiming'  >\n"
           "<pFeature>FG_WIDTH</pFeature>\n"
           "<pFeature>FG_GAIN_OFFSET</pFeature>\n"
           "<pFeature>FG_CAMERASIMULATOR_LINERATE</pFeature>\n"
           "</Category>\n"
           "<Category Name='Downscale'  >\n"
           "<pFeature>FG_LINE_DOWNSCALE</pFeature>\n"
           "</Category>\n"
           "<Category Name='LineTriggerInput'  >\n"
           "<pFeature>FG_LINETRIGGERMODE</pFeature>\n"
           "<pFeature>FG_IMGTRIGGERINSRC</pFeature>\n"
           "<pFeature>FG_LINETRIGGERDELAY</pFeature>\n"
           "</Category>\n"
           "<Port Name=\"DevicePort\"></Port>\n"
           "</RegisterDescription>\n";
}

#endif
