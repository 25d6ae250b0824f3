#include "Siblings/QZSDKUtil.h"

#include <atomic>

namespace qz {

namespace {
std::atomic<bool> isEmbedded{false};
}

bool QZSDKUtil::isSDK() noexcept {
    return isEmbedded.load(std::memory_order_relaxed);
}

void QZSDKUtil::setSDK(bool isSDK) noexcept {
    isEmbedded.store(isSDK, std::memory_order_relaxed);
}

}  // namespace qz
