// The simulated host runtime's device model: devices and board
// initialisation, the design parameters (conversion on write and read, the
// write log), the host-level parameters and the register file.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host_params.h"

namespace simhost {

std::atomic<int> g_initError{0};

namespace {
constexpr size_t kLogReserve = 16384;
}  // namespace

// ---- design parameters ---------------------------------------------------------

int writeDesignConverted(Device* d, Param& p, const void* value, unsigned int dma, FgParamTypes type, bool log) {
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? nativeType(p) : type;
    switch (p.kind) {
    case HAP_KIND_U32:
    case HAP_KIND_U64:
    case HAP_KIND_DOUBLE: {
        if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
        Num n = loadNum(t, value);
        int rc = storeScalar(p, n);
        if (rc != FG_OK) return rc;
        if (log) {
            SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
            if (n.k == Num::D)
                e.d = n.d;
            else
                e.u = n.k == Num::U ? n.u : static_cast<uint64_t>(n.i);
        }
        return FG_OK;
    }
    case HAP_KIND_TEXT: {
        if (t != FG_PARAM_TYPE_CHAR_PTR) return FG_ERR_INVALID_PARAMETER;
        const char* s = static_cast<const char*>(value);
        size_t len = strnlen(s, HAP_MAX_TEXT + 1);
        if (len > HAP_MAX_TEXT) return FG_ERR_VALUE_OUT_OF_RANGE;
        p.text.assign(s, len);
        if (log) {
            SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
            d->logTexts.push_back(p.text);
            e.text = d->logTexts.back().c_str();
        }
        return FG_OK;
    }
    default: break;
    }
    // field parameters
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS) {
        const FieldParameterAccess& a = *static_cast<const FieldParameterAccess*>(value);
        const ElemType et = elemTypeOf(a);
        if (!recordFits(p, a, et)) return FG_ERR_INVALID_PARAMETER;
        if (p.kind == HAP_KIND_UFIELD && et.size == 4 && !et.isSigned) {
            // 32-bit unsigned elements always fit a field of 32-bit values:
            // copied as they are (a whole table at once is the usual case).
            std::copy(a.p_uint32_t, a.p_uint32_t + a.count, p.uf.begin() + a.index);
        } else {
            // All elements are checked before any is stored.
            for (size_t k = 0; k < a.count; ++k) {
                uint64_t u = 0;
                double dv = 0;
                if (!elemFits(p, loadElem(a, et, k), u, dv)) return FG_ERR_VALUE_OUT_OF_RANGE;
            }
            for (size_t k = 0; k < a.count; ++k) {
                uint64_t u = 0;
                double dv = 0;
                elemFits(p, loadElem(a, et, k), u, dv);
                setElem(p, a.index + k, u, dv);
            }
        }
        if (log) {
            SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
            e.fieldIndex = a.index;
            e.fieldCount = a.count;
            std::vector<uint64_t>& vals = d->logFields.next(a.count);
            if (p.kind == HAP_KIND_UFIELD)
                std::copy(p.uf.begin() + a.index, p.uf.begin() + a.index + a.count, vals.begin());
            else
                for (size_t k = 0; k < a.count; ++k) vals[k] = elemLogValue(p, a.index + k);
            e.fieldValues = vals.empty() ? nullptr : vals.data();
            if (a.count > 0) {
                if (p.kind == HAP_KIND_DFIELD)
                    e.d = p.df[a.index];
                else
                    e.u = p.uf[a.index];
            }
        }
        return FG_OK;
    }
    Num n;
    unsigned int index = 0;
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) {
        const FieldParameterInt& r = *static_cast<const FieldParameterInt*>(value);
        n = numU(r.value);
        index = r.index;
    } else if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE) {
        const FieldParameterDouble& r = *static_cast<const FieldParameterDouble*>(value);
        n = numD(r.value);
        index = r.index;
    } else {
        return FG_ERR_INVALID_PARAMETER;
    }
    if (index >= p.count) return FG_ERR_INVALID_PARAMETER;
    uint64_t u = 0;
    double dv = 0;
    if (!elemFits(p, n, u, dv)) return FG_ERR_VALUE_OUT_OF_RANGE;
    setElem(p, index, u, dv);
    if (log) {
        SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
        if (n.k == Num::D)
            e.d = n.d;
        else
            e.u = n.u;
        e.fieldIndex = index;
        e.fieldCount = 1;
        std::vector<uint64_t>& vals = d->logFields.next(1);
        vals[0] = elemLogValue(p, index);
        e.fieldValues = vals.data();
    }
    return FG_OK;
}

// Reads a design parameter with conversion (value not NULL, fault check done).
int readDesignConverted(const Param& p, void* value, FgParamTypes type) {
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? nativeType(p) : type;
    switch (p.kind) {
    case HAP_KIND_U32:
    case HAP_KIND_U64:
        if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
        return storeNum(t, value, numU(p.u));
    case HAP_KIND_DOUBLE:
        if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
        return storeNum(t, value, numD(p.d));
    case HAP_KIND_TEXT:
        if (t != FG_PARAM_TYPE_CHAR_PTR) return FG_ERR_INVALID_PARAMETER;
        std::memcpy(value, p.text.c_str(), p.text.size() + 1);
        return FG_OK;
    default: break;
    }
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS) {
        const FieldParameterAccess& a = *static_cast<const FieldParameterAccess*>(value);
        const ElemType et = elemTypeOf(a);
        if (!recordFits(p, a, et)) return FG_ERR_INVALID_PARAMETER;
        for (size_t k = 0; k < a.count; ++k) {
            if (!storeElem(a, et, k, elemNum(p, a.index + k))) return FG_ERR_VALUE_OUT_OF_RANGE;
        }
        return FG_OK;
    }
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) {
        FieldParameterInt& r = *static_cast<FieldParameterInt*>(value);
        if (r.index >= p.count) return FG_ERR_INVALID_PARAMETER;
        uint64_t v;
        if (!toUnsigned(elemNum(p, r.index), UINT32_MAX, v)) return FG_ERR_VALUE_OUT_OF_RANGE;
        r.value = static_cast<uint32_t>(v);
        return FG_OK;
    }
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE) {
        FieldParameterDouble& r = *static_cast<FieldParameterDouble*>(value);
        if (r.index >= p.count) return FG_ERR_INVALID_PARAMETER;
        r.value = toDouble(elemNum(p, r.index));
        return FG_OK;
    }
    return FG_ERR_INVALID_PARAMETER;
}

// ---- host-level parameters -------------------------------------------------

const char* hostLevelName(int id) {
    switch (id) {
    case FG_HOST_TIMEOUT: return "FG_TIMEOUT";
    case FG_HOST_APC_STOP_TIMEOUT: return "FG_APC_STOP_TIMEOUT";
    case FG_HOST_NR_OF_DMAS: return "FG_NR_OF_DMAS";
    case FG_HOST_NR_OF_CAMS: return "FG_NR_OF_CAMS";
    case FG_HOST_NR_OF_PROCESSES: return "FG_NR_OF_PROCESSES";
    case FG_HOST_DMA_PORT: return "FG_DMA_PORT";
    case FG_HOST_CAM_PORT: return "FG_CAM_PORT";
    case FG_HOST_TRANSFER_LEN: return "FG_TRANSFER_LEN";
    case FG_HOST_DMASTATUS: return "FG_DMASTATUS";
    default: return nullptr;
    }
}

const int kHostLevelIds[9] = {FG_HOST_TIMEOUT,    FG_HOST_APC_STOP_TIMEOUT, FG_HOST_NR_OF_DMAS,
                              FG_HOST_NR_OF_CAMS, FG_HOST_NR_OF_PROCESSES,  FG_HOST_DMA_PORT,
                              FG_HOST_CAM_PORT,   FG_HOST_TRANSFER_LEN,     FG_HOST_DMASTATUS};

static int writeHostLevel(Device* d, int id, const void* value, unsigned int dma, FgParamTypes type) {
    uint64_t* slot = nullptr;
    if (id == FG_HOST_TIMEOUT)
        slot = d->timeout;
    else if (id == FG_HOST_APC_STOP_TIMEOUT)
        slot = d->apcStopTimeout;
    else
        return FG_ERR_NOT_AVAILABLE;  // read-only host value
    if (dma >= static_cast<unsigned int>(kNrOfDmas)) return FG_ERR_INVALID_PARAMETER;
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? FG_PARAM_TYPE_UINT32_T : type;
    if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
    Num n = loadNum(t, value);
    uint64_t v;
    if (!toUnsigned(n, UINT32_MAX, v)) return FG_ERR_VALUE_OUT_OF_RANGE;
    slot[dma] = v;
    SimLogEntry& e = appendLog(d, id, hostLevelName(id), dma, type);
    if (n.k == Num::D)
        e.d = n.d;
    else
        e.u = n.k == Num::U ? n.u : static_cast<uint64_t>(n.i);
    return FG_OK;
}

static int readHostLevel(Device* d, int id, void* value, unsigned int dma, FgParamTypes type) {
    if (dma >= static_cast<unsigned int>(kNrOfDmas)) return FG_ERR_INVALID_PARAMETER;
    uint64_t v = 0;
    switch (id) {
    case FG_HOST_TIMEOUT: v = d->timeout[dma]; break;
    case FG_HOST_APC_STOP_TIMEOUT: v = d->apcStopTimeout[dma]; break;
    case FG_HOST_NR_OF_DMAS:
    case FG_HOST_NR_OF_CAMS:
    case FG_HOST_NR_OF_PROCESSES: v = kNrOfDmas; break;
    case FG_HOST_DMA_PORT:
    case FG_HOST_CAM_PORT: v = dma; break;
    case FG_HOST_TRANSFER_LEN: v = d->transferLen[dma]; break;
    case FG_HOST_DMASTATUS: v = static_cast<uint64_t>(d->acq.running[dma]); break;
    default: return FG_ERR_INVALID_PARAMETER;
    }
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? FG_PARAM_TYPE_UINT32_T : type;
    if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
    return storeNum(t, value, numU(v));
}

// A host-level parameter by identity (the design parameters are handled inline below).
[[gnu::noinline]] int setHostLevelLocked(Device* d, int id, const void* value, unsigned int dma, FgParamTypes type) {
    if (hostLevelName(id) == nullptr) return FG_ERR_INVALID_PARAMETER;
    if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
    return writeHostLevel(d, id, value, dma, type);
}

[[gnu::noinline]] int getHostLevelLocked(Device* d, int id, void* value, unsigned int dma, FgParamTypes type) {
    if (hostLevelName(id) == nullptr) return FG_ERR_INVALID_PARAMETER;
    if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
    return readHostLevel(d, id, value, dma, type);
}

FgParamTypes untypedType(Device* d, int id) {
    if (Param* p = paramById(d, id)) return nativeType(*p);
    return FG_PARAM_TYPE_UINT32_T;
}

void applyNamedFaults(Device* d) {
    if (!d->table) return;
    for (Param& p : d->table->params) p.failRead = p.failWrite = 0;
    for (const NamedFault& f : d->namedFaults) {
        if (Param* p = paramByName(d, f.name.c_str())) {
            p->failRead = f.readCode;
            p->failWrite = f.writeCode;
        }
    }
}

std::unique_ptr<DesignTable> buildTable(fpga_design* design) {
    std::unique_ptr<DesignTable> t(new DesignTable);
    const int n = HapGetNrOfParameter(design);
    t->params.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const HapParameterInfo* info = HapGetParameter(design, i);
        Param& p = t->params[static_cast<size_t>(i)];
        if (info == nullptr) continue;
        p.name = info->name;
        p.id = kDesignIdBase + i;
        p.kind = info->kind;
        p.count = info->count;
        p.readOnly = info->readOnly != 0;
        p.u = info->initialU;
        p.d = info->initialD;
        p.text = info->initialText ? info->initialText : "";
        if (p.kind == HAP_KIND_UFIELD) {
            p.uf.assign(p.count, 0);
            for (unsigned int k = 0; k < info->nrOfInitialElements && k < p.count; ++k)
                p.uf[k] = info->initialUElements[k];
        } else if (p.kind == HAP_KIND_DFIELD) {
            p.df.assign(p.count, 0.0);
            for (unsigned int k = 0; k < info->nrOfInitialElements && k < p.count; ++k)
                p.df[k] = info->initialDElements[k];
        }
        t->byName.emplace(p.name, i);
    }
    return t;
}

void loadRegisters(QORdevice* q, fpga_design* design) {
    const int n = HapGetNrOfRegister(design);
    SimRegister* regs = nullptr;
    if (n > 0) {
        regs = static_cast<SimRegister*>(std::calloc(static_cast<size_t>(n), sizeof(SimRegister)));
        if (regs == nullptr) throw std::bad_alloc();
        for (int i = 0; i < n; ++i) {
            const HapRegisterInfo* r = HapGetRegisterInfo(design, i + 1);
            regs[i].number = r ? r->number : 0;
            regs[i].bits = r ? r->bits : 0;
            regs[i].direction = r ? r->direction : 0;
            regs[i].value = 0;
        }
    }
    pthread_mutex_lock(&q->regLock);
    std::free(q->regs);
    q->regs = regs;
    q->nrOfRegs = n > 0 ? n : 0;
    pthread_mutex_unlock(&q->regLock);
}

void detach(Device* d, HostBoard* hb) {
    for (size_t i = 0; i < d->handles.size(); ++i)
        if (d->handles[i] == hb) {
            d->handles.erase(d->handles.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    if (d->current == hb) d->current = nullptr;
}

void deleteHostBoard(HostBoard* hb) {
    hb->hdr.kind = kDeadKind;
    delete hb;
}

// ---- devices ---------------------------------------------------------------

QORdevice* createDevice(unsigned int boardIndex) {
    QORdevice* q = static_cast<QORdevice*>(std::calloc(1, sizeof(QORdevice)));
    if (q == nullptr) return nullptr;
    Device* d = new (std::nothrow) Device;
    if (d == nullptr) {
        std::free(q);
        return nullptr;
    }
    pthread_mutex_init(&q->regLock, nullptr);
    q->boardIndex = boardIndex;
    q->host = d;
    d->q = q;
    q->magic = SIM_DEVICE_MAGIC;
    return q;
}

Device* deviceOf(QORdevice* q) {
    if (q == nullptr || q->magic != SIM_DEVICE_MAGIC) return nullptr;
    return static_cast<Device*>(q->host);
}

void destroyDevice(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    acqShutdown(d);
    {
        std::lock_guard<std::mutex> lk(d->m);
        for (HostBoard* hb : d->handles) hb->dev = nullptr;
        d->handles.clear();
        d->current = nullptr;
    }
    q->magic = 0;
    q->host = nullptr;
    delete d;
    pthread_mutex_lock(&q->regLock);
    std::free(q->regs);
    q->regs = nullptr;
    q->nrOfRegs = 0;
    pthread_mutex_unlock(&q->regLock);
    pthread_mutex_destroy(&q->regLock);
    std::free(q);
}

void freeAttachedHandles(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::vector<HostBoard*> hs;
    {
        std::lock_guard<std::mutex> lk(d->m);
        hs.swap(d->handles);
        d->current = nullptr;
    }
    for (HostBoard* hb : hs) deleteHostBoard(hb);
}

Fg_Struct* initHostBoard(QORdevice* hw, fpga_design* design) {
    Device* d = deviceOf(hw);
    if (d == nullptr) {
        g_initError = FG_ERR_INVALID_BOARD;
        return nullptr;
    }
    if (design == nullptr) {
        g_initError = FG_ERR_INIT_FAILED;
        return nullptr;
    }
    try {
        std::lock_guard<std::mutex> lk(d->m);
        if (d->failInit != 0) {
            g_initError = d->failInit;
            return nullptr;
        }
        std::unique_ptr<DesignTable> table = buildTable(design);
        loadRegisters(hw, design);
        std::unique_ptr<HostBoard> hb(new HostBoard);
        hb->hdr.pub.Master = nullptr;
        hb->hdr.kind = kHostKind;
        hb->dev = d;
        if (d->table) d->retired.push_back(std::move(d->table));
        d->table = std::move(table);
        d->params = d->table->params.data();
        d->paramCount = d->table->params.size();
        d->design = design;
        applyNamedFaults(d);
        for (int i = 0; i < kNrOfDmas; ++i) {
            d->timeout[i] = kInitialTimeout;
            d->apcStopTimeout[i] = kInitialApcStopTimeout;
            d->transferLen[i] = 0;
            d->frames[i] = 0;
            d->picCount[i] = 0;
            d->acq.running[i] = 0;
        }
        if (d->log.capacity() < kLogReserve) d->log.reserve(kLogReserve);
        d->handles.push_back(hb.get());
        d->current = hb.get();
        return &hb.release()->hdr.pub;
    } catch (...) {
        g_initError = FG_ERR_INIT_FAILED;
        return nullptr;
    }
}

}  // namespace simhost
