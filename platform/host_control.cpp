// The simulated host runtime's control API (SimBoard_, called from
// host_exports.cpp): design values by name, the write log, host-call counts
// and fault injection, handles and acquisition counters.

#include <cstring>

#include "host_params.h"

namespace simhost {

// ---- SimBoard control (called from host_exports.cpp) ---------------------------

namespace sim {

int parameterId(QORdevice* q, const char* name) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    return p ? p->id : 0;
}

int getValue(QORdevice* q, const char* name, FgParamTypes type, void* value) {
    Device* d = deviceOf(q);
    if (d == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || p->kind == HAP_KIND_UFIELD || p->kind == HAP_KIND_DFIELD) return FG_ERR_INVALID_PARAMETER;
    return readDesign(*p, value, type) == FG_OK ? FG_OK : FG_ERR_INVALID_PARAMETER;
}

int setValue(QORdevice* q, const char* name, FgParamTypes type, const void* value) {
    Device* d = deviceOf(q);
    if (d == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || p->kind == HAP_KIND_UFIELD || p->kind == HAP_KIND_DFIELD) return FG_ERR_INVALID_PARAMETER;
    return writeDesign(d, *p, value, 0, type, false) == FG_OK ? FG_OK : FG_ERR_INVALID_PARAMETER;
}

int getFieldElement(QORdevice* q, const char* name, unsigned int index, double* value) {
    Device* d = deviceOf(q);
    if (d == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || (p->kind != HAP_KIND_UFIELD && p->kind != HAP_KIND_DFIELD) || index >= p->count)
        return FG_ERR_INVALID_PARAMETER;
    *value = toDouble(elemNum(*p, index));
    return FG_OK;
}

int setFieldElement(QORdevice* q, const char* name, unsigned int index, double value) {
    Device* d = deviceOf(q);
    if (d == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || (p->kind != HAP_KIND_UFIELD && p->kind != HAP_KIND_DFIELD) || index >= p->count)
        return FG_ERR_INVALID_PARAMETER;
    uint64_t u = 0;
    double dv = 0;
    if (!elemFits(*p, numD(value), u, dv)) return FG_ERR_INVALID_PARAMETER;
    setElem(*p, index, u, dv);
    d->designVersion++;
    return FG_OK;
}

int logCount(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    return static_cast<int>(d->log.size());
}

int logEntry(QORdevice* q, int i, SimLogEntry* out) {
    Device* d = deviceOf(q);
    if (d == nullptr || out == nullptr || i < 0) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    if (static_cast<size_t>(i) >= d->log.size()) return FG_ERR_INVALID_PARAMETER;
    *out = d->log[static_cast<size_t>(i)];
    return FG_OK;
}

void logClear(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    d->log.clear();
    d->logTexts.clear();
    d->logFields.clear();
}

int hostCallCount(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    return d->hostCalls;
}

void failNthHostCall(QORdevice* q, int n, int code) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    d->failNth = n > 0 ? n : 0;
    d->failNthCode = code;
}

void failParameter(QORdevice* q, const char* name, int isWrite, int code) {
    Device* d = deviceOf(q);
    if (d == nullptr || name == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    NamedFault* f = nullptr;
    for (NamedFault& nf : d->namedFaults)
        if (nf.name == name) f = &nf;
    if (f == nullptr) {
        d->namedFaults.push_back(NamedFault{name, 0, 0});
        f = &d->namedFaults.back();
    }
    (isWrite ? f->writeCode : f->readCode) = code;
    applyNamedFaults(d);
}

void failInit(QORdevice* q, int code) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    d->failInit = code;
}

void clearFaults(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    {
        std::lock_guard<std::mutex> lk(d->m);
        d->failNth = 0;
        d->failNthCode = 0;
        d->failInit = 0;
        d->namedFaults.clear();
        applyNamedFaults(d);
    }
    pthread_mutex_lock(&q->regLock);
    q->regFailCode = 0;
    pthread_mutex_unlock(&q->regLock);
}

Fg_Struct* hostHandleOf(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return nullptr;
    std::lock_guard<std::mutex> lk(d->m);
    return d->current ? &d->current->hdr.pub : nullptr;
}

QORdevice* deviceOfHostHandle(Fg_Struct* fg) {
    HostBoard* hb = asHost(fg);
    return hb && hb->dev ? hb->dev->q : nullptr;
}

void acquisitionCounters(QORdevice* q, SimAcquisitionCounters* out) {
    if (out == nullptr) return;
    std::memset(out, 0, sizeof *out);
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    *out = d->acq;
}

}  // namespace sim

}  // namespace simhost
