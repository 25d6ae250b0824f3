#include "Platform/Dispatch/MainThread.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace qz {

bool isMainThread() noexcept {
    enum class Answer : unsigned char { unknown, yes, no };
    static thread_local Answer answer = Answer::unknown;
    if (answer == Answer::unknown)
        answer = syscall(SYS_gettid) == getpid() ? Answer::yes : Answer::no;
    return answer == Answer::yes;
}

}  // namespace qz
