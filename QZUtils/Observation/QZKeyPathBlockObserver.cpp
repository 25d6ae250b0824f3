#include "QZUtils/Observation/QZKeyPathBlockObserver.h"

#include <utility>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

QZ_DEFINE_CLASS(QZKeyPathBlockObserver, cls) {
    using Self = QZKeyPathBlockObserver;
    cls.property("object", &Self::object, &Self::setObject);
    cls.property("keyPath", &Self::keyPath, &Self::setKeyPath);
    cls.property("observerBlock", &Self::observerBlock, &Self::setObserverBlock);
    cls.method("observeValueForKeyPath:ofObject:change:context:", &Self::observeValueForKeyPath);
}

QZKeyPathBlockObserver::QZKeyPathBlockObserver(Receiver object, std::string_view keyPath, ObserverBlock block)
    : object_(object.ref()),
      keyPath_(keyPath),
      block_(std::make_shared<const ObserverBlock>(std::move(block))) {}

Ref<QZKeyPathBlockObserver> QZKeyPathBlockObserver::initWithObject(Receiver object, std::string_view keyPath,
                                                                   ObserverBlock observerBlock) {
    auto observer = make<QZKeyPathBlockObserver>(object, keyPath, std::move(observerBlock));
    addObserver(object, observer, keyPath, NSKeyValueObservingOptions::New | NSKeyValueObservingOptions::Old);
    return observer;
}

void QZKeyPathBlockObserver::observeValueForKeyPath(std::string_view, const id& ofObject,
                                                    const Ref<NSDictionary>& change, void*) {
    if (const auto block = block_; *block) {
        (*block)(ofObject, change);
    }
}

void QZKeyPathBlockObserver::dealloc() {
    if (const auto object = object_.lock()) {
        removeObserver(object, *this, keyPath_);
    }
    Super::dealloc();
}

}  // namespace qz
