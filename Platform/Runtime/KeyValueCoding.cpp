#include "Platform/Runtime/KeyValueCoding.h"

#include <string>

#include "Platform/Runtime/KeyValueDefaults.h"
#include "Platform/Runtime/Raise.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace internal {

namespace {

[[noreturn]] void raiseUndefined(const Object& self, std::string_view key) {
    raise(NSUndefinedKeyException, descriptionOf(self) + " has no key " + std::string(key));
}

}  // namespace

id defaultValueForKey(Object& self, std::string_view key) {
    const auto* property = self.isa().property(key);
    if (!property && key.find(':') != std::string_view::npos) {
        raiseUndefined(self, key);
    }
    const auto getter = property ? property->getter : Selector(key);
    if (!self.respondsToSelector(getter)) {
        raiseUndefined(self, key);
    }
    return sendErased(self, getter, {}).toObject();
}

void defaultSetValueForKey(Object& self, const id& value, std::string_view key) {
    const auto* property = self.isa().property(key);
    if (!property || !property->setter) {
        raiseUndefined(self, key);
    }
    send(self, property->setter, value);
}

}  // namespace internal

id valueForKey(Receiver self, std::string_view key) {
    return send<id>(self, "valueForKey:"_sel, key);
}

void setValueForKey(Receiver self, const id& value, std::string_view key) {
    send(self, "setValue:forKey:"_sel, value, key);
}

id valueForKeyPath(Receiver self, std::string_view keyPath) {
    const auto dot = keyPath.find('.');
    const auto value = valueForKey(self, keyPath.substr(0, dot));
    return dot == std::string_view::npos || !value ? value : valueForKeyPath(value, keyPath.substr(dot + 1));
}

void setValueForKeyPath(Receiver self, const id& value, std::string_view keyPath) {
    const auto dot = keyPath.rfind('.');
    if (dot == std::string_view::npos) {
        setValueForKey(self, value, keyPath);
    } else {
        setValueForKey(valueForKeyPath(self, keyPath.substr(0, dot)), value, keyPath.substr(dot + 1));
    }
}

}  // namespace qz
