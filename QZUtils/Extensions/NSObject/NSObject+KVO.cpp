#include <utility>

#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/Extensions/NSObject/NSObject+KVO.h"

namespace qz {

namespace {

constexpr char observersKey = 0;  // its address names the associated value

}  // namespace

Ref<QZKeyPathBlockObserver> observeKeyPath(Receiver self, std::string_view keyPath,
                                           QZKeyPathBlockObserver::ObserverBlock changeHandler) {
    return self ? QZKeyPathBlockObserver::initWithObject(self, keyPath, std::move(changeHandler)) : nullptr;
}

void setBlockObserverForKeyPath(Receiver self, std::string_view keyPath, Text identifier,
                                QZKeyPathBlockObserver::ObserverBlock observer) {
    if (self) {
        auto made = observeKeyPath(self, keyPath, std::move(observer));
        blockObservers(self)->setObjectForKey(std::move(made), keyWithKeyPath(self, keyPath, identifier));
    }
}

void setBlockObserverForKeyPath(Receiver self, std::string_view keyPath,
                                QZKeyPathBlockObserver::ObserverBlock observer) {
    setBlockObserverForKeyPath(self, keyPath, nullptr, std::move(observer));
}

void removeBlockObserverForKeyPath(Receiver self, std::string_view keyPath, Text identifier) {
    if (self) {
        blockObservers(self)->removeObjectForKey(keyWithKeyPath(self, keyPath, identifier));
    }
}

void removeBlockObserverForKeyPath(Receiver self, std::string_view keyPath) {
    removeBlockObserverForKeyPath(self, keyPath, nullptr);
}

void removeAllBlockObservers(Receiver self) {
    if (self) {
        blockObservers(self)->removeAllObjects();
    }
}

Ref<NSMutableDictionary> blockObservers(Receiver self) {
    auto observers = associatedValue(self, &observersKey).as<NSMutableDictionary>();
    if (!observers && self) {
        observers = NSMutableDictionary::dictionary();
        setAssociatedValue(self, &observersKey, observers);
    }
    return observers;
}

std::string keyWithKeyPath(Receiver, std::string_view keyPath, Text identifier) {
    return std::string(keyPath).append(identifier.view());
}

}  // namespace qz
