// Object: the root of everything that has a class, receives messages and can be held in an `id`.
//
// NSObject is the root of ordinary classes, NSProxy of those that expose nothing of their own. Ownership is
// the standard library's: Ref<T> is std::shared_ptr<T>, a weak reference is std::weak_ptr<T>. Objects are
// made by `make<T>(…)`, never on the stack; when the last reference goes, dealloc() runs while the object is
// still whole, then the destructor.
//
// Every object has a class, isa(): the declared class of its C++ type until it is moved into another one.
// description(), isEqual() and hash() dispatch through isa(), so that an override made at run time is seen by
// every caller; any other direct C++ call bypasses such overrides, and what must be overridable is reached by
// send() (Send.h).
//
// Reading isa() and sending are safe from any thread. An object's own state is as thread-safe as its class
// says.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "Platform/Export.h"
#include "Platform/Runtime/Selector.h"

namespace qz {

class Class;
class NSInvocation;
class NSMethodSignature;
class Object;
class Protocol;
class id;
template <class T>
class ClassBuilder;

template <class T>
using Ref = std::shared_ptr<T>;

/// Moves an object into another class (Class.h).
QZ_EXPORT Class& setClass(Object& object, Class& cls);

namespace internal {
struct ClassNode;
struct ObjectExtras;
}  // namespace internal

class QZ_EXPORT Object : public std::enable_shared_from_this<Object> {
public:
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object();

    /// The class that messages are looked up in.
    [[nodiscard]] Class& isa() const {
        auto* cls = isa_.load(std::memory_order_acquire);
        return cls ? *cls : declaredClass();
    }
    /// The class of the C++ type, whatever the object was moved into.
    [[nodiscard]] virtual Class& declaredClass() const = 0;

    /// What "%@" prints; "<Class: address>" unless a class says better. Dispatches through isa().
    [[nodiscard]] std::string description() const;
    /// Value equality, identity unless a class says better; false for nil. Dispatches through isa().
    [[nodiscard]] bool isEqual(const id& other) const;
    /// Equal objects have equal hashes. Dispatches through isa().
    [[nodiscard]] std::size_t hash() const;

    /// The next four are what a proxy answers in the name of others.
    [[nodiscard]] virtual bool respondsToSelector(Selector selector) const;
    [[nodiscard]] virtual bool isKindOfClass(const Class& cls) const;
    [[nodiscard]] virtual bool conformsToProtocol(const Protocol& protocol) const;
    /// The signature of the method that a message would run; null when there is none.
    [[nodiscard]] virtual Ref<NSMethodSignature> methodSignatureForSelector(Selector selector) const;
    /// Called with a message that no method was found for but methodSignatureForSelector() knew. The base
    /// raises NSInvalidArgumentException.
    virtual void forwardInvocation(NSInvocation& invocation);

    /// A strong reference to this object. Must not be called inside dealloc() or a constructor.
    [[nodiscard]] Ref<Object> ref() { return shared_from_this(); }

protected:
    Object() noexcept = default;

    /// Runs once, after the last reference went and before the destructor. Nothing may take a new strong
    /// reference to the object here. Overrides end with Super::dealloc().
    virtual void dealloc() {}

private:
    friend class Class;
    friend Class& setClass(Object& object, Class& cls);
    friend struct internal::ObjectExtras;
    template <class T>
    friend struct Final;

    /// Runs the dealloc() of a class that the object was moved into, then the C++ one.
    void deallocDispatched();

    std::atomic<Class*> isa_{nullptr};  // null while the object is being constructed
    std::atomic<internal::ObjectExtras*> extras_{nullptr};
};

/// Declares what the runtime needs; the first line of a class: `QZ_OBJECT(Reader, NSObject)`. Its source file
/// says QZ_DEFINE_CLASS(Reader, cls) { … } (ClassBuilder.h). What follows the macro is private.
#define QZ_OBJECT(Type, Base)                                   \
public:                                                         \
    using Super = Base;                                         \
    [[nodiscard]] static ::qz::Class& cls();                    \
    [[nodiscard]] ::qz::Class& declaredClass() const override { \
        return Type::cls();                                     \
    }                                                           \
                                                                \
private:                                                        \
    friend class ::qz::ClassBuilder<Type>;                      \
    static void defineClass(::qz::ClassBuilder<Type>& builder); \
    static ::qz::internal::ClassNode classNode_;                \
    static const bool classLinked_;

/// The root of ordinary classes.
class QZ_EXPORT NSObject : public Object {
    QZ_OBJECT(NSObject, Object)
protected:
    NSObject() noexcept = default;
};

/// The root of proxies: a class below it answers the messages that it declares or forwards, and raises for
/// all others.
class QZ_EXPORT NSProxy : public Object {
    QZ_OBJECT(NSProxy, Object)
protected:
    NSProxy() noexcept = default;
};

/// The most derived type of every object: its destructor runs dealloc() while the object is still whole.
template <class T>
struct Final final : T {
    Final() = default;
    template <class First, class... A>
    explicit Final(First&& first, A&&... arguments)
        : T(std::forward<First>(first), std::forward<A>(arguments)...) {}
    Final(const Final&) = delete;
    Final& operator=(const Final&) = delete;
    ~Final() override { this->deallocDispatched(); }

    template <class... A>
    [[nodiscard]] static Ref<T> make(A&&... arguments) {
        auto object = std::make_shared<Final>(std::forward<A>(arguments)...);
        object->isa_.store(&T::cls(), std::memory_order_relaxed);
        return object;
    }
};

/// Makes an object of class T. The one way to make one.
template <class T, class... A>
[[nodiscard]] Ref<T> make(A&&... arguments) {
    return Final<T>::make(std::forward<A>(arguments)...);
}

/// The object a function works on, made implicitly from whatever refers to one: Ref<T>, T*, T&, id or
/// nullptr. It does not own the object: use it as a parameter only.
class Receiver {
public:
    constexpr Receiver(std::nullptr_t) noexcept {}
    template <class T>
    requires std::is_base_of_v<Object, T> Receiver(const Ref<T>& object)
    noexcept : object_(const_cast<std::remove_const_t<T>*>(object.get())) {}
    template <class T>
    requires std::is_base_of_v<Object, T> Receiver(T* object)
    noexcept : object_(const_cast<std::remove_const_t<T>*>(object)) {}
    template <class T>
    requires std::is_base_of_v<Object, T> Receiver(T& object)
    noexcept : object_(const_cast<std::remove_const_t<T>*>(&object)) {}
    Receiver(const id& object) noexcept;

    [[nodiscard]] Object* get() const noexcept { return object_; }
    [[nodiscard]] Object& operator*() const noexcept { return *object_; }
    [[nodiscard]] Object* operator->() const noexcept { return object_; }
    [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }
    /// A strong reference; null for nil.
    [[nodiscard]] Ref<Object> ref() const { return object_ ? object_->ref() : nullptr; }

private:
    Object* object_ = nullptr;
};

/// A strong reference to an object that is at hand as const.
template <class T>
[[nodiscard]] Ref<T> refTo(const T& object) {
    return std::static_pointer_cast<T>(const_cast<T&>(object).ref());
}

/// Nil-safe forms of the questions above.
[[nodiscard]] QZ_EXPORT bool respondsToSelector(Receiver self, Selector selector);
/// "(null)" for nil.
[[nodiscard]] QZ_EXPORT std::string descriptionOf(Receiver self);
[[nodiscard]] QZ_EXPORT bool isKindOfClass(Receiver self, const Class& cls);

/// What becomes of a value that is attached to an object: held strongly, copied (NSCopying) and held, or held
/// weakly.
enum class AssociationPolicy { Retain, Copy, Weak };

/// Attaches a value to an object under the address `key`; nil removes it. The object releases it when it
/// dies. Safe from any thread. Nothing happens for a nil receiver.
QZ_EXPORT void setAssociatedValue(Receiver self, const void* key, id value,
                                  AssociationPolicy policy = AssociationPolicy::Retain);
/// The attached value; nil when there is none or it was held weakly and is gone.
[[nodiscard]] QZ_EXPORT id associatedValue(Receiver self, const void* key);

}  // namespace qz
