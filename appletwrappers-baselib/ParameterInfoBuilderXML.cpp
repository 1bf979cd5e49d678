#include "ParameterInfoBuilderXML.h"

#include <locale>
#include <map>
#include <set>

#include "FgQorWrapper.h"
#include "parameterInfo.h"

namespace {

const char* const kGenApiNamespace = "http://www.genicam.org/GenApi/Version_1_0";
const char* const kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";
const char* const kRootCategory = "Root";
// Parameters of this group are reached through the register I/O runtime
// only; they are not described.
const char* const kDirectRegisterAccessGroup = "Direct Register Access";
// Ends the nodes of every described parameter.
const char* const kParameterEnd = "\n\r";

std::string text(const char* s) { return s != NULL ? std::string(s) : std::string(); }

void prepareStream(std::ostringstream& oss) {
    oss.imbue(std::locale::classic());
    oss.precision(12);
}

bool hasTemplate(REG_FORMAT format) {
    switch (format) {
    case REG_FORMAT_UINT:
    case REG_FORMAT_INT:
    case REG_FORMAT_DOUBLE:
    case REG_FORMAT_ENUM:
    case REG_FORMAT_STRING: return true;
    default: return false;
    }
}

bool isAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

// ---- filters ---------------------------------------------------------------

std::string xmlStringFilter(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (std::string::size_type i = 0; i < s.size(); ++i) {
        const char c = s[i];
        switch (c) {
        case '"': out += "&quot;"; break;
        case '&': out += "&amp;"; break;
        case '\'': out += "&apos;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default: out += c; break;
        }
    }
    return out;
}

std::string xmlNameFilter(const std::string& s) {
    std::string out;
    for (std::string::size_type i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (isAsciiLetter(c) || (i > 0 && (isAsciiDigit(c) || c == '_'))) out += c;
    }
    return out;
}

// ---- Category --------------------------------------------------------------

Category::Category(const std::string& name, Category* parent) : mName(name) {
    if (parent != NULL) parent->mChilds.push_back(this);
}

Category::~Category() {
    for (size_t i = 0; i < mChilds.size(); ++i) delete mChilds[i];
}

void Category::addFeature(const std::string& name) { mFeatures.push_back(name); }

int Category::getFeatureCount() const { return static_cast<int>(mFeatures.size()); }

std::string Category::getFeature(int i) const {
    if (i < 0 || i >= getFeatureCount()) return std::string();
    return mFeatures[static_cast<size_t>(i)];
}

bool Category::hasFeature(const std::string& name) const {
    for (size_t i = 0; i < mFeatures.size(); ++i)
        if (mFeatures[i] == name) return true;
    return false;
}

int Category::getChildCount() const { return static_cast<int>(mChilds.size()); }

Category* Category::getChild(int i) const {
    if (i < 0 || i >= getChildCount()) return NULL;
    return mChilds[static_cast<size_t>(i)];
}

Category* Category::getChild(const std::string& name) const {
    for (size_t i = 0; i < mChilds.size(); ++i)
        if (mChilds[i]->mName == name) return mChilds[i];
    return NULL;
}

bool Category::hasChild(const std::string& name) const { return getChild(name) != NULL; }

const std::string& Category::getName() const { return mName; }

// ---- ParameterInfoGeneratorXML ---------------------------------------------

ParameterInfoGeneratorXML::ParameterInfoGeneratorXML(std::ostringstream& stream) : oss(stream) { prepareStream(oss); }

bool ParameterInfoGeneratorXML::generate(const RegisterInfo& reg) {
    switch (reg.format) {
    case REG_FORMAT_UINT:
    case REG_FORMAT_INT: generateInteger(reg); return true;
    case REG_FORMAT_DOUBLE: generateFloat(reg); return true;
    case REG_FORMAT_ENUM: generateEnumeration(reg); return true;
    case REG_FORMAT_STRING: generateString(reg); return true;
    default: return false;
    }
}

void ParameterInfoGeneratorXML::infoGenerate(const RegisterInfo& reg, int length) {
    if (reg.id != 0) oss << "<Address>" << reg.id << "</Address>\n";
    oss << "<Length>" << length << "</Length>\n";
    const bool readable = (reg.accessFlags & 1) != 0;
    const bool writable = (reg.accessFlags & 2) != 0;
    const char* mode = readable && writable ? "RW" : readable ? "RO" : writable ? "WO" : "";
    oss << "<AccessMode>" << mode << "</AccessMode>\n";
    oss << "<pPort>DevicePort</pPort>\n";
}

void ParameterInfoGeneratorXML::descriptionLine(const RegisterInfo& reg) {
    if (reg.name != NULL && reg.name[0] != '\0')
        oss << "<Description>" << xmlStringFilter(reg.name) << "</Description>\n";
}

void ParameterInfoGeneratorXML::generateInteger(const RegisterInfo& reg) {
    const std::string n = xmlStringFilter(text(reg.parameterName));
    oss << "<IntReg Name=\"" << n << "_Reg\">\n";
    infoGenerate(reg, 4);
    oss << "<Sign>Signed</Sign>\n";
    oss << "<Endianess>LittleEndian</Endianess>\n";
    oss << "</IntReg>\n";
    oss << "<Integer Name='" << n << "'>\n";
    descriptionLine(reg);
    oss << "<pValue>" << n << "_Reg</pValue>\n";
    if (reg.format == REG_FORMAT_INT) {
        oss << "<Min>" << reg.u.iReg.from << "</Min>\n";
        oss << "<Max>" << reg.u.iReg.to << "</Max>\n";
        if (reg.u.iReg.steps != 0) oss << "<Inc>" << reg.u.iReg.steps << "</Inc>\n";
    } else {
        oss << "<Min>" << reg.u.uiReg.from << "</Min>\n";
        oss << "<Max>" << reg.u.uiReg.to << "</Max>\n";
        if (reg.u.uiReg.steps != 0) oss << "<Inc>" << reg.u.uiReg.steps << "</Inc>\n";
    }
    oss << "</Integer>" << kParameterEnd;
}

void ParameterInfoGeneratorXML::generateFloat(const RegisterInfo& reg) {
    const std::string n = xmlStringFilter(text(reg.parameterName));
    oss << "<FloatReg Name=\"" << n << "_Reg\">\n";
    infoGenerate(reg, 8);
    oss << "<Endianess>LittleEndian</Endianess>\n";
    oss << "</FloatReg>\n";
    oss << "<Float Name=\"" << n << "\">\n";
    descriptionLine(reg);
    oss << "<pValue>" << n << "_Reg</pValue>\n";
    oss << "<Min>" << reg.u.dReg.from << "</Min>\n";
    oss << "<Max>" << reg.u.dReg.to << "</Max>\n";
    oss << "</Float>" << kParameterEnd;
}

void ParameterInfoGeneratorXML::generateEnumeration(const RegisterInfo& reg) {
    const std::string n = xmlStringFilter(text(reg.parameterName));
    oss << "<Enumeration Name='" << n << "'>\n";
    descriptionLine(reg);

    // Entries with an SDK constant name, by value; a later entry with the
    // same value replaces an earlier one.
    std::map<int, std::string> entries;
    const EnumReg& e = reg.u.eReg;
    if (e.enumValues != NULL && e.enumDefName != NULL) {
        for (int i = 0; i < e.nrOfElements; ++i)
            if (e.enumDefName[i] != NULL) entries[e.enumValues[i]] = e.enumDefName[i];
    }
    for (std::map<int, std::string>::const_iterator it = entries.begin(); it != entries.end(); ++it) {
        oss << "<EnumEntry Name=\"" << xmlStringFilter(it->second) << "\">\n";
        oss << "<Value>" << it->first << "</Value>\n";
        oss << "</EnumEntry>\n";
    }

    oss << "<pValue>" << n << "_Reg</pValue>\n";
    oss << "</Enumeration>\n\n";
    oss << "<IntReg Name=\"" << n << "_Reg\">\n";
    infoGenerate(reg, 4);
    oss << "<Sign>Unsigned</Sign>\n";
    oss << "<Endianess>LittleEndian</Endianess>\n";
    oss << "</IntReg>" << kParameterEnd;
}

void ParameterInfoGeneratorXML::generateString(const RegisterInfo& reg) {
    const std::string n = xmlStringFilter(text(reg.parameterName));
    oss << "<StringReg Name=\"" << n << "\">\n";
    descriptionLine(reg);
    infoGenerate(reg, 4096);
    oss << "</StringReg>" << kParameterEnd;
}

// ---- ParameterInfoBuilderXML -----------------------------------------------

struct ParameterInfoBuilderXMLPrivate {
    ParameterInfoBuilderXMLPrivate(Fg_ParameterInfo& info, FgQorWrapper& w, int p)
        : fgParamInfo(info), wrapper(w), port(p), rootCategory(new Category(kRootCategory, NULL)) {}
    ~ParameterInfoBuilderXMLPrivate() { delete rootCategory; }

    Fg_ParameterInfo& fgParamInfo;
    FgQorWrapper& wrapper;
    int port;
    Category* rootCategory;

    // Groups already walked during one build: a record list that loops back
    // on itself is walked once.
    std::set<const RegisterInfo*> visited;
};

namespace {

struct Walk {
    ParameterInfoBuilderXML& builder;
    ParameterInfoBuilderXMLPrivate& d;
    ParameterInfoGeneratorXML& generator;

    void describeChildren(const RegisterInfo& group) {
        if (!d.visited.insert(&group).second) return;
        const GroupReg& g = group.u.gReg;
        if (g.elements == NULL) return;
        for (int i = 0; i < g.nrOfElements; ++i)
            if (g.elements[i] != NULL) describe(*g.elements[i], group);
    }

    void describe(const RegisterInfo& reg, const RegisterInfo& parent) {
        if (reg.format == REG_FORMAT_GROUP) {
            describeChildren(reg);
            return;
        }
        if (reg.visibilityFlags == 0 || !hasTemplate(reg.format)) return;
        const std::string parentName = text(parent.name);
        if (parentName == kDirectRegisterAccessGroup) return;
        generator.generate(reg);
        builder.addFeatureToCategory(parentName, text(reg.parameterName));
    }
};

void writeCategory(std::ostringstream& oss, const Category& category) {
    if (category.getName() == kRootCategory)
        oss << "<Category Name='" << category.getName() << "' NameSpace='Standard' >\n";
    else
        oss << "<Category Name='" << category.getName() << "'  >\n";
    for (int i = 0; i < category.getChildCount(); ++i)
        oss << "<pFeature>" << category.getChild(i)->getName() << "</pFeature>\n";
    for (int i = 0; i < category.getFeatureCount(); ++i)
        oss << "<pFeature>" << category.getFeature(i) << "</pFeature>\n";
    oss << "</Category>\n";
    for (int i = 0; i < category.getChildCount(); ++i) writeCategory(oss, *category.getChild(i));
}

}  // namespace

ParameterInfoBuilderXML::ParameterInfoBuilderXML(Fg_ParameterInfo& info, FgQorWrapper& wrapper, int port)
    : d(new ParameterInfoBuilderXMLPrivate(info, wrapper, port)) {}

ParameterInfoBuilderXML::~ParameterInfoBuilderXML() { delete d; }

Category* ParameterInfoBuilderXML::rootCategory() { return d->rootCategory; }

void ParameterInfoBuilderXML::addFeatureToCategory(const std::string& groupName, const std::string& featureName) {
    const std::string group = xmlNameFilter(groupName);
    const std::string feature = xmlNameFilter(featureName);
    Category* category = d->rootCategory;
    if (!group.empty()) {
        category = d->rootCategory->getChild(group);
        if (category == NULL) category = new Category(group, d->rootCategory);
    }
    category->addFeature(feature);
}

std::string ParameterInfoBuilderXML::build() {
    // Every build starts from an empty category tree.
    delete d->rootCategory;
    d->rootCategory = NULL;
    d->rootCategory = new Category(kRootCategory, NULL);
    d->visited.clear();

    std::ostringstream oss;
    prepareStream(oss);

    oss << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n";
    oss << "<RegisterDescription\n";
    oss << "ModelName=\"" << xmlStringFilter(text(d->wrapper.getCameraType())) << "\"\n";
    oss << "VendorName=\"Tervik\"\n";
    oss << "StandardNameSpace=\"None\"\n";
    oss << "SchemaMajorVersion=\"1\"\n";
    oss << "SchemaMinorVersion=\"0\"\n";
    oss << "SchemaSubMinorVersion=\"1\"\n";
    oss << "MajorVersion=\"1\"\n";
    oss << "MinorVersion=\"0\"\n";
    oss << "SubMinorVersion=\"0\"\n";
    oss << "ProductGuid=\"0\"\n";
    oss << "VersionGuid=\"0\"\n";
    oss << "xmlns=\"" << kGenApiNamespace << "\"\n";
    oss << "xmlns:xsi=\"" << kSchemaInstanceNamespace << "\"\n";
    oss << "xsi:schemaLocation=\"" << kGenApiNamespace << " GenApiSchema_Version_1_0.xsd\">\n";

    ParameterInfoGeneratorXML generator(oss);
    Walk walk = {*this, *d, generator};
    std::set<const RegisterInfo*> topLevel;
    for (RegisterInfo* group = d->fgParamInfo.getRegisterInfo(d->port); group != NULL; group = group->next) {
        if (!topLevel.insert(group).second) break;
        if (group->format == REG_FORMAT_GROUP) walk.describeChildren(*group);
    }

    writeCategory(oss, *d->rootCategory);

    oss << "<Port Name=\"DevicePort\"></Port>\n";
    oss << "</RegisterDescription>\n";
    return oss.str();
}
