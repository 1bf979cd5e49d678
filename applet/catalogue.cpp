// The parameter catalogue: registers every user-visible parameter of both
// ports in the registry and in the dynamic range map, from catalogue.def.
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "AppletWrapper.h"
#include "parameterInfo.h"

namespace {

const int kVisible = 1;

// Finds or creates the group of a ">"-separated path in a port slot. The
// catalogue names its paths with literals and lists a group's parameters
// together, so the path of the previous parameter is tried first.
class GroupPaths {
public:
    GroupPaths(Fg_ParameterInfo& registry, int port) : registry_(registry), port_(port) {}

    RegisterInfo* group(const char* path) {
        if (path == lastPath_) return lastGroup_;
        RegisterInfo* g = find(path);
        lastPath_ = path;
        lastGroup_ = g;
        return g;
    }

private:
    RegisterInfo* find(const char* path) {
        std::map<std::string, RegisterInfo*, std::less<>>::iterator found = groups_.find(std::string_view(path));
        if (found != groups_.end()) return found->second;
        std::string p(path);
        std::string::size_type cut = p.rfind('>');
        RegisterInfo* parent = nullptr;
        std::string name = p;
        if (cut != std::string::npos) {
            parent = find(p.substr(0, cut).c_str());
            name = p.substr(cut + 1);
        }
        RegisterInfo* g = registry_.addGroupInfo(port_, parent, name.c_str());
        groups_[p] = g;
        return g;
    }

    Fg_ParameterInfo& registry_;
    int port_;
    std::map<std::string, RegisterInfo*, std::less<>> groups_;
    const char* lastPath_ = nullptr;
    RegisterInfo* lastGroup_ = nullptr;
};

void addEnumEntries(Fg_ParameterInfo& registry, RegisterInfo* record, const EnumTable& table) {
    if (!record) return;
    for (int i = 0; i < table.count; ++i) {
        // Display names are entered with at most 255 characters.
        const char* name = table.fields[i].name;
        char cut[256];
        if (std::strlen(name) >= sizeof cut) {
            std::memcpy(cut, name, sizeof cut - 1);
            cut[sizeof cut - 1] = '\0';
            name = cut;
        }
        registry.addEnumNameValue(record, i, name, static_cast<int>(table.fields[i].value), table.fields[i].defName);
    }
}

}  // namespace

void FgQorWrapperImpl::createUserParameters() {
    Fg_ParameterInfo& registry = *parameterInfo();
    for (int port = 0; port < kPortCount; ++port) {
        GroupPaths groups(registry, port);
        RegisterInfoMap::mapped_type& byId = register_info_map[port];
        RegisterInfo* r;

#define CAT_UINT(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT)                                      \
    r = registry.addInfoUInt(groups.group(PATH), DISPLAY, #NAME, FROM, TO, STEPS, ACCESS, RANGEFLAG, kVisible, UNIT, \
                             NAME, port);                                                                            \
    byId[NAME] = r;
#define CAT_UINT64(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT)                                 \
    r = registry.addInfoUInt64(groups.group(PATH), DISPLAY, #NAME, uint64_t(FROM), uint64_t(TO), uint64_t(STEPS), \
                               ACCESS, RANGEFLAG, kVisible, UNIT, NAME, port);                                    \
    byId[NAME] = r;
#define CAT_DOUBLE(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT)                                      \
    r = registry.addInfoDouble(groups.group(PATH), DISPLAY, #NAME, FROM, TO, STEPS, ACCESS, RANGEFLAG, kVisible, UNIT, \
                               NAME, port);                                                                            \
    byId[NAME] = r;
#define CAT_ENUM(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, TABLE)                                               \
    r = registry.addInfoEnum(groups.group(PATH), DISPLAY, #NAME, enum_tables::TABLE.count, ACCESS, RANGEFLAG, \
                             kVisible, "", NAME, port);                                                       \
    addEnumEntries(registry, r, enum_tables::TABLE);                                                          \
    byId[NAME] = r;
#define CAT_STRING(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FILTER, UNIT)                                            \
    r = registry.addInfoString(groups.group(PATH), DISPLAY, #NAME, FILTER, ACCESS, RANGEFLAG, kVisible, UNIT, NAME, \
                               port);                                                                               \
    byId[NAME] = r;
#define CAT_UFIELD(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, SIZE, FROM, TO, STEPS, UNIT)                         \
    r = registry.addInfoUIntField(groups.group(PATH), DISPLAY, #NAME, SIZE, FROM, TO, STEPS, ACCESS, RANGEFLAG, \
                                  kVisible, UNIT, NAME, port);                                                  \
    byId[NAME] = r;
#define CAT_DFIELD(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, SIZE, FROM, TO, STEPS, UNIT)                           \
    r = registry.addInfoDoubleField(groups.group(PATH), DISPLAY, #NAME, SIZE, FROM, TO, STEPS, ACCESS, RANGEFLAG, \
                                    kVisible, UNIT, NAME, port);                                                  \
    byId[NAME] = r;
#include "catalogue.def"

        if (draEnabled) {
            RegisterInfo* dra = registry.addGroupInfo(port, nullptr, "Direct Register Access");
            if (dra && HapGetNrOfRegister(designHandle()) > 0) addDirectRegisterRecords(port, dra);
        }
        if (!map_inspect_parameter_name_parameter_id.empty()) {
            RegisterInfo* dqora = registry.addGroupInfo(port, nullptr, "Direct QOR Access");
            if (dqora) addDirectQorRecords(port, dqora);
        }
    }
    indexRegisteredInfo();
}

RegisterInfo* FgQorWrapperImpl::infoOf(int port, int id) { return infoAt(port, sdkIndex(id), id); }

void FgQorWrapperImpl::indexRegisteredInfo() {
    for (int port = 0; port < kPortCount; ++port) {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) sdkInfo_[port][SDK_INDEX_##NAME] = registeredInfo(port, ID);
#include "sdk_params.def"
    }
}
