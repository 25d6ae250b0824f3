#include "QZUtils/Concurrency/QZSynchronizedMutableArray.h"

#include <mutex>
#include <utility>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZSynchronizedMutableArray, cls) {
    using Self = QZSynchronizedMutableArray;
    cls.property("collection", &Self::collection, &Self::setCollection);
    cls.property("count", &Self::count);
    cls.property("firstObject", &Self::firstObject);
    cls.property("lastObject", &Self::lastObject);
    cls.method("objectAtIndex:", &Self::objectAtIndex);
    cls.method("setObject:atIndex:", &Self::setObjectAtIndex);
    cls.method("addObject:", &Self::addObject);
    cls.method("removeObject:", &Self::removeObject);
    cls.method("objectAtIndexedSubscript:", &Self::objectAtIndex);
    cls.method("setObject:atIndexedSubscript:", &Self::setObjectAtIndex);
}

template <class F>
auto QZSynchronizedMutableArray::read(F&& block) const {
    return synchronizer()->sync([&] {
        const std::shared_lock lock(insertion_);
        return block(*collection_);
    });
}

template <class F>
void QZSynchronizedMutableArray::write(F&& block) {
    synchronizer()->barrierAsync(
        [self = ref(), this, block = std::forward<F>(block)]() mutable { block(*collection_); });
}

std::size_t QZSynchronizedMutableArray::count() const {
    return read([](const NSMutableArray& array) { return array.count(); });
}

id QZSynchronizedMutableArray::firstObject() const {
    return read([](const NSMutableArray& array) { return array.firstObject(); });
}

id QZSynchronizedMutableArray::lastObject() const {
    return read([](const NSMutableArray& array) { return array.lastObject(); });
}

id QZSynchronizedMutableArray::objectAtIndex(std::size_t index) const {
    return read([&](const NSMutableArray& array) { return id(array.objectAtIndex(index)); });
}

void QZSynchronizedMutableArray::setObjectAtIndex(id object, std::size_t atIndex) {
    // One would expect a barrier that replaces; callers rely on an insertion that waits for no reader.
    synchronizer()->sync([&] {
        const std::lock_guard lock(insertion_);
        collection_->insertObjectAtIndex(std::move(object), atIndex);
    });
}

void QZSynchronizedMutableArray::addObject(id object) {
    write(
        [object = std::move(object)](NSMutableArray& array) mutable { array.addObject(std::move(object)); });
}

void QZSynchronizedMutableArray::removeObject(id object) {
    write([object = std::move(object)](NSMutableArray& array) { array.removeObject(object); });
}

}  // namespace qz
