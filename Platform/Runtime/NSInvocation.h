// NSMethodSignature describes a method's types; NSInvocation holds a message that can be replayed on any
// target.
//
// Both are plain objects for use from one thread at a time. Arguments and result are Values: replaying
// converts them to what each target's method takes, and raises NSInvalidArgumentException where that cannot
// be done.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Value.h"

namespace qz {

class QZ_EXPORT NSMethodSignature : public NSObject {
    QZ_OBJECT(NSMethodSignature, NSObject)
public:
    /// From an encoding such as "v@:@" (Signature.h): result, receiver, selector, arguments. Null when the
    /// text is shorter than "v@:" or has characters that name no type.
    [[nodiscard]] static Ref<NSMethodSignature> signatureWithObjCTypes(std::string_view types);

    [[nodiscard]] const std::string& types() const noexcept { return types_; }
    /// The receiver and the selector count, so it is at least 2.
    [[nodiscard]] std::size_t numberOfArguments() const noexcept { return types_.size() - 1; }
    [[nodiscard]] char methodReturnType() const noexcept { return types_.front(); }
    /// Raises NSInvalidArgumentException when there is no such argument.
    [[nodiscard]] char argumentTypeAtIndex(std::size_t index) const;

protected:
    explicit NSMethodSignature(std::string types) : types_(std::move(types)) {}

private:
    std::string types_;
};

class QZ_EXPORT NSInvocation : public NSObject {
    QZ_OBJECT(NSInvocation, NSObject)
public:
    /// A message without a target. Raises NSInvalidArgumentException when the number of arguments differs
    /// from the signature's.
    [[nodiscard]] static Ref<NSInvocation> invocation(Ref<NSMethodSignature> signature, Selector selector,
                                                      std::vector<Value> arguments = {});

    [[nodiscard]] const Ref<NSMethodSignature>& methodSignature() const noexcept { return signature_; }
    [[nodiscard]] Selector selector() const noexcept { return selector_; }
    [[nodiscard]] const Ref<Object>& target() const noexcept { return target_; }
    void setTarget(Ref<Object> target) { target_ = std::move(target); }

    /// The message's own arguments: index 0 is the one after the first colon.
    [[nodiscard]] std::span<const Value> arguments() const noexcept { return arguments_; }
    void setArgument(std::size_t index, Value value);
    /// What the last invoke left; empty before, and after a method without a result.
    [[nodiscard]] const Value& returnValue() const noexcept { return result_; }
    void setReturnValue(Value value) { result_ = std::move(value); }

    /// Sends the message to target(); nothing happens when that is null.
    void invoke();
    /// Sends the message to another object; target() stays.
    void invokeWithTarget(Receiver target);

protected:
    NSInvocation(Ref<NSMethodSignature> signature, Selector selector, std::vector<Value> arguments)
        : signature_(std::move(signature)), selector_(selector), arguments_(std::move(arguments)) {}

private:
    Ref<NSMethodSignature> signature_;
    Selector selector_;
    Ref<Object> target_;
    std::vector<Value> arguments_;
    Value result_;
};

}  // namespace qz
