#include "Interruptions.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "Command.h"
#include "Platform/Dispatch/DispatchQueue.h"

namespace qz::tool {

namespace {

sigset_t takenSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGINT);
    ::sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace

Interruptions::Interruptions(std::function<void()> onFirst) {
    // This thread alone takes the signals: the others were started with them blocked.
    std::thread([onFirst = std::move(onFirst)] {
        const auto signals = takenSignals();
        int number = 0;
        ::sigwait(&signals, &number);
        DispatchQueue::main().async(onFirst);
        ::sigwait(&signals, &number);
        ::_exit(interrupted);
    }).detach();
}

void Interruptions::block() {
    const auto signals = takenSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace qz::tool
