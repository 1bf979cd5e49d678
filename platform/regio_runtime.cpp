// The register I/O runtime: register reads and writes on a simulated device.
// Values are stored exactly as written; the register's width and direction
// are the design's business, not this runtime's.

#include "fg_platform.h"
#include "platform_export.h"
#include "sim_device.h"

namespace {

bool validDevice(const QORdevice* dev) { return dev != nullptr && dev->magic == SIM_DEVICE_MAGIC; }

SimRegister* findRegister(QORdevice* dev, int reg) {
    for (int i = 0; i < dev->nrOfRegs; ++i)
        if (dev->regs[i].number == reg) return &dev->regs[i];
    return nullptr;
}

class RegLock {
public:
    explicit RegLock(QORdevice* dev) : dev_(dev) { pthread_mutex_lock(&dev_->regLock); }
    ~RegLock() { pthread_mutex_unlock(&dev_->regLock); }
    RegLock(const RegLock&) = delete;
    RegLock& operator=(const RegLock&) = delete;

private:
    QORdevice* dev_;
};

}  // namespace

extern "C" {

PLATFORM_EXPORT int TervikRegisterWrite(QORdevice* board, int reg, uint64_t value) {
    if (!validDevice(board)) return FG_ERR_INVALID_BOARD;
    RegLock lock(board);
    if (board->regFailCode != 0) return board->regFailCode;
    SimRegister* r = findRegister(board, reg);
    if (r == nullptr) return FG_ERR_INVALID_PARAMETER;
    r->value = value;
    return FG_OK;
}

PLATFORM_EXPORT int TervikRegisterRead(QORdevice* board, int reg, uint64_t* value) {
    if (!validDevice(board)) return FG_ERR_INVALID_BOARD;
    if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
    RegLock lock(board);
    if (board->regFailCode != 0) return board->regFailCode;
    SimRegister* r = findRegister(board, reg);
    if (r == nullptr) return FG_ERR_INVALID_PARAMETER;
    *value = r->value;
    return FG_OK;
}

}  // extern "C"
