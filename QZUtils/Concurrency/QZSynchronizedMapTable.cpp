#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"

#include <utility>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZSynchronizedMapTable, cls) {
    using Self = QZSynchronizedMapTable;
    cls.property("collection", &Self::collection, &Self::setCollection);
    cls.method("count", &Self::count);
    cls.method("objectForKey:", &Self::objectForKey);
    cls.method("setObject:forKey:", &Self::setObjectForKey);
    cls.method("removeObjectForKey:", &Self::removeObjectForKey);
    cls.method("objectForKeyedSubscript:", &Self::objectForKey);
    cls.method("setObject:forKeyedSubscript:", &Self::setObjectForKey);
}

template <class F>
void QZSynchronizedMapTable::write(F&& block) {
    synchronizer()->barrierAsync(
        [self = ref(), this, block = std::forward<F>(block)]() mutable { block(*collection_); });
}

std::size_t QZSynchronizedMapTable::count() const {
    return synchronizer()->sync([&] { return collection_->count(); });
}

id QZSynchronizedMapTable::objectForKey(const id& key) const {
    return synchronizer()->sync([&] { return collection_->objectForKey(key); });
}

void QZSynchronizedMapTable::setObjectForKey(id object, id forKey) {
    write([object = std::move(object), key = std::move(forKey)](NSMapTable& table) mutable {
        table.setObjectForKey(std::move(object), std::move(key));
    });
}

void QZSynchronizedMapTable::removeObjectForKey(id key) {
    write([key = std::move(key)](NSMapTable& table) { table.removeObjectForKey(key); });
}

}  // namespace qz
