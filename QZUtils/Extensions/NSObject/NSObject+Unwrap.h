// Unwrapping: checked conversions of an object to a class or a protocol, and blocks that run only when the
// object is present and of the right kind.
//
//     if (const auto title = unwrapAs<NSString>(dictionary[id("title")])) { … }
//     unwrapAsBlock(value, NSString::cls(), [](const std::string& text) { … });
//     auto port = map(url, [](const Ref<NSURL>& url) { return url->port(); });
//
// Every function takes whatever refers to an object. Given nil it does nothing and yields nil.
//
// A block takes the object as an id, as a Ref to its class, or as what it unboxes to (a block that takes a
// std::string runs with the text of an NSString); NSInvalidArgumentException is raised when the object is not
// of the block's type. What the functions with "map" yield is the block's result: as it is where its type has
// a nil (id, Ref, optional, pointer, Text), in a std::optional otherwise.
//
// "unwrapAs:" is a message, so a class can answer it in its own way: NSNumber does (NSNumber+Map.h).
// unwrapAs(), unwrapAsBlock() and unwrapAsMap() send it; the others ask isKindOfClass() and
// conformsToProtocol(). All may be called from any thread, but not for an object in its dealloc().
#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Method.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"
#include "Platform/Runtime/Value.h"

namespace qz {

namespace internal {

/// Calls a block with the object as the type that it takes. A result that the block refers to is copied: it
/// may lie in what was made for the block.
template <class F>
auto callWithObject(F& block, const id& object) {
    if constexpr (std::invocable<F&, const id&>) {
        return std::invoke(block, object);
    } else {
        using Parameters = typename CallableTraits<std::remove_cvref_t<F>>::Parameters;
        static_assert(std::tuple_size_v<Parameters> == 1, "the block takes the object and nothing else");
        return std::invoke(block,
                           Value::of(object).to<std::remove_cvref_t<std::tuple_element_t<0, Parameters>>>());
    }
}

template <class T>
inline constexpr bool hasNil =
    std::same_as<T, id> || isRef<T> || std::same_as<T, Text> || std::is_pointer_v<T>;
template <class T>
inline constexpr bool hasNil<std::optional<T>> = true;

template <class R>
using OrNil = std::conditional_t<hasNil<R>, R, std::optional<R>>;

/// What map() yields for a block of type F.
template <class F>
using Mapped =
    OrNil<decltype(callWithObject(std::declval<std::remove_reference_t<F>&>(), std::declval<const id&>()))>;

}  // namespace internal

/// Calls the block with the object.
template <class F>
void unwrap(Receiver self, F&& block) {
    if (self) {
        static_cast<void>(internal::callWithObject(block, self.ref()));
    }
}

/// The block's result.
template <class F>
internal::Mapped<F> map(Receiver self, F&& block) {
    return self ? internal::Mapped<F>(internal::callWithObject(block, self.ref())) : internal::Mapped<F>();
}

/// The object if it is an instance of the class or of a subclass, otherwise nil: what it answers to
/// "unwrapAs:".
[[nodiscard]] QZ_EXPORT id unwrapAs(Receiver self, const Class& cls);

/// The same for a C++ class. Null also for an object that was moved into T at run time but is of another C++
/// type.
template <std::derived_from<Object> T>
[[nodiscard]] Ref<T> unwrapAs(Receiver self) {
    return unwrapAs(self, T::cls()).template as<T>();
}

/// Calls the block with what unwrapAs() gives, unless that is nil.
template <class F>
void unwrapAsBlock(Receiver self, const Class& cls, F&& block) {
    unwrap(unwrapAs(self, cls), block);
}

/// The block's result with what unwrapAs() gives, nil when that is nil.
template <class F>
internal::Mapped<F> unwrapAsMap(Receiver self, const Class& cls, F&& block) {
    return map(unwrapAs(self, cls), block);
}

/// The object if it is an instance of any of the classes or of their subclasses, otherwise nil; the classes
/// are tried in order.
[[nodiscard]] QZ_EXPORT id unwrapAsAny(Receiver self,
                                       const std::vector<std::reference_wrapper<const Class>>& classes);

/// The object if it conforms to the protocol, otherwise nil.
[[nodiscard]] QZ_EXPORT id unwrapAsProtocol(Receiver self, const Protocol& protocol);

/// Calls the block with the object if it conforms to the protocol.
template <class F>
void unwrapAsProtocolBlock(Receiver self, const Protocol& protocol, F&& block) {
    unwrap(unwrapAsProtocol(self, protocol), block);
}

/// The object if it conforms to every one of the protocols, and so always if there are none; otherwise nil.
[[nodiscard]] QZ_EXPORT id
unwrapAsProtocols(Receiver self, const std::vector<std::reference_wrapper<const Protocol>>& protocols);

}  // namespace qz
