#include "Platform/Network/internal/WriteBack.h"

#include <linux/aio_abi.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace qz::internal {

// The C library has no functions for these.

WriteBack::~WriteBack() {
    if (context_ != 0) {
        ::syscall(SYS_io_destroy, context_);
    }
}

void WriteBack::begin(int descriptor) {
    if (context_ == 0 && !isUnavailable_) {
        aio_context_t context = 0;
        isUnavailable_ = ::syscall(SYS_io_setup, 1, &context) != 0;
        context_ = isUnavailable_ ? 0 : context;
    }
    if (isUnavailable_) {
        return;
    }
    io_event event{};
    timespec atOnce{};
    if (isUnderWay_ && ::syscall(SYS_io_getevents, context_, 0, 1, &event, &atOnce) == 1) {
        isUnderWay_ = false;
    }
    if (!isUnderWay_) {
        iocb flush{};
        flush.aio_fildes = static_cast<std::uint32_t>(descriptor);
        flush.aio_lio_opcode = IOCB_CMD_FDSYNC;
        iocb* const flushes[] = {&flush};
        isUnderWay_ = ::syscall(SYS_io_submit, context_, 1, flushes) == 1;
        isUnavailable_ = !isUnderWay_;
    }
}

}  // namespace qz::internal
