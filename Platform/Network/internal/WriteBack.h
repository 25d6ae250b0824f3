// WriteBack: has the kernel bring a growing file to the disk while it grows, so that flushing it at the end
// takes no time.
//
// It rests on Linux's own asynchronous I/O (io_submit(2)), whose flushes run on threads of the kernel:
// neither fdatasync(2) nor sync_file_range(2) returns before the disk's queue has room, and the network's
// thread must not wait for a disk. Where the kernel does not offer it, nothing is begun and the flush at the
// end does it all.
#pragma once

#include <cstdint>

namespace qz::internal {

class WriteBack {
public:
    WriteBack() = default;
    WriteBack(const WriteBack&) = delete;
    WriteBack& operator=(const WriteBack&) = delete;
    /// Waits for what it has begun.
    ~WriteBack();

    /// Begins with what is written so far, unless it is at that already.
    void begin(int descriptor);

private:
    std::uint64_t context_ = 0;  // the kernel's aio_context_t; 0 for none
    bool isUnavailable_ = false;
    bool isUnderWay_ = false;
};

}  // namespace qz::internal
