// The simulated host runtime's host face: the calls an applet makes on its
// host board handle (parameter access, enumeration, description, events),
// each counted and open to fault injection, and acquisition.

#include <cstring>

#include "host_params.h"

namespace simhost {

namespace {

int noDevice(HostBoard* hb) {
    hb->lastError = FG_ERR_INVALID_BOARD;
    return FG_ERR_INVALID_BOARD;
}

// Locks the device of a host handle for one host call: counts it and applies
// the n-th-call fault. `rc` is 0 to go on, else the code to return.
class HostCall {
public:
    explicit HostCall(HostBoard* hb) : hb_(hb), dev_(hb->dev) {
        if (dev_ == nullptr) {
            rc_ = noDevice(hb);
            return;
        }
        dev_->m.lock();
        rc_ = beginHostCall(hb);
    }
    ~HostCall() {
        if (dev_ != nullptr) dev_->m.unlock();
    }
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;
    int rc() const { return rc_; }
    Device* dev() const { return dev_; }
    // Records a failure as the board's last error and passes the code on.
    int fail(int code) {
        hb_->lastError = code;
        return code;
    }
    int result(int code) { return code < 0 ? fail(code) : code; }

private:
    HostBoard* hb_;
    Device* dev_;
    int rc_ = 0;
};

bool validDma(int dma) { return dma >= 0 && dma < kNrOfDmas; }

}  // namespace

// ---- host face ---------------------------------------------------------------

int beginHostCall(HostBoard* hb) {
    Device* d = hb->dev;
    d->hostCalls++;
    if (d->failNth > 0 && --d->failNth == 0 && d->failNthCode != 0) {
        hb->lastError = d->failNthCode;
        return d->failNthCode;
    }
    return FG_OK;
}

int hostSetParameter(HostBoard* hb, int id, const void* value, unsigned int dma, FgParamTypes type) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(setLocked(c.dev(), id, value, dma, type));
}

int hostGetParameter(HostBoard* hb, int id, void* value, unsigned int dma, FgParamTypes type) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(getLocked(c.dev(), id, value, dma, type));
}

int hostSetParameterUntyped(HostBoard* hb, int id, const void* value, unsigned int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(setLocked(c.dev(), id, value, dma, untypedType(c.dev(), id)));
}

int hostGetParameterUntyped(HostBoard* hb, int id, void* value, unsigned int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(getLocked(c.dev(), id, value, dma, untypedType(c.dev(), id)));
}

int hostGetParameterIdByName(HostBoard* hb, const char* name) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    if (Param* p = paramByName(c.dev(), name)) return p->id;
    if (name != nullptr)
        for (int id : kHostLevelIds)
            if (std::strcmp(hostLevelName(id), name) == 0) return id;
    c.fail(FG_ERR_INVALID_PARAMETER);
    return 0;
}

int hostGetNrOfParameter(HostBoard* hb) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.dev()->table ? static_cast<int>(c.dev()->table->params.size()) : 0;
}

const char* hostGetParameterName(HostBoard* hb, int index) {
    HostCall c(hb);
    if (c.rc() != 0) return nullptr;
    if (index < 0) {
        c.fail(FG_ERR_INVALID_PARAMETER);
        return nullptr;
    }
    Param* p = paramById(c.dev(), kDesignIdBase + index);
    if (p == nullptr) c.fail(FG_ERR_INVALID_PARAMETER);
    return p ? p->name.c_str() : nullptr;
}

int hostGetParameterId(HostBoard* hb, int index) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Param* p = index < 0 ? nullptr : paramById(c.dev(), kDesignIdBase + index);
    return p ? p->id : c.fail(FG_ERR_INVALID_PARAMETER);
}

int hostGetLastError(HostBoard* hb) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return hb->lastError;
}

int hostFreeGrabber(HostBoard* hb) {
    int rc = FG_OK;
    if (hb->dev != nullptr) acqShutdown(hb->dev);  // the board's producers end with it
    {
        HostCall c(hb);
        rc = c.rc();
        if (c.dev() != nullptr) detach(c.dev(), hb);
    }
    if (rc == FG_ERR_INVALID_BOARD && hb->dev == nullptr) rc = FG_OK;  // device already gone
    deleteHostBoard(hb);
    return rc;
}

RegisterInfo* hostGetParameterInfo(HostBoard* hb, int port) {
    HostCall c(hb);
    if (c.rc() != 0) return nullptr;
    if (!validDma(port) || !c.dev()->table) {
        c.fail(FG_ERR_INVALID_PARAMETER);
        return nullptr;
    }
    std::unique_ptr<InfoTree>& tree = hb->info[port];
    if (!tree) {
        try {
            tree = buildInfoTree(*c.dev()->table, port);
        } catch (...) {
            c.fail(FG_ERR_BUFFER_TOO_SMALL);
            return nullptr;
        }
    }
    if (tree->root == nullptr) c.fail(FG_ERR_NO_DESCRIPTION);
    return tree->root;
}

uint64_t hostGetEventMask(HostBoard* hb, const char* name) {
    HostCall c(hb);
    if (c.rc() != 0 || name == nullptr) return 0;
    for (int i = 0; i < 64; ++i) {
        const HapEvent* ev = HapGetEvent(c.dev()->design, i);
        if (ev != nullptr && std::strcmp(ev->name, name) == 0) return uint64_t{1} << i;
    }
    c.fail(FG_ERR_INVALID_PARAMETER);
    return 0;
}

const char* hostGetEventName(HostBoard* hb, uint64_t mask) {
    HostCall c(hb);
    if (c.rc() != 0) return nullptr;
    for (int i = 0; i < 64; ++i) {
        if (mask != (uint64_t{1} << i)) continue;
        const HapEvent* ev = HapGetEvent(c.dev()->design, i);
        if (ev != nullptr) return ev->name;
    }
    c.fail(FG_ERR_INVALID_PARAMETER);
    return nullptr;
}

int hostUnsupported(HostBoard* hb, int code) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(code);
}

// ---- acquisition ---------------------------------------------------------------

int hostAcquire(HostBoard* hb, int dma, frameindex_t picCount, dma_mem* mem) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.acquireCalls++;
    if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
    try {
        return c.result(acqStart(d, dma, picCount, mem));
    } catch (...) {
        return c.fail(FG_ERR_BUFFER_TOO_SMALL);  // no memory to start it
    }
}

int hostStopAcquire(HostBoard* hb, int dma) {
    Device* d = nullptr;
    {
        HostCall c(hb);
        if (c.rc() != 0) return c.rc();
        d = c.dev();
        d->acq.stopCalls++;
        if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
        d->acq.running[dma] = 0;
        acqRequestStop(d, dma);
    }
    acqJoin(d, dma);  // without the device lock: the producer may be waiting for it
    return FG_OK;
}

namespace {
// The counter model: produces frames on a running DMA up to `upTo`; a finite
// acquisition stops after its last frame.
void produceFrames(Device* d, int dma, frameindex_t upTo) {
    if (!d->acq.running[dma]) return;
    if (d->picCount[dma] > 0 && upTo > d->picCount[dma]) upTo = d->picCount[dma];
    if (upTo > d->frames[dma]) {
        d->frames[dma] = upTo;
        d->transferLen[dma] = kFrameBytes;
    }
    if (d->picCount[dma] > 0 && d->frames[dma] >= d->picCount[dma]) d->acq.running[dma] = 0;
}
}  // namespace

frameindex_t hostLastPicNumber(HostBoard* hb, int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.lastPicNumberCalls++;
    if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
    if (acqEngineChannel(d, dma)) return acqLastPicture(d, dma);
    if (d->frames[dma] < INT32_MAX) produceFrames(d, dma, d->frames[dma] + 1);
    return d->frames[dma];
}

frameindex_t hostLastPicNumberBlocking(HostBoard* hb, frameindex_t picNr, int dma, int timeout) {
    Device* d = nullptr;
    {
        HostCall c(hb);
        if (c.rc() != 0) return c.rc();
        d = c.dev();
        d->acq.lastPicNumberCalls++;
        if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
        if (!acqEngineChannel(d, dma)) {
            produceFrames(d, dma, picNr);
            if (d->frames[dma] < picNr) return c.fail(SIM_ERR_TIMEOUT);
            return d->frames[dma];
        }
    }
    // The wait holds no device lock: the producer needs it to deliver.
    const frameindex_t rc = acqWait(d, dma, picNr, timeout);
    if (rc < 0) {
        std::lock_guard<std::mutex> lk(d->m);
        hb->lastError = rc;
    }
    return rc;
}

frameindex_t hostStatus(HostBoard* hb, int param, frameindex_t data, unsigned int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.statusCalls++;
    if (dma >= static_cast<unsigned int>(kNrOfDmas)) return c.fail(FG_ERR_INVALID_PARAMETER);
    return c.result(acqStatus(d, static_cast<int>(dma), param, data));
}

int hostAppletId(HostBoard* hb, const char* /*name*/) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    c.dev()->acq.appletIdCalls++;
    return 0;
}
}  // namespace simhost
