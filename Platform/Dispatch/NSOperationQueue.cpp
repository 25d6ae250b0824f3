#include "Platform/Dispatch/NSOperationQueue.h"

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/NSBlockOperation.h"
#include "Platform/Dispatch/internal/OperationScheduler.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

using detail::OperationScheduler;

QZ_DEFINE_CLASS(NSOperationQueue, cls) {
    cls.classMethod("mainQueue", [](Class&) { return mainQueue(); });
    cls.classMethod("currentQueue", [](Class&) { return currentQueue(); });
    cls.method("addOperation:", &NSOperationQueue::addOperation);
    cls.method("addOperationWithBlock:", &NSOperationQueue::addOperationWithBlock);
    cls.property("operations", [](const NSOperationQueue& self) {
        const auto list = self.operations();
        return id(NSArray::arrayWithObjects(std::vector<id>(list.begin(), list.end())));
    });
    cls.property("operationCount", &NSOperationQueue::operationCount);
    cls.dependsOn("operationCount", {"operations"});
    cls.method("cancelAllOperations", &NSOperationQueue::cancelAllOperations);
    cls.method("waitUntilAllOperationsAreFinished",
               [](const NSOperationQueue& self) { self.waitUntilAllOperationsAreFinished(); });
    cls.property("maxConcurrentOperationCount", &NSOperationQueue::maxConcurrentOperationCount,
                 &NSOperationQueue::setMaxConcurrentOperationCount);
    cls.propertyWithGetter("suspended", "isSuspended", &NSOperationQueue::isSuspended,
                           &NSOperationQueue::setSuspended);
    cls.property("name", &NSOperationQueue::name, &NSOperationQueue::setName);
}

NSOperationQueue::NSOperationQueue() : NSOperationQueue(false) {}

NSOperationQueue::NSOperationQueue(bool isMain)
    : scheduler_(isMain ? std::make_shared<OperationScheduler>(DispatchQueue::main(), 1)
                        : std::make_shared<OperationScheduler>(
                              DispatchQueue::global(), NSOperationQueueDefaultMaxConcurrentOperationCount)),
      isMainQueue_(isMain) {}

void NSOperationQueue::dealloc() {
    scheduler_->goOnAlone();
    Super::dealloc();
}

Ref<NSOperationQueue> NSOperationQueue::mainQueue() {
    static const auto& queue = *new Ref<NSOperationQueue>([] {
        auto made = make<NSOperationQueue>(true);
        made->setName("main");
        return made;
    }());
    return queue;
}

Ref<NSOperationQueue> NSOperationQueue::currentQueue() {
    if (const auto* scheduler = OperationScheduler::current()) {
        return scheduler->queue();
    }
    return isMainThread() ? mainQueue() : nullptr;
}

void NSOperationQueue::addOperation(const Ref<NSOperation>& operation) {
    if (!operation) {
        raise(NSInvalidArgumentException, "a queue cannot take a null operation");
    }
    scheduler_->add(operation, std::static_pointer_cast<NSOperationQueue>(ref()));
}

void NSOperationQueue::addOperations(const std::vector<Ref<NSOperation>>& operations,
                                     bool waitUntilFinished) {
    for (const auto& operation : operations) {
        addOperation(operation);
    }
    if (waitUntilFinished) {
        for (const auto& operation : operations) {
            operation->waitUntilFinished();
        }
    }
}

void NSOperationQueue::addOperationWithBlock(std::function<void()> block) {
    addOperation(NSBlockOperation::blockOperationWithBlock(std::move(block)));
}

std::vector<Ref<NSOperation>> NSOperationQueue::operations() const {
    return scheduler_->operations();
}

std::size_t NSOperationQueue::operationCount() const {
    return scheduler_->count();
}

void NSOperationQueue::cancelAllOperations() {
    for (const auto& operation : operations()) {
        operation->cancel();
    }
}

void NSOperationQueue::waitUntilAllOperationsAreFinished() const {
    static_cast<void>(waitUntilAllOperationsAreFinished({}));
}

bool NSOperationQueue::waitUntilAllOperationsAreFinished(const std::stop_token& stop) const {
    return scheduler_->waitUntilEmpty(stop);
}

std::int64_t NSOperationQueue::maxConcurrentOperationCount() const {
    return scheduler_->maxConcurrentOperationCount();
}

void NSOperationQueue::setMaxConcurrentOperationCount(std::int64_t count) {
    if (count < NSOperationQueueDefaultMaxConcurrentOperationCount) {
        raise(NSInvalidArgumentException,
              "a queue cannot run " + std::to_string(count) + " operations at the same time");
    }
    if (!isMainQueue_) {
        changing(*this, "maxConcurrentOperationCount",
                 [&] { scheduler_->setMaxConcurrentOperationCount(count); });
    }
}

bool NSOperationQueue::isSuspended() const {
    return scheduler_->isSuspended();
}

void NSOperationQueue::setSuspended(bool suspended) {
    if (!isMainQueue_) {
        changing(*this, "suspended", [&] { scheduler_->setSuspended(suspended); });
    }
}

std::string NSOperationQueue::name() const {
    return scheduler_->name();
}

void NSOperationQueue::setName(std::string_view name) {
    changing(*this, "name", [&] { scheduler_->setName(name); });
}

}  // namespace qz
