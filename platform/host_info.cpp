// The host's description tree of a port: one group per design component, each
// with one leaf record per design parameter of that component.
//
// A port's tree holds the parameters of its own process ("Device1_Process<p>_"),
// the shared ones of process 2 and any parameter whose name has no process
// prefix (group "Design"). Groups are linked through next / previous at depth
// 0; their leaves are in gReg.elements at depth 1. Leaf formats: U32 ->
// REG_FORMAT_UINT (REG_FORMAT_ENUM with Off / On when the name contains
// "Enable"), U64 -> REG_FORMAT_UINT64, DOUBLE -> REG_FORMAT_DOUBLE, TEXT ->
// REG_FORMAT_STRING, UFIELD -> REG_FORMAT_UINTFIELD, DFIELD ->
// REG_FORMAT_DOUBLEFIELD. Values are those at the time the tree was built.

#include <cfloat>
#include <cstring>

#include "fg_param_ids.h"
#include "host_internal.h"

namespace simhost {

namespace {

struct Builder {
    InfoTree& t;
    int nextIndex = 0;

    const char* str(const std::string& s) {
        t.strs.push_back(s);
        return t.strs.back().c_str();
    }
    char* mstr(const std::string& s) { return const_cast<char*>(str(s)); }

    RegisterInfo* record(REG_FORMAT format, const std::string& name, const std::string& parameterName, int port) {
        t.recs.emplace_back();
        RegisterInfo* r = &t.recs.back();
        std::memset(r, 0, sizeof *r);
        r->format = format;
        r->index = nextIndex++;
        r->name = str(name);
        r->parameterName = str(parameterName);
        r->accessFlags = FG_PARAM_ACCESS_READ_WRITE;
        r->rangeFlags = 1;
        r->visibilityFlags = 1;
        r->unit = str("");
        r->port = port;
        return r;
    }
};

// Splits "Device1_Process<n>_<component>_<rest>" into prefix, component and
// rest; false when the name has no process prefix.
bool splitName(const std::string& name, int& process, std::string& prefix, std::string& component, std::string& rest) {
    static const char kHead[] = "Device1_Process";
    const size_t headLen = sizeof kHead - 1;
    if (name.compare(0, headLen, kHead) != 0) return false;
    size_t us = name.find('_', headLen);
    if (us == std::string::npos || us == headLen) return false;
    process = 0;
    for (size_t i = headLen; i < us; ++i) {
        if (name[i] < '0' || name[i] > '9' || process > 1000) return false;
        process = process * 10 + (name[i] - '0');
    }
    prefix = name.substr(0, us + 1);
    size_t us2 = name.find('_', us + 1);
    if (us2 == std::string::npos) {
        component = name.substr(us + 1);
        rest = component;
    } else {
        component = name.substr(us + 1, us2 - us - 1);
        rest = name.substr(us2 + 1);
    }
    return !component.empty();
}

void fillLeaf(Builder& b, RegisterInfo* r, const Param& p) {
    r->accessFlags = p.readOnly ? 1 : 7;
    r->id = p.id;
    switch (p.kind) {
    case HAP_KIND_U32:
        if (r->format == REG_FORMAT_ENUM) {
            b.t.charLists.push_back({b.mstr("Off"), b.mstr("On")});
            r->u.eReg.enumNames = b.t.charLists.back().data();
            b.t.charLists.push_back({b.mstr("FG_OFF"), b.mstr("FG_ON")});
            r->u.eReg.enumDefName = b.t.charLists.back().data();
            b.t.intLists.push_back({0, 1});
            r->u.eReg.enumValues = b.t.intLists.back().data();
            r->u.eReg.nrOfElements = 2;
            r->u.eReg.absValue = static_cast<int>(p.u);
            r->u.eReg.indexValue = p.u <= 1 ? static_cast<int>(p.u) : -1;
        } else {
            r->u.uiReg.from = 0;
            r->u.uiReg.to = UINT32_MAX;
            r->u.uiReg.steps = 1;
            r->u.uiReg.value = static_cast<unsigned int>(p.u);
        }
        break;
    case HAP_KIND_U64:
        r->u.iReg64.from = 0;
        r->u.iReg64.to = UINT64_MAX;
        r->u.iReg64.steps = 1;
        r->u.iReg64.value = p.u;
        break;
    case HAP_KIND_DOUBLE:
        r->u.dReg.from = -DBL_MAX;
        r->u.dReg.to = DBL_MAX;
        r->u.dReg.steps = 0.0;
        r->u.dReg.value = p.d;
        break;
    case HAP_KIND_TEXT:
        r->u.sReg.string = b.mstr(p.text);
        r->u.sReg.FileExtension = b.mstr("");
        r->u.sReg.strLen = static_cast<int>(p.text.size());
        break;
    case HAP_KIND_UFIELD:
        r->u.uifReg.from = 0;
        r->u.uifReg.to = UINT32_MAX;
        r->u.uifReg.nrOfElements = static_cast<int>(p.count);
        r->u.uifReg.index = 0;
        r->u.uifReg.value = p.uf.empty() ? 0 : static_cast<unsigned int>(p.uf[0]);
        break;
    default:
        r->u.dfReg.from = -DBL_MAX;
        r->u.dfReg.to = DBL_MAX;
        r->u.dfReg.nrOfElements = static_cast<int>(p.count);
        r->u.dfReg.index = 0;
        r->u.dfReg.value = p.df.empty() ? 0.0 : p.df[0];
        break;
    }
}

REG_FORMAT formatOf(const Param& p) {
    switch (p.kind) {
    case HAP_KIND_U32: return p.name.find("Enable") != std::string::npos ? REG_FORMAT_ENUM : REG_FORMAT_UINT;
    case HAP_KIND_U64: return REG_FORMAT_UINT64;
    case HAP_KIND_DOUBLE: return REG_FORMAT_DOUBLE;
    case HAP_KIND_TEXT: return REG_FORMAT_STRING;
    case HAP_KIND_UFIELD: return REG_FORMAT_UINTFIELD;
    default: return REG_FORMAT_DOUBLEFIELD;
    }
}

}  // namespace

std::unique_ptr<InfoTree> buildInfoTree(const DesignTable& table, int port) {
    std::unique_ptr<InfoTree> tree(new InfoTree);
    Builder b{*tree};
    struct Group {
        std::string key;
        std::string display;
        std::vector<const Param*> leaves;
        std::vector<std::string> leafNames;
    };
    std::vector<Group> groups;
    std::unordered_map<std::string, size_t> groupIndex;
    for (const Param& p : table.params) {
        int process = 0;
        std::string prefix, component, rest;
        std::string key, display;
        if (splitName(p.name, process, prefix, component, rest)) {
            if (process != port && process != 2) continue;
            key = prefix + component;
            display = component;
        } else {
            key = "Design";
            display = "Design";
            rest = p.name;
        }
        auto it = groupIndex.find(key);
        if (it == groupIndex.end()) {
            it = groupIndex.emplace(key, groups.size()).first;
            groups.push_back(Group{key, display, {}, {}});
        }
        groups[it->second].leaves.push_back(&p);
        groups[it->second].leafNames.push_back(rest);
    }
    RegisterInfo* prev = nullptr;
    for (Group& g : groups) {
        RegisterInfo* gr = b.record(REG_FORMAT_GROUP, g.display, g.key, port);
        gr->depth = 0;
        gr->previous = prev;
        if (prev != nullptr)
            prev->next = gr;
        else
            tree->root = gr;
        prev = gr;
        tree->kids.emplace_back();
        std::vector<RegisterInfo*>& kids = tree->kids.back();
        for (size_t i = 0; i < g.leaves.size(); ++i) {
            const Param& p = *g.leaves[i];
            RegisterInfo* leaf = b.record(formatOf(p), g.leafNames[i], p.name, port);
            leaf->depth = 1;
            leaf->parentName = gr->name;
            fillLeaf(b, leaf, p);
            kids.push_back(leaf);
        }
        gr->u.gReg.nrOfElements = static_cast<int>(kids.size());
        gr->u.gReg.elements = kids.data();
        gr->u.gReg.autoIndex = 0;
    }
    return tree;
}

}  // namespace simhost
