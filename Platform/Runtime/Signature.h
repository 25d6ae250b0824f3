// How the runtime describes C++ signatures: interned lists of argument types, compared by one pointer, and
// the type encodings that signatures are written in.
//
// An encoding is one character a type: v nothing, B bool, c s i q (C S I Q unsigned) integers by size, f d
// floating,
// @ an object, * a text, # a class, : a selector, ^ any pointer, ? anything else. A method's encoding is its
// result, the receiver "@", the selector ":" and the arguments: "v@:@".
#pragma once

#include <atomic>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Value.h"

namespace qz::internal {

/// A list of types; one object a list in the process, so that equal lists are equal pointers.
struct TypeList {
    std::vector<const std::type_info*> types;
};

QZ_EXPORT const TypeList* internTypes(std::initializer_list<const std::type_info*> types);

template <class... T>
inline constinit std::atomic<const TypeList*> typeListCache{nullptr};

template <class... T>
[[nodiscard]] inline const TypeList* typeList() {
    auto& cached = typeListCache<T...>;
    const auto* list = cached.load(std::memory_order_acquire);
    if (!list) [[unlikely]] {
        list = internTypes({&typeid(T)...});
        cached.store(list, std::memory_order_release);
    }
    return list;
}

/// The type that a parameter declared as P is known by: references and const are dropped, a class travels by
/// address.
template <class P>
using Argument =
    std::conditional_t<std::is_same_v<std::remove_cvref_t<P>, Class>, Class*, std::remove_cvref_t<P>>;

/// The type that a value given to send() is known by: literals are views, other arrays decay.
template <class A>
using Sent = std::conditional_t<
    std::is_array_v<std::remove_reference_t<A>> && std::is_same_v<std::decay_t<A>, const char*>,
    std::string_view,
    std::conditional_t<std::is_same_v<std::remove_cvref_t<A>, Class>, Class*, std::decay_t<A>>>;

/// How an argument is handed from the sender to the method's entry: small things by value, the rest by const
/// reference.
template <class T>
using Passed =
    std::conditional_t<std::is_trivially_copyable_v<T> && sizeof(T) <= 2 * sizeof(void*), T, const T&>;

template <class T>
[[nodiscard]] constexpr std::string_view encodingOf() {
    if constexpr (std::is_void_v<T>) {
        return "v";
    } else if constexpr (std::same_as<T, bool>) {
        return "B";
    } else if constexpr (std::same_as<T, id> || isRef<T> || Boxable<T>) {
        return "@";
    } else if constexpr (Texty<T>) {
        return "*";
    } else if constexpr (std::is_enum_v<T>) {
        return encodingOf<std::underlying_type_t<T>>();
    } else if constexpr (std::integral<T>) {
        constexpr std::string_view names = std::is_signed_v<T> ? "csiq" : "CSIQ";
        constexpr std::size_t index = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
        return names.substr(index, 1);
    } else if constexpr (std::floating_point<T>) {
        return sizeof(T) == sizeof(float) ? "f" : "d";
    } else if constexpr (std::same_as<T, Selector>) {
        return ":";
    } else if constexpr (std::same_as<T, Class*> || std::same_as<T, const Class*>) {
        return "#";
    } else if constexpr (std::is_pointer_v<T>) {
        return "^";
    } else {
        return "?";
    }
}

template <class R, class... A>
[[nodiscard]] std::string methodEncoding() {
    std::string text(encodingOf<std::remove_cvref_t<R>>());
    text += "@:";
    (text.append(encodingOf<Argument<A>>()), ...);
    return text;
}

}  // namespace qz::internal
