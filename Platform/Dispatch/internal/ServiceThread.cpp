#include "Platform/Dispatch/internal/ServiceThread.h"

#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>

namespace qz::detail {

bool startServiceThread(void* (*run)(void*), void* context) noexcept {
    // A new thread inherits the mask of its maker. Faults of the thread itself must still reach their
    // handlers.
    sigset_t masked;
    sigset_t before;
    sigfillset(&masked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF})
        sigdelset(&masked, fault);
    pthread_sigmask(SIG_SETMASK, &masked, &before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, run, context) == 0;
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

void endForException(const char* label) noexcept {
    try {
        throw;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "qz: an exception left a block of the queue \"%s\": %s\n", label,
                     exception.what());
        std::terminate();
    } catch (...) {
        std::fprintf(stderr, "qz: something that is no std::exception left a block of the queue \"%s\"\n",
                     label);
        std::terminate();
    }
}

void endForLackOfThreads() noexcept {
    std::fputs("qz: the system has no thread to run submitted blocks\n", stderr);
    std::abort();
}

}  // namespace qz::detail
