// Waiting without blocking: a coroutine that waits for a notification, and an observer that ends by itself.
#include <QZUtils/QZUtils.h>

#include <iostream>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Siblings/QZTuple.h"

namespace {

/// Fulfilled with the title of the first issue that arrives.
qz::Ref<qz::QZPromise> firstTitle() {
    const qz::id arrived = co_await qz::NSNotificationCenterClass::observeOnceObject("IssueArrived", nullptr);
    const auto userInfo = arrived.as<qz::QZTuple>()->objectAtIndex(1).as<qz::NSDictionary>();
    co_return userInfo->objectForKey("title");
}

}  // namespace

int main() {
    const auto title = firstTitle();
    qz::ObserveOnce("IssueArrived", nullptr, [](const auto&) { std::cout << "an issue has arrived\n"; });

    // Two issues arrive; both of the above are for the first.
    qz::NSTimer::scheduledTimerWithTimeIntervalBlock(0.01, false, [](const auto& timer) {
        for (const auto* name : {"Morning", "Evening"}) {
            qz::post(timer, "IssueArrived", qz::NSDictionary::dictionary({{"title", name}}));
        }
    });
    if (!title->wait()) {
        return 1;
    }
    std::cout << "its title is " << qz::descriptionOf(title->value()) << '\n';
    return qz::descriptionOf(title->value()) == "Morning" ? 0 : 1;
}
