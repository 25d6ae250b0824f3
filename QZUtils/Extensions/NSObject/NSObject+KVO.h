// Observing an object's key paths with blocks instead of an observer class. Nil receivers observe nothing.
//
// Blocks are called on the thread that makes the change. An object's table of observers is for use from one
// thread at a time.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/Observation/QZKeyPathBlockObserver.h"

namespace qz {

class NSMutableDictionary;

/// Observes until the returned observer is released; null for nil.
[[nodiscard]] QZ_EXPORT Ref<QZKeyPathBlockObserver> observeKeyPath(
    Receiver self, std::string_view keyPath, QZKeyPathBlockObserver::ObserverBlock changeHandler);

/// Observes until the entry is removed or replaced, or the object dies. An observer of the same table key is
/// replaced, and is not called any more.
QZ_EXPORT void setBlockObserverForKeyPath(Receiver self, std::string_view keyPath, Text identifier,
                                          QZKeyPathBlockObserver::ObserverBlock observer);
QZ_EXPORT void setBlockObserverForKeyPath(Receiver self, std::string_view keyPath,
                                          QZKeyPathBlockObserver::ObserverBlock observer);
QZ_EXPORT void removeBlockObserverForKeyPath(Receiver self, std::string_view keyPath, Text identifier);
QZ_EXPORT void removeBlockObserverForKeyPath(Receiver self, std::string_view keyPath);
QZ_EXPORT void removeAllBlockObservers(Receiver self);

/// The table itself, from table key to QZKeyPathBlockObserver, made on first use; null for nil.
[[nodiscard]] QZ_EXPORT Ref<NSMutableDictionary> blockObservers(Receiver self);

/// The key path followed directly by the identifier, where nil counts as "". One would expect a separator:
/// without it the key path "a" with the identifier "bc" and "ab" with "c" share one entry, and callers rely
/// on that.
[[nodiscard]] QZ_EXPORT std::string keyWithKeyPath(Receiver self, std::string_view keyPath, Text identifier);

}  // namespace qz
