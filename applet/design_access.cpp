// How handlers reach design parameters (typed host calls by identity), and the
// two debugging access paths: direct register access ("DRA_" names, through
// the register I/O runtime) and direct QOR access (host design parameters by
// host identity + 2,000,000, optionally published as "DQORA_" names).
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "AppletWrapper.h"
#include "parameterInfo.h"
#include "templates/platform/RecursiveMutex.h"

namespace {

bool isPublishableFormat(int format) {
    switch (format) {
    case REG_FORMAT_UINT:
    case REG_FORMAT_ENUM:
    case REG_FORMAT_STRING:
    case REG_FORMAT_DOUBLE:
    case REG_FORMAT_UINT64:
    case REG_FORMAT_INT:
    case REG_FORMAT_INT64: return true;
    default: return false;
    }
}

}  // namespace

// ---- direct register access ----

int FgQorWrapperImpl::directRegisterWrite(int id, const void* value) {
    int reg = id - FG_DRA_ID_BASE;
    int width = HapGetRegisterBitRange(designHandle(), reg);
    uint64_t v;
    if (width <= 32) {
        uint32_t v32;
        std::memcpy(&v32, value, sizeof v32);
        v = v32;
    } else {
        std::memcpy(&v, value, sizeof v);
    }
    return TervikRegisterWrite(boardHandle(), reg, v);
}

int FgQorWrapperImpl::directRegisterRead(int id, void* value) {
    int reg = id - FG_DRA_ID_BASE;
    uint64_t v = 0;
    int result = TervikRegisterRead(boardHandle(), reg, &v);
    if (result != 0) return result;
    int width = HapGetRegisterBitRange(designHandle(), reg);
    if (width <= 32) {
        uint32_t v32 = static_cast<uint32_t>(v);
        std::memcpy(value, &v32, sizeof v32);
    } else {
        std::memcpy(value, &v, sizeof v);
    }
    return 0;
}

void FgQorWrapperImpl::addDirectRegisterRecords(int port, RegisterInfo* group) {
    fpga_design* design = designHandle();
    int count = HapGetNrOfRegister(design);
    Fg_ParameterInfo* registry = parameterInfo();
    for (int i = 1; i <= count; ++i) {
        const char* name = HapGetRegisterName(design, i);
        if (!name) continue;
        int number = HapGetRegisterByName(design, name);
        int width = HapGetRegisterBitRange(design, number);
        int direction = HapGetRegisterDirection(design, number);
        std::string display = std::string(name) + " (" + std::to_string(width) + ")";
        std::string paramName = std::string("DRA_") + name;
        // 2^width - 1; a register of 64 bits or more spans the whole 64-bit range.
        uint64_t upper = width >= 64 ? ~uint64_t(0) : width <= 0 ? 0 : (uint64_t(1) << width) - 1;
        int access = direction == 0 ? FG_PARAM_ACCESS_READ_ONLY : FG_PARAM_ACCESS_READ_WRITE;
        RegisterInfo* r;
        if (width <= 32)
            r = registry->addInfoUInt(group, display.c_str(), paramName.c_str(), 0u, static_cast<unsigned>(upper), 1u,
                                      access, 1, 1, nullptr, FG_DRA_ID_BASE + number, port);
        else
            r = registry->addInfoUInt64(group, display.c_str(), paramName.c_str(), uint64_t(0), upper, uint64_t(1),
                                        access, 1, 1, nullptr, FG_DRA_ID_BASE + number, port);
        if (r) register_info_map[port][FG_DRA_ID_BASE + number] = r;
    }
}

// ---- direct QOR access ----

void FgQorWrapperImpl::markInspectableParameters(const std::string& section) {
    RegisterInfo* root = getUnwrappedParameterInfo();
    if (!root) return;
    std::deque<RegisterInfo*> queue;
    queue.push_back(root);
    while (!queue.empty()) {
        RegisterInfo* group = queue.front();
        queue.pop_front();
        if (!group || group->format != REG_FORMAT_GROUP) continue;
        for (int i = 0; i < group->u.gReg.nrOfElements && group->u.gReg.elements; ++i) {
            RegisterInfo* child = group->u.gReg.elements[i];
            if (!child) continue;
            if (child->format == REG_FORMAT_GROUP) {
                queue.push_back(child);
            } else if (isPublishableFormat(child->format) && child->parameterName) {
                tervik::templates::platform::RecursiveMutexGuard guard(&inspectProperties.m_mutex);
                inspectProperties.setProperty(section + "::" + child->parameterName, "On");
            }
        }
        if (group->next && group->next->format == REG_FORMAT_GROUP) queue.push_back(group->next);
    }
}

void FgQorWrapperImpl::publishInspectableParameters(const std::string& section) {
    std::vector<std::string> names;
    {
        tervik::templates::platform::RecursiveMutexGuard guard(&inspectProperties.m_mutex);
        names = inspectProperties.propertyNames(section);
    }
    for (const std::string& name : names) {
        std::string mark;
        {
            tervik::templates::platform::RecursiveMutexGuard guard(&inspectProperties.m_mutex);
            if (!inspectProperties.getProperty(section + "::" + name, mark)) continue;
        }
        if (!orvSwitchEnabled(mark.c_str())) continue;
        int hostId = getParameterIdByName(name.c_str());
        if (hostId != 0)
            map_inspect_parameter_name_parameter_id[StringToIntMap::key_type("DQORA_" + name, &mapMemory)] =
                hostId + FG_DQORA_ID_BASE;
    }
}

void FgQorWrapperImpl::addDirectQorRecords(int port, RegisterInfo* group) {
    RegisterInfo* root = getUnwrappedParameterInfo();
    if (!root || !group) return;
    Fg_ParameterInfo* registry = parameterInfo();
    std::map<RegisterInfo*, RegisterInfo*> recreated;  // host group -> our copy
    for (const auto& entry : map_inspect_parameter_name_parameter_id) {
        int hostId = entry.second - FG_DQORA_ID_BASE;
        // Breadth-first search for the leaf, remembering each record's host group.
        std::deque<RegisterInfo*> queue;
        std::map<RegisterInfo*, RegisterInfo*> parentOf;
        queue.push_back(root);
        RegisterInfo* leaf = nullptr;
        while (!queue.empty() && !leaf) {
            RegisterInfo* g = queue.front();
            queue.pop_front();
            if (!g || g->format != REG_FORMAT_GROUP) continue;
            for (int i = 0; i < g->u.gReg.nrOfElements && g->u.gReg.elements && !leaf; ++i) {
                RegisterInfo* c = g->u.gReg.elements[i];
                if (!c) continue;
                parentOf[c] = g;
                if (c->format == REG_FORMAT_GROUP)
                    queue.push_back(c);
                else if (c->id == hostId)
                    leaf = c;
            }
            if (g->next && g->next->format == REG_FORMAT_GROUP) queue.push_back(g->next);
        }
        if (!leaf || !isPublishableFormat(leaf->format)) continue;
        // Recreate the host groups above the leaf, each once.
        std::vector<RegisterInfo*> chain;
        for (RegisterInfo* g = parentOf.count(leaf) ? parentOf[leaf] : nullptr; g;
             g = parentOf.count(g) ? parentOf[g] : nullptr)
            chain.insert(chain.begin(), g);
        RegisterInfo* parent = group;
        for (RegisterInfo* g : chain) {
            std::map<RegisterInfo*, RegisterInfo*>::iterator it = recreated.find(g);
            if (it == recreated.end()) {
                RegisterInfo* copy = registry->addGroupInfo(port, parent, g->name ? g->name : "");
                it = recreated.insert(std::make_pair(g, copy)).first;
            }
            if (it->second) parent = it->second;
        }
        std::string pname = std::string("DQORA_") + (leaf->parameterName ? leaf->parameterName : "");
        const char* display = leaf->name ? leaf->name : "";
        int id = entry.second;
        RegisterInfo* r = nullptr;
        switch (leaf->format) {
        case REG_FORMAT_UINT:
            r = registry->addInfoUInt(parent, display, pname.c_str(), leaf->u.uiReg.from, leaf->u.uiReg.to,
                                      leaf->u.uiReg.steps, leaf->accessFlags, leaf->rangeFlags, leaf->visibilityFlags,
                                      leaf->unit, id, port);
            break;
        case REG_FORMAT_INT:
            r = registry->addInfoInt(parent, display, pname.c_str(), leaf->u.iReg.from, leaf->u.iReg.to,
                                     leaf->u.iReg.steps, leaf->accessFlags, leaf->rangeFlags, leaf->visibilityFlags,
                                     leaf->unit, id, port);
            break;
        case REG_FORMAT_UINT64:
            r = registry->addInfoUInt64(parent, display, pname.c_str(), leaf->u.iReg64.from, leaf->u.iReg64.to,
                                        leaf->u.iReg64.steps, leaf->accessFlags, leaf->rangeFlags,
                                        leaf->visibilityFlags, leaf->unit, id, port);
            break;
        case REG_FORMAT_INT64:
            r = registry->addInfoInt64(parent, display, pname.c_str(), static_cast<int64_t>(leaf->u.iReg64.from),
                                       static_cast<int64_t>(leaf->u.iReg64.to),
                                       static_cast<int64_t>(leaf->u.iReg64.steps), leaf->accessFlags, leaf->rangeFlags,
                                       leaf->visibilityFlags, leaf->unit, id, port);
            break;
        case REG_FORMAT_DOUBLE:
            r = registry->addInfoDouble(parent, display, pname.c_str(), leaf->u.dReg.from, leaf->u.dReg.to,
                                        leaf->u.dReg.steps, leaf->accessFlags, leaf->rangeFlags, leaf->visibilityFlags,
                                        leaf->unit, id, port);
            break;
        case REG_FORMAT_STRING:
            r = registry->addInfoString(parent, display, pname.c_str(), leaf->u.sReg.FileExtension, leaf->accessFlags,
                                        leaf->rangeFlags, leaf->visibilityFlags, leaf->unit, id, port);
            break;
        case REG_FORMAT_ENUM: {
            int n = leaf->u.eReg.nrOfElements;
            r = registry->addInfoEnum(parent, display, pname.c_str(), n, leaf->accessFlags, leaf->rangeFlags,
                                      leaf->visibilityFlags, leaf->unit, id, port);
            for (int i = 0; r && i < n; ++i) {
                const char* en = leaf->u.eReg.enumNames ? leaf->u.eReg.enumNames[i] : nullptr;
                const char* dn = leaf->u.eReg.enumDefName ? leaf->u.eReg.enumDefName[i] : nullptr;
                int ev = leaf->u.eReg.enumValues ? leaf->u.eReg.enumValues[i] : 0;
                registry->addEnumNameValue(r, i, en ? en : "", ev, dn);
            }
            break;
        }
        default: break;
        }
        if (r) register_info_map[port][id] = r;
    }
}
