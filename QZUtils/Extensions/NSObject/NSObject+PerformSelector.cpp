#include "Platform/Dispatch/DelayedPerforming.h"
#include "QZUtils/Extensions/NSObject/NSObject+PerformSelector.h"

namespace qz {

void tryToPerformSelector(Receiver self, Selector selector) {
    if (respondsToSelector(self, selector)) {
        performSelector(self, selector);
    }
}

void tryToPerformSelector(Receiver self, Selector selector, const id& withObject) {
    if (respondsToSelector(self, selector)) {
        performSelector(self, selector, withObject);
    }
}

void setNeedsPerformSelector(Receiver self, Selector selector) {
    setNeedsPerformSelector(self, selector, 0.02);
}

void setNeedsPerformSelector(Receiver self, Selector selector, double afterDelay) {
    if (respondsToSelector(self, selector)) {
        cancelDelayedPerformSelector(self, selector);
        performSelectorAfterDelay(self, selector, nullptr, afterDelay);
    }
}

void cancelDelayedPerformSelector(Receiver self, Selector selector) {
    cancelDelayedPerformSelector(self, selector, nullptr);
}

void cancelDelayedPerformSelector(Receiver self, Selector selector, const id& object) {
    cancelPreviousPerformRequests(self, selector, object);
}

void cancelDelayedPerformSelectors(Receiver self) {
    cancelPreviousPerformRequests(self);
}

}  // namespace qz
