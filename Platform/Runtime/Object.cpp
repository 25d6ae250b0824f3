#include "Platform/Runtime/Object.h"

#include <array>
#include <cinttypes>
#include <cstdio>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/KeyValueDefaults.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/ObjectExtras.h"
#include "Platform/Runtime/Send.h"

namespace qz {

Object::~Object() {
    delete extras_.load(std::memory_order_acquire);
}

std::string Object::description() const {
    return send<std::string>(*this, "description"_sel);
}

bool Object::isEqual(const id& other) const {
    return other && send<bool>(*this, "isEqual:"_sel, other);
}

std::size_t Object::hash() const {
    return send<std::size_t>(*this, "hash"_sel);
}

bool Object::respondsToSelector(Selector selector) const {
    return isa().instancesRespondToSelector(selector);
}

bool Object::isKindOfClass(const Class& cls) const {
    return isa().isSubclassOf(cls);
}

bool Object::conformsToProtocol(const Protocol& protocol) const {
    return isa().conformsToProtocol(protocol);
}

Ref<NSMethodSignature> Object::methodSignatureForSelector(Selector selector) const {
    const auto* method = isa().instanceMethod(selector);
    return method ? NSMethodSignature::signatureWithObjCTypes(method->body->encoding) : nullptr;
}

void Object::forwardInvocation(NSInvocation& invocation) {
    internal::raiseUnrecognized(*this, invocation.selector());
}

void internal::raiseUnrecognized(const Object& self, Selector selector) {
    raise(NSInvalidArgumentException, "-[" + self.isa().name() + " " + std::string(selector.name()) +
                                          "]: unrecognized selector sent to " + descriptionOf(self));
}

void Object::deallocDispatched() {
    // A class that the object was moved into may define "dealloc"; no class of the library registers its own.
    if (const auto* method = isa().instanceMethod("dealloc"_sel)) {
        method->implementation().call(*this);
    }
    dealloc();
}

namespace {

std::string addressDescription(const Object& self) {
    std::array<char, 32> address{};
    std::snprintf(address.data(), address.size(), ": 0x%" PRIxPTR ">",
                  reinterpret_cast<std::uintptr_t>(&self));
    return "<" + self.isa().name() + address.data();
}

/// What both roots answer; every other class inherits or replaces it.
template <class Root>
void defineRoot(ClassBuilder<Root>& cls) {
    cls.method("description", [](const Root& self) { return addressDescription(self); });
    cls.method("isEqual:", [](const Root& self, const id& other) { return other.get() == &self; });
    cls.method("hash", [](const Root& self) { return std::hash<const void*>()(&self); });
    cls.method("valueForKey:",
               [](Root& self, std::string_view key) { return internal::defaultValueForKey(self, key); });
    cls.method("setValue:forKey:", [](Root& self, const id& value, std::string_view key) {
        internal::defaultSetValueForKey(self, value, key);
    });
}

}  // namespace

QZ_DEFINE_CLASS(NSObject, cls) {
    defineRoot(cls);
}
QZ_DEFINE_CLASS(NSProxy, cls) {
    defineRoot(cls);
}

bool respondsToSelector(Receiver self, Selector selector) {
    return self && self->respondsToSelector(selector);
}

std::string descriptionOf(Receiver self) {
    return self ? self->description() : "(null)";
}

bool isKindOfClass(Receiver self, const Class& cls) {
    return self && self->isKindOfClass(cls);
}

bool id::equals(const id& other) const {
    return object_ == other.object_ || (object_ && other.object_ && object_->isEqual(other));
}

}  // namespace qz
