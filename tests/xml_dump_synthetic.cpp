// Writes GenApi descriptions of synthetic registries to files, through the
// applet object's entry point (size query, then copy), for the checks with
// external GenICam tools:
//   synthetic_port0.xml, synthetic_port1.xml  one parameter of every kind
//   synthetic_empty.xml                       only empty groups
//   synthetic_latin1.xml                      display names with a Latin-1 byte
// Usage: xml_dump_synthetic [output directory]
#include <cstdio>
#include <string>
#include <vector>

#include "xml_dump_file.h"
#include "xml_test_support.h"

namespace {

bool dump(XmlTestWrapper& wrapper, int port, const std::string& path) {
    auto query = [&](char* buffer, size_t* size) { return wrapper.Fg_getParameterInfoXML(NULL, port, buffer, size); };
    return dumpXmlFile(query, path);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string dir = argc > 1 ? std::string(argv[1]) + "/" : std::string();
    bool ok = true;

    XmlTestWrapper both;
    buildSyntheticRegistry(both.registry(), 0);
    buildSyntheticRegistry(both.registry(), 1);
    ok = dump(both, 0, dir + "synthetic_port0.xml") && ok;
    ok = dump(both, 1, dir + "synthetic_port1.xml") && ok;

    XmlTestWrapper empty;
    RegisterInfo* g = empty.registry().addGroupInfo(0, NULL, "ROI");
    empty.registry().addGroupInfo(0, g, "Inner");
    ok = dump(empty, 0, dir + "synthetic_empty.xml") && ok;

    XmlTestWrapper latin1;
    buildSyntheticRegistry(latin1.registry(), 0, " \xB5s");
    ok = dump(latin1, 0, dir + "synthetic_latin1.xml") && ok;

    return ok ? 0 : 1;
}
