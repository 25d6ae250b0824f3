// Implementation: a block that can serve as a method, and Method: one that a class has under a selector.
//
// An Implementation is made implicitly from any callable whose first parameter is the receiver:
//     Implementation greet = [](Reader& self, std::string_view name) { return "Hello " + std::string(name);
//     }; auto text = greet.call<std::string>(*reader, "you");
// It is a cheap handle to an immutable, shared body: it can be called from any thread, and concurrently.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Raise.h"
#include "Platform/Runtime/Selector.h"
#include "Platform/Runtime/Signature.h"
#include "Platform/Runtime/Value.h"

namespace qz {

namespace internal {

/// What every implementation has. `self` is the Object*, or the Class* on the class side.
struct QZ_EXPORT MethodBody {
    using Entry = void (*)();
    using ErasedEntry = Value (*)(const MethodBody&, void* self, Selector, std::span<const Value> arguments);

    const TypeList* arguments = nullptr;  // null: takes whatever is sent, through the erased entry only
    const TypeList* result = nullptr;
    std::size_t argumentCount = 0;
    std::string encoding;
    Entry typed = nullptr;    // R (*)(const MethodBody&, void* self, Passed<A>...)
    Entry discard = nullptr;  // void (*)(const MethodBody&, void* self, Passed<A>...)
    ErasedEntry erased = nullptr;
    Class& (*receiverClass)() = nullptr;  // the class that the receiver must be of; null for any
    bool forClasses = false;              // the receiver is a Class, not an Object

    MethodBody() = default;
    MethodBody(const MethodBody&) = delete;
    MethodBody& operator=(const MethodBody&) = delete;
    virtual ~MethodBody();
};

template <class F>
struct CallableTraits : CallableTraits<decltype(&F::operator())> {
    static constexpr bool hasExplicitReceiver = true;
};
template <class R, class... A>
struct CallableTraits<R (*)(A...)> {
    using Result = R;
    using Parameters = std::tuple<A...>;
    static constexpr bool hasExplicitReceiver = true;
};
template <class R, class... A>
struct CallableTraits<R (*)(A...) noexcept> : CallableTraits<R (*)(A...)> {};

template <class T, class R, class... A>
struct MemberTraits {
    using Owner = T;
    using Result = R;
    using Parameters = std::tuple<A...>;
    static constexpr bool hasExplicitReceiver = false;
};
template <class T, class R, class... A>
struct CallableTraits<R (T::*)(A...)> : MemberTraits<T, R, A...> {};
template <class T, class R, class... A>
struct CallableTraits<R (T::*)(A...) const> : MemberTraits<T, R, A...> {};
template <class T, class R, class... A>
struct CallableTraits<R (T::*)(A...) noexcept> : MemberTraits<T, R, A...> {};
template <class T, class R, class... A>
struct CallableTraits<R (T::*)(A...) const noexcept> : MemberTraits<T, R, A...> {};

/// The classes of receivers: their own cls(), and none for the root that everything derives from.
template <class T>
[[nodiscard]] constexpr auto receiverClassOf() -> Class& (*)() {
    if constexpr (std::is_same_v<T, Object> || std::is_same_v<T, Class>) {
        return nullptr;
    } else {
        return &T::cls;
    }
}

/// Turns the untyped receiver into what the callable's first parameter asks for.
template <class P>
struct ReceiverAs {
    using Type = std::remove_cvref_t<P>;
    static_assert(
        std::is_lvalue_reference_v<P> && (std::is_base_of_v<Object, Type> || std::is_same_v<Type, Class>),
        "the first parameter of a method's block is its receiver, a reference to an object or a class");
    /// An object that has moved into this class was constructed as another one: what C++ notes of it differs.
    __attribute__((no_sanitize("vptr"))) static P from(void* self) {
        if constexpr (std::is_same_v<Type, Class>) {
            return *static_cast<Class*>(self);
        } else {
            return static_cast<P>(*static_cast<Object*>(self));
        }
    }
};

/// A non-const reference cannot be replayed to several receivers, nor converted: results travel through
/// pointers.
template <class P>
inline constexpr bool isPassable =
    !std::is_lvalue_reference_v<P> || std::is_const_v<std::remove_reference_t<P>> ||
    std::is_same_v<std::remove_cvref_t<P>, Class>;

template <class P>
[[nodiscard]] decltype(auto) handOver(const Argument<P>& argument) {
    if constexpr (std::is_same_v<std::remove_cvref_t<P>, Class>) {
        return static_cast<P>(*argument);
    } else if constexpr (std::is_rvalue_reference_v<P>) {
        return std::remove_cvref_t<P>(argument);
    } else {
        return (argument);
    }
}

/// A callable with receiver type Self, result R and parameters P....
template <class F, class Self, class R, class... P>
struct CallableBody final : MethodBody {
    static_assert((isPassable<P> && ...), "a method takes results through pointers, not through references");

    explicit CallableBody(F callable) : callable_(std::move(callable)) {
        arguments = typeList<Argument<P>...>();
        result = typeList<std::remove_cvref_t<R>>();
        argumentCount = sizeof...(P);
        encoding = methodEncoding<R, P...>();
        typed = reinterpret_cast<Entry>(&callTyped);
        discard = reinterpret_cast<Entry>(&callDiscarding);
        erased = &callErased;
        receiverClass = receiverClassOf<std::remove_cvref_t<Self>>();
        forClasses = std::is_same_v<std::remove_cvref_t<Self>, Class>;
    }

    static R invoke(const MethodBody& body, void* self, const Argument<P>&... argument) {
        const auto& callable = static_cast<const CallableBody&>(body).callable_;
        return std::invoke(callable, ReceiverAs<Self>::from(self), handOver<P>(argument)...);
    }
    static std::remove_cvref_t<R> callTyped(const MethodBody& body, void* self,
                                            Passed<Argument<P>>... argument) {
        return invoke(body, self, argument...);
    }
    static void callDiscarding(const MethodBody& body, void* self, Passed<Argument<P>>... argument) {
        static_cast<void>(invoke(body, self, argument...));
    }
    static Value callErased(const MethodBody& body, void* self, Selector selector,
                            std::span<const Value> values) {
        return callErased(body, self, selector, values, std::index_sequence_for<P...>());
    }

private:
    template <std::size_t... I>
    static Value callErased(const MethodBody& body, void* self, [[maybe_unused]] Selector selector,
                            [[maybe_unused]] std::span<const Value> values, std::index_sequence<I...>) {
        // Every argument is converted before the call, so that a mismatch is raised by a method that has not
        // begun.
        [[maybe_unused]] const Value::Place places[] = {{selector, I}..., {}};
        const std::tuple<Argument<P>...> converted{values[I].template to<Argument<P>>(&places[I])...};
        if constexpr (std::is_void_v<R>) {
            invoke(body, self, std::get<I>(converted)...);
            return Value();
        } else {
            return Value::of(invoke(body, self, std::get<I>(converted)...));
        }
    }

    F callable_;
};

template <class F, class R, class Parameters>
struct BodyFromExplicit;
template <class F, class R, class Self, class... P>
struct BodyFromExplicit<F, R, std::tuple<Self, P...>> {
    using Type = CallableBody<F, Self, R, P...>;
};
template <class F, class Self, class R, class Parameters>
struct BodyFromMember;
template <class F, class Self, class R, class... P>
struct BodyFromMember<F, Self, R, std::tuple<P...>> {
    using Type = CallableBody<F, Self&, R, P...>;
};

/// Makes the body of a callable with an explicit receiver, or of a member function for receivers of class T.
template <class T = void, class F>
[[nodiscard]] std::shared_ptr<const MethodBody> makeBody(F&& callable) {
    using Callable = std::decay_t<F>;
    using Traits = CallableTraits<Callable>;
    if constexpr (Traits::hasExplicitReceiver) {
        using Body =
            typename BodyFromExplicit<Callable, typename Traits::Result, typename Traits::Parameters>::Type;
        return std::make_shared<const Body>(std::forward<F>(callable));
    } else {
        using Self = std::conditional_t<std::is_void_v<T>, typename Traits::Owner, T>;
        using Body = typename BodyFromMember<Callable, Self, typename Traits::Result,
                                             typename Traits::Parameters>::Type;
        return std::make_shared<const Body>(std::forward<F>(callable));
    }
}

/// Calls a body whose types are known to match.
template <class R, class... A>
inline R callTypedEntry(MethodBody::Entry entry, const MethodBody& body, void* self, const A&... arguments) {
    using Typed = R (*)(const MethodBody&, void*, Passed<A>...);
    return reinterpret_cast<Typed>(entry)(body, self, arguments...);
}

/// Reads a result as what the sender asked for: void drops it, and no value reads as a default one.
template <class R>
[[nodiscard]] R resultAs(const Value& value) {
    if constexpr (!std::is_void_v<R>) {
        return value.isEmpty() ? R() : value.to<R>();
    }
}

/// Calls through the erased entry, converting the arguments; raises where their number or kinds do not fit.
QZ_EXPORT Value callErased(const MethodBody& body, void* self, Selector selector,
                           std::span<const Value> arguments);

/// Raises NSInvalidArgumentException when a body was made for receivers of another class.
QZ_EXPORT void checkReceiver(const MethodBody& body, const Object& self);

/// How send() hands an argument on: a class travels by address.
template <class A>
[[nodiscard]] decltype(auto) asSent(A& argument) {
    if constexpr (std::is_same_v<std::remove_const_t<A>, Class>) {
        return const_cast<Class*>(&argument);
    } else {
        return (argument);
    }
}

}  // namespace internal

class QZ_EXPORT Implementation {
public:
    template <class F>
    requires(!std::is_same_v<std::remove_cvref_t<F>, Implementation> &&
             !std::is_convertible_v<F, std::shared_ptr<const internal::MethodBody>>)
        Implementation(F&& callable)
        : body_(internal::makeBody(std::forward<F>(callable))) {}
    explicit Implementation(std::shared_ptr<const internal::MethodBody> body) : body_(std::move(body)) {}

    /// What stands in for a method that no class has: calling it forwards the message, or raises.
    [[nodiscard]] static Implementation forwarding(Selector selector);

    /// Calls it on a receiver with the checks and conversions of send(). R must be default-constructible or
    /// void.
    template <class R = void, class... A>
    R call(Object& self, A&&... arguments) const;

    [[nodiscard]] const std::string& typeEncoding() const noexcept { return body_->encoding; }
    [[nodiscard]] const std::shared_ptr<const internal::MethodBody>& body() const noexcept { return body_; }

private:
    std::shared_ptr<const internal::MethodBody> body_;
};

/// A method of a class; immutable, and alive until the process ends.
struct QZ_EXPORT Method {
    // The first line of the cache holds all that a send needs.
    Selector selector;
    const internal::TypeList* arguments = nullptr;
    const internal::TypeList* result = nullptr;
    const internal::MethodBody* body =
        nullptr;  // null in the entry that remembers that a class lacks a method
    internal::MethodBody::Entry typed = nullptr;
    internal::MethodBody::Entry discard = nullptr;

    std::shared_ptr<const internal::MethodBody> owned;
    std::string typeEncoding;

    Method(Selector name, std::shared_ptr<const internal::MethodBody> implementation, std::string encoding);
    /// The entry for "no such method".
    explicit Method(Selector name) : selector(name) {}

    [[nodiscard]] Implementation implementation() const { return Implementation(owned); }
};

template <class R, class... A>
R Implementation::call(Object& self, A&&... arguments) const {
    const auto& body = *body_;
    internal::checkReceiver(body, self);
    if (body.arguments == internal::typeList<internal::Sent<A>...>()) {
        if (body.result == internal::typeList<R>()) {
            return internal::callTypedEntry<R, internal::Sent<A>...>(body.typed, body, &self,
                                                                     internal::asSent(arguments)...);
        }
        if constexpr (std::is_void_v<R>) {
            return internal::callTypedEntry<void, internal::Sent<A>...>(body.discard, body, &self,
                                                                        internal::asSent(arguments)...);
        }
    }
    const std::array<Value, sizeof...(A)> values{Value::of(internal::asSent(arguments))...};
    return internal::resultAs<R>(internal::callErased(body, &self, Selector(), values));
}

}  // namespace qz
