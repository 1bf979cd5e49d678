#include "Fg_Error.h"

namespace {
const int kNotSupported = -2130;
}

Fg_Error::Fg_Error() : error_number_buffer(0) {}

Fg_Error::~Fg_Error() {}

int Fg_Error::setErrLevel2(int /*n*/, const char* /*text*/) { return kNotSupported; }

int Fg_Error::getErrorNumberBuffer() const { return error_number_buffer.load(std::memory_order_relaxed); }
