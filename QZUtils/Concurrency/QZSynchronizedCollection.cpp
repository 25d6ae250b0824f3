#include "QZUtils/Concurrency/QZSynchronizedCollection.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZSynchronizedCollection, cls) {
    cls.property("synchronizer", &QZSynchronizedCollection::synchronizer,
                 &QZSynchronizedCollection::setSynchronizer);
}

QZSynchronizedCollection::QZSynchronizedCollection(Text label)
    : synchronizer_(ConcurrentSynchronizer::initWithLabel(label.valueOr("QZSynchronizedCollection"))) {}

}  // namespace qz
