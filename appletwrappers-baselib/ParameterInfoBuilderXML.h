// The GenApi register description of one port: every described parameter of
// the port's registry slot becomes a register node and a feature node that
// name the port "DevicePort" and carry the SDK parameter number as address,
// filed in a flat category tree under "Root".
#ifndef PARAMETER_INFO_BUILDER_XML_H
#define PARAMETER_INFO_BUILDER_XML_H

#include <sstream>
#include <string>
#include <vector>

#include "fg_types.h"

class Fg_ParameterInfo;
class FgQorWrapper;

// Escapes the five XML special characters; every other byte passes unchanged.
std::string xmlStringFilter(const std::string& s);
// Keeps ASCII letters everywhere, digits and the underscore everywhere but at
// the first position of the input, and drops every other character.
std::string xmlNameFilter(const std::string& s);

// A category of the description: child categories in order of creation and
// feature names in order of addition (duplicates kept). A category owns its
// children.
class Category {
public:
    // With a parent, the new category appends itself to the parent's children.
    Category(const std::string& name, Category* parent);
    ~Category();

    void addFeature(const std::string& name);
    int getFeatureCount() const;
    std::string getFeature(int i) const;  // empty when out of range
    bool hasFeature(const std::string& name) const;

    int getChildCount() const;
    Category* getChild(int i) const;                    // NULL when out of range
    Category* getChild(const std::string& name) const;  // first exact match, or NULL
    bool hasChild(const std::string& name) const;

    const std::string& getName() const;

private:
    Category(const Category&);
    Category& operator=(const Category&);

    std::string mName;
    std::vector<Category*> mChilds;
    std::vector<std::string> mFeatures;
};

// Writes the nodes of one parameter into the document stream.
class ParameterInfoGeneratorXML {
public:
    explicit ParameterInfoGeneratorXML(std::ostringstream& oss);

    // The node writer for the record's kind; false (nothing written) for a
    // kind that has no template.
    bool generate(const RegisterInfo& reg);

    void generateInteger(const RegisterInfo& reg);  // UINT and INT
    void generateFloat(const RegisterInfo& reg);    // DOUBLE
    void generateEnumeration(const RegisterInfo& reg);
    void generateString(const RegisterInfo& reg);

    // The register block common to every register node.
    void infoGenerate(const RegisterInfo& reg, int length);

private:
    ParameterInfoGeneratorXML(const ParameterInfoGeneratorXML&);
    ParameterInfoGeneratorXML& operator=(const ParameterInfoGeneratorXML&);

    void descriptionLine(const RegisterInfo& reg);

    std::ostringstream& oss;
};

struct ParameterInfoBuilderXMLPrivate;

class ParameterInfoBuilderXML {
public:
    ParameterInfoBuilderXML(Fg_ParameterInfo& info, FgQorWrapper& wrapper, int port);
    virtual ~ParameterInfoBuilderXML();

    // The whole document for the port.
    std::string build();

    // Files a feature in the category named after its group (filtered); an
    // empty group name files it in "Root".
    void addFeatureToCategory(const std::string& groupName, const std::string& featureName);
    Category* rootCategory();

private:
    ParameterInfoBuilderXML(const ParameterInfoBuilderXML&);
    ParameterInfoBuilderXML& operator=(const ParameterInfoBuilderXML&);

    ParameterInfoBuilderXMLPrivate* d;
};

#endif
