// send: a message to an object or a class, dispatched at run time.
//
//     send(*reader, "onDownloadFinished:"_sel, download);
//     auto text = send<std::string>(*object, "description"_sel);
//
// The method is looked up in the receiver's class, so overrides and methods added at run time are found.
// Where the types of the arguments and of the result are exactly the method's, a send is a table look-up and
// a call; where they differ they are converted (Value.h), and NSInvalidArgumentException is raised if that
// cannot be done without loss. A message that no method was found for is offered to forwardInvocation(), and
// NSInvalidArgumentException is raised when the receiver has no signature for it. A nil receiver does nothing
// and yields a default result. R is void or default-constructible.
#pragma once

#include <array>
#include <span>
#include <type_traits>
#include <utility>

#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Method.h"

namespace qz {

namespace internal {

/// A send that did not match to the letter: converts, forwards or raises.
QZ_EXPORT Value sendErased(Object& self, Selector selector, std::span<const Value> arguments);
QZ_EXPORT Value sendErased(Class& cls, Selector selector, std::span<const Value> arguments);
/// Offers a message that the object's class has no method for to the object's forwarding; raises when it
/// knows none.
[[noreturn]] void raiseUnrecognized(const Object& self, Selector selector);
Value forward(Object& self, Selector selector, std::span<const Value> arguments);

template <class R, class Target, class... A>
R sendTo(Target& target, const Method* method, Selector selector, A&... arguments) {
    static_assert((!std::is_base_of_v<Object, std::remove_cvref_t<A>> && ...), "objects are sent as Ref<T>");
    if (method && method->arguments == typeList<Sent<A&>...>()) [[likely]] {
        if (method->result == typeList<R>()) [[likely]] {
            return callTypedEntry<R, Sent<A&>...>(method->typed, *method->body, &target,
                                                  asSent(arguments)...);
        }
        if constexpr (std::is_void_v<R>) {
            return callTypedEntry<void, Sent<A&>...>(method->discard, *method->body, &target,
                                                     asSent(arguments)...);
        }
    }
    const std::array<Value, sizeof...(A)> values{Value::of(asSent(arguments))...};
    return resultAs<R>(sendErased(target, selector, values));
}

}  // namespace internal

template <class R = void, class... A>
R send(Receiver self, Selector selector, A&&... arguments) {
    auto* object = self.get();
    if (!object) {
        return R();
    }
    return internal::sendTo<R>(*object, object->isa().instanceMethod(selector), selector, arguments...);
}

template <class R = void, class... A>
R send(Class& cls, Selector selector, A&&... arguments) {
    return internal::sendTo<R>(cls, cls.classMethod(selector), selector, arguments...);
}

/// A send whose look-up starts at the given class instead of the receiver's: how an override calls what it
/// overrides.
template <class R = void, class... A>
R sendSuper(Receiver self, Class& start, Selector selector, A&&... arguments) {
    auto* object = self.get();
    if (!object) {
        return R();
    }
    const auto* method = start.instanceMethod(selector);
    return (method ? method->implementation() : Implementation::forwarding(selector))
        .template call<R>(*object, std::forward<A>(arguments)...);
}

}  // namespace qz
