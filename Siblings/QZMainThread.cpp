#include "Siblings/QZMainThread.h"

#include <utility>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/MainThread.h"

namespace qz {

void QZMainThread::run(std::function<void()> block) {
    if (isMainThread()) {
        block();
    } else {
        DispatchQueue::main().async(std::move(block));
    }
}

}  // namespace qz
