#include "Platform/Runtime/NSInvocation.h"

#include <string_view>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"

namespace qz {

QZ_DEFINE_CLASS(NSMethodSignature, cls) {
    cls.method("isEqual:", [](const NSMethodSignature& self, const id& other) {
        const auto signature = other.as<NSMethodSignature>();
        return signature && signature->types() == self.types();
    });
    cls.method("hash", [](const NSMethodSignature& self) { return std::hash<std::string>()(self.types()); });
    cls.method("description", [](const NSMethodSignature& self) { return self.types(); });
}

Ref<NSMethodSignature> NSMethodSignature::signatureWithObjCTypes(std::string_view types) {
    constexpr std::string_view known = "vBcsiqCSIQfd@*#:^?";
    if (types.size() < 3 || types.find_first_not_of(known) != std::string_view::npos) {
        return nullptr;
    }
    return make<NSMethodSignature>(std::string(types));
}

char NSMethodSignature::argumentTypeAtIndex(std::size_t index) const {
    if (index >= numberOfArguments()) {
        raise(NSInvalidArgumentException, "a signature of " + std::to_string(numberOfArguments()) +
                                              " arguments has none at index " + std::to_string(index));
    }
    return types_[index + 1];
}

QZ_DEFINE_CLASS(NSInvocation, cls) {
    cls.method("invoke", &NSInvocation::invoke);
}

Ref<NSInvocation> NSInvocation::invocation(Ref<NSMethodSignature> signature, Selector selector,
                                           std::vector<Value> arguments) {
    if (!signature || signature->numberOfArguments() != arguments.size() + 2) {
        raise(NSInvalidArgumentException, "an invocation of " + std::string(selector.name()) +
                                              " needs one argument for each in its signature");
    }
    return make<NSInvocation>(std::move(signature), selector, std::move(arguments));
}

void NSInvocation::setArgument(std::size_t index, Value value) {
    if (index >= arguments_.size()) {
        raise(NSInvalidArgumentException,
              std::string(selector_.name()) + " has no argument at index " + std::to_string(index));
    }
    arguments_[index] = std::move(value);
}

void NSInvocation::invoke() {
    invokeWithTarget(target_);
}

void NSInvocation::invokeWithTarget(Receiver target) {
    if (target) {
        result_ = internal::sendErased(*target, selector_, arguments_);
    }
}

namespace internal {

Value forward(Object& self, Selector selector, std::span<const Value> arguments) {
    const auto signature = self.methodSignatureForSelector(selector);
    if (!signature) {
        raiseUnrecognized(self, selector);
    }
    // What the message really carries counts: a proxy may answer a general signature for messages that it
    // swallows.
    const auto invocation =
        make<NSInvocation>(signature, selector, std::vector<Value>(arguments.begin(), arguments.end()));
    self.forwardInvocation(*invocation);
    return invocation->returnValue();
}

Value sendErased(Object& self, Selector selector, std::span<const Value> arguments) {
    const auto* method = self.isa().instanceMethod(selector);
    return method ? callErased(*method->body, &self, selector, arguments)
                  : forward(self, selector, arguments);
}

Value sendErased(Class& cls, Selector selector, std::span<const Value> arguments) {
    const auto* method = cls.classMethod(selector);
    if (!method) {
        raise(NSInvalidArgumentException, "+[" + cls.name() + " " + std::string(selector.name()) +
                                              "]: unrecognized selector sent to class");
    }
    return callErased(*method->body, &cls, selector, arguments);
}

}  // namespace internal

}  // namespace qz
