// The maps the applet object builds at start-up, the design-parameter
// identities, and the queries answered from them.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "AppletWrapper.h"
#include "templates/platform/RecursiveMutex.h"

namespace {

struct SdkRow {
    const char* name;
    int id;
    const char* description;
};

const SdkRow kSdkRows[] = {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) {#NAME, ID, DESC},
#include "sdk_params.def"
};

const char* const kPortDesignPrefix[kPortCount] = {"Device1_Process0_", "Device1_Process1_"};

const int kSdkRowCount = sizeof kSdkRows / sizeof kSdkRows[0];

// The rows in the order of their names, found once: the maps keyed by name
// are then filled from the front to the back, each entry placed at once
// instead of searched for.
struct NameOrder {
    int row[kSdkRowCount];
    NameOrder() {
        for (int i = 0; i < kSdkRowCount; ++i) row[i] = i;
        std::sort(row, row + kSdkRowCount,
                  [](int a, int b) { return std::strcmp(kSdkRows[a].name, kSdkRows[b].name) < 0; });
    }
};

const NameOrder& nameOrder() {
    static const NameOrder order;
    return order;
}

}  // namespace

void FgQorWrapperImpl::initInternalMaps() {
    // Direct QOR access, first half: mark what the host describes.
    if (orvSwitchEnabled(std::getenv("TERVIK_ENABLE_DQORA"))) markInspectableParameters(dllBaseName);

    map_dma_process[0] = 0;
    map_dma_process[1] = 1;
    for (int p = 0; p < kPortCount; ++p) dmaProcess_[p] = map_dma_process[p];

    const NameOrder& byName = nameOrder();
    for (int i : byName.row)
        map_parameter_name_parameter_id.emplace_hint(map_parameter_name_parameter_id.end(), kSdkRows[i].name,
                                                     kSdkRows[i].id);

    int registerCount = 0;
    fpga_design* design = designHandle();
    if (draEnabled) {
        registerCount = HapGetNrOfRegister(design);
        if (registerCount < 0) registerCount = 0;
        for (int i = 1; i <= registerCount; ++i) {
            const char* name = HapGetRegisterName(design, i);
            if (!name) continue;
            int number = HapGetRegisterByName(design, name);
            StringToIntMap::key_type key("DRA_", &mapMemory);
            key += name;
            map_parameter_name_parameter_id[std::move(key)] = FG_DRA_ID_BASE + number;
        }
    }

    // Direct QOR access, second half: publish the marked names.
    publishInspectableParameters(dllBaseName);

    int index = 0;
    for (const SdkRow& row : kSdkRows)
        map_parameter_index_parameter_name.emplace_hint(map_parameter_index_parameter_name.end(), index++, row.name);
    int last = SDK_PARAM_COUNT - 1;
    if (draEnabled && registerCount > 0) {
        for (int i = 1; i <= registerCount; ++i) {
            const char* name = HapGetRegisterName(design, i);
            map_parameter_index_parameter_name[last + i] = std::string("DRA_") + (name ? name : "");
        }
        last += registerCount;
    }
    for (const auto& entry : map_inspect_parameter_name_parameter_id)
        map_parameter_index_parameter_name[++last] = entry.first;

    for (int port = 0; port < kPortCount; ++port) {
        StringToStringMap& descriptions = map_parameter_name_parameter_description[port];
        for (int i : byName.row)
            descriptions.emplace_hint(descriptions.end(), kSdkRows[i].name, kSdkRows[i].description);
    }

    // Events: an event's mask is 2 to the power of its index in the design.
    int count = 0;
    while (count < 65 && HapGetEvent(design, count) != nullptr) ++count;
    auto passA = [&]() {
        uint64_t mask = 1;
        for (int i = 0; i < count; ++i, mask <<= 1) {
            const HapEvent* ev = HapGetEvent(design, i);
            if (ev && ev->kind == 1 && ev->name) {
                map_event_name_event_id[ev->name] = mask;
                map_event_id_event_name[mask] = ev->name;
            }
        }
    };
    auto alias = [&](const char* designName, const char* aliasName) {
        uint64_t mask = 1;
        for (int i = 0; i < count; ++i, mask <<= 1) {
            const HapEvent* ev = HapGetEvent(design, i);
            if (ev && ev->name && std::strcmp(ev->name, designName) == 0) {
                map_event_name_event_id[aliasName] = mask;
                map_event_id_event_name[mask] = aliasName;
                return;
            }
        }
    };
    passA();
    alias("Device1_Process0_Overflow_Overflow", "FG_OVERFLOW_CAM0");
    passA();
    alias("Device1_Process1_Overflow_Overflow", "FG_OVERFLOW_CAM1");
}

void FgQorWrapperImpl::retrieveIds() {
    std::string name;
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS)                    \
    for (int port = 0; port < kPortCount; ++port) {                     \
        name = kPortDesignPrefix[port];                                 \
        name += #NAME;                                                  \
        qorPort_[DP_##NAME][port] = getParameterIdByName(name.c_str()); \
    }
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS) \
    qorBoard_[DB_##NAME] = getParameterIdByName("Device1_Process0_" #NAME);
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS) \
    qorShared_[DS_##NAME] = getParameterIdByName("Device1_Process2_" #NAME);
#include "design_params.def"
}

int FgQorWrapperImpl::Fg_getParameterCount() { return static_cast<int>(map_parameter_index_parameter_name.size()); }

const char* FgQorWrapperImpl::Fg_getParameterName(int index) {
    IntToStringMap::const_iterator it = map_parameter_index_parameter_name.find(index);
    if (it == map_parameter_index_parameter_name.end()) {
        setError(FG_ERR_INVALID_PARAMETER);
        return nullptr;
    }
    setError(0);
    return it->second.c_str();
}

int FgQorWrapperImpl::Fg_getParameterId(int index) {
    IntToStringMap::const_iterator it = map_parameter_index_parameter_name.find(index);
    if (it != map_parameter_index_parameter_name.end()) {
        StringToIntMap::const_iterator id = map_parameter_name_parameter_id.find(it->second);
        if (id != map_parameter_name_parameter_id.end()) {
            setError(0);
            return id->second;
        }
    }
    setError(FG_ERR_INVALID_PARAMETER);
    return FG_ERR_INVALID_PARAMETER;
}

int FgQorWrapperImpl::Fg_getParameterIdByName(const char* name) {
    if (name == nullptr || name[0] == '\0') return FG_ERR_INVALID_PARAMETER;
    StringToIntMap::const_iterator id = map_parameter_name_parameter_id.find(name);
    if (id == map_parameter_name_parameter_id.end()) {
        setError(FG_ERR_INVALID_PARAMETER);
        return FG_ERR_INVALID_PARAMETER;
    }
    setError(0);
    return id->second;
}

uint64_t FgQorWrapperImpl::Fg_getEventMask(const char* name) {
    EventNameToEventIdMap::const_iterator it =
        name ? map_event_name_event_id.find(name) : map_event_name_event_id.end();
    if (it == map_event_name_event_id.end()) {
        setError(FG_ERR_INVALID_PARAMETER);
        return 0;
    }
    setError(0);
    return it->second;
}

const char* FgQorWrapperImpl::Fg_getEventName(uint64_t mask) {
    EventIdToEventNameMap::const_iterator it = map_event_id_event_name.find(mask);
    if (it == map_event_id_event_name.end()) {
        setError(FG_ERR_INVALID_PARAMETER);
        return nullptr;
    }
    setError(0);
    return it->second.c_str();
}

void FgQorWrapperImpl::describe(int port, char* buffer) {
    StringToStringMap::const_iterator it = map_parameter_name_parameter_description[port].find(buffer);
    if (it == map_parameter_name_parameter_description[port].end()) throw int(FG_ERR_INVALID_PARAMETER);
    std::memcpy(buffer, it->second, std::strlen(it->second) + 1);
}
