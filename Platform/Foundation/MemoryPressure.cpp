#include "Platform/Foundation/MemoryPressure.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz {

namespace {

/// Microseconds of waiting in a window of two seconds, the shortest one that every user may ask for.
constexpr std::string_view trigger = "some 150000 2000000";

std::string pressureFileOfControlGroup() {
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        if (line.starts_with("0::")) {
            return "/sys/fs/cgroup" + line.substr(3) + "/memory.pressure";
        }
    }
    return "";
}

internal::FileDescriptor openTrigger() {
    for (const auto& path : {pressureFileOfControlGroup(), std::string("/proc/pressure/memory")}) {
        internal::FileDescriptor file(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        // The kernel wants the terminating zero.
        if (file && ::write(*file, trigger.data(), trigger.size() + 1) >= 0) {
            return file;
        }
    }
    return {};
}

void postWhenPressed(const internal::FileDescriptor& file) {
    pollfd event{*file, POLLPRI, 0};
    while (::poll(&event, 1, -1) >= 0 || errno == EINTR) {
        if ((event.revents & POLLERR) != 0) {
            return;  // the control group is gone
        }
        if ((event.revents & POLLPRI) != 0) {
            DispatchQueue::main().async([] {
                NSNotificationCenter::defaultCenter()->postNotificationName(
                    UIApplicationDidReceiveMemoryWarningNotification, nullptr);
            });
        }
    }
}

}  // namespace

bool MemoryPressure::watch() {
    static const bool isWatching = [] {
        auto file = openTrigger();
        if (!file) {
            return false;
        }
        std::thread([file = std::move(file)] {
            ::pthread_setname_np(::pthread_self(), "qz-pressure");
            sigset_t all;
            ::sigfillset(&all);
            ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
            postWhenPressed(file);
        }).detach();
        return true;
    }();
    return isWatching;
}

}  // namespace qz
