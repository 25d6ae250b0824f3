// ClassBuilder: what a class says about itself to the runtime, in its source file.
//
//     QZ_DEFINE_CLASS(Reader, cls) {
//         cls.method("open:", &Reader::open);
//         cls.classMethod("defaultReader", [](Class& receiver) { … });
//         cls.property("title", &Reader::title, &Reader::setTitle);
//         cls.adopts<QZDownloadDelegate>();
//     }
//
// The body runs once, when the class is first used. It may name private members. It must not use the class
// itself (its cls(), its objects), only the builder.
//
// A category adds operations to a class that is defined elsewhere, as if its body stood at the end of the
// class's own:
//
//     QZ_DEFINE_CATEGORY(NSNumber, Map, cls) {
//         cls.method("unwrapAs:", [](NSNumber& self, const Class& wanted) -> id { … });
//     }
//
// It must be loaded before the class is first used, so it belongs into a program or a library that it is
// linked with; a plug-in calls Class::addMethod().
#pragma once

#include <cctype>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Platform/Runtime/Class.h"

namespace qz {

namespace internal {

/// Counts the operations of a protocol that a class has, at compile time.
template <class T>
struct OperationCounter {
    using Type = T;
    int count = 0;
    template <class F>
    constexpr void method(std::string_view, F) {
        ++count;
    }
};

template <class P, class T>
consteval int operationCount() {
    OperationCounter<T> counter;
    P::declare(counter);
    return counter.count;
}

}  // namespace internal

struct ClassRealizer {
    /// Makes the class of a node; raises NSInvalidArgumentException when its name is taken.
    QZ_EXPORT static Class& allocate(internal::ClassNode& node, Class* superclass, std::size_t instanceSize,
                                     Ref<Object> (*factory)());
    QZ_EXPORT static void publish(Class& cls);
};

template <class T>
class ClassBuilder {
public:
    using Type = T;

    /// An operation: a member function of T, or a block whose first parameter is a T&. Raises when given
    /// twice.
    template <class F>
    void method(std::string_view selector, F implementation) {
        add(selector, cls_.instances_, internal::makeBody<T>(std::move(implementation)));
    }
    /// A class operation: a block whose first parameter is the receiving Class&.
    template <class F>
    void classMethod(std::string_view selector, F implementation) {
        add(selector, cls_.class_, internal::makeBody(std::move(implementation)));
    }

    /// A property with its accessors, which become the operations `name` and `setName:`.
    template <class Get>
    void property(std::string_view name, Get get) {
        propertyWithGetter(name, name, get);
    }
    template <class Get, class Set>
    void property(std::string_view name, Get get, Set set) {
        propertyWithGetter(name, name, get, set);
    }
    /// A property whose getter has a name of its own: propertyWithGetter("cancelled", "isCancelled", …).
    template <class Get>
    void propertyWithGetter(std::string_view name, std::string_view getter, Get get) {
        addProperty(name, getter, get, Selector());
    }
    template <class Get, class Set>
    void propertyWithGetter(std::string_view name, std::string_view getter, Get get, Set set) {
        std::string setter = "set" + std::string(name) + ":";
        setter[3] = static_cast<char>(std::toupper(static_cast<unsigned char>(setter[3])));
        method(setter, set);
        addProperty(name, getter, get, Selector(setter));
    }
    /// Says that `name`, declared before, changes whenever one of `keys` does.
    void dependsOn(std::string_view name, std::initializer_list<std::string_view> keys) {
        for (auto& property : cls_.properties_) {
            if (property->name == name) {
                auto copy = *property;
                copy.dependsOn.assign(keys.begin(), keys.end());
                property = std::make_unique<const Property>(std::move(copy));
                return;
            }
        }
        raise(NSInvalidArgumentException, "the property " + std::string(name) + " is not declared");
    }

    /// Adopts a protocol and registers those of its operations that T has.
    template <class P>
    void adopts() {
        if constexpr (requires(ClassBuilder & builder) { P::declare(builder); }) {
            static_assert(
                internal::operationCount<P, T>() > 0,
                "the class has none of the protocol's operations: are they public and not overloaded?");
            P::declare(*this);
        }
        cls_.addProtocol(P::protocol());
    }

    /// Makes and publishes the class; what cls() calls once.
    [[nodiscard]] static Class& realize(internal::ClassNode& node) {
        Class* superclass = nullptr;
        if constexpr (!std::is_same_v<typename T::Super, Object>) {
            superclass = &T::Super::cls();
        }
        Ref<Object> (*factory)() = nullptr;
        if constexpr (!std::is_abstract_v<T>) {
            if constexpr (std::is_default_constructible_v<Final<T>>) {
                factory = []() -> Ref<Object> { return make<T>(); };
            }
        }
        ClassBuilder builder(ClassRealizer::allocate(node, superclass, sizeof(T), factory));
        T::defineClass(builder);
        internal::defineCategories(node, &builder);
        ClassRealizer::publish(builder.cls_);
        return builder.cls_;
    }

private:
    explicit ClassBuilder(Class& cls) : cls_(cls) {}

    void add(std::string_view selector, internal::MethodSide& side,
             std::shared_ptr<const internal::MethodBody> body) {
        if (!cls_.addMethod(side, Selector(selector), Implementation(std::move(body)), std::nullopt)) {
            raise(NSInvalidArgumentException,
                  "class " + cls_.name() + " defines the operation " + std::string(selector) + " twice");
        }
    }
    template <class Get>
    void addProperty(std::string_view name, std::string_view getter, Get get, Selector setter) {
        auto body = internal::makeBody<T>(std::move(get));
        const auto encoding = body->encoding.substr(0, 1);
        add(getter, cls_.instances_, std::move(body));
        cls_.addProperty({std::string(name), encoding, Selector(getter), setter, {}});
    }

    Class& cls_;
};

/// Defines the class of a C++ type under its own name, or under another text. Stands in the type's namespace.
#define QZ_DEFINE_CLASS(Type, builder) QZ_DEFINE_CLASS_NAMED(Type, #Type, builder)
#define QZ_DEFINE_CLASS_NAMED(Type, text, builder)                                    \
    constinit ::qz::internal::ClassNode Type::classNode_{text, &Type::cls};           \
    const bool Type::classLinked_ = ::qz::internal::linkClass(Type::classNode_);      \
    ::qz::Class& Type::cls() {                                                        \
        static ::qz::Class& instance = ::qz::ClassBuilder<Type>::realize(classNode_); \
        return instance;                                                              \
    }                                                                                 \
    void Type::defineClass([[maybe_unused]] ::qz::ClassBuilder<Type>& builder)

/// Defines what a category adds to the class of a C++ type. Stands at namespace scope in a source file. An
/// operation that the class or another category of it has already is an error that cls() raises.
#define QZ_DEFINE_CATEGORY(Type, Category, builder)                                                       \
    static void define##Type##Category(::qz::ClassBuilder<Type>& builder);                                \
    static constinit ::qz::internal::CategoryNode node##Type##Category{                                   \
        &Type::cls,                                                                                       \
        [](void* untyped) { define##Type##Category(*static_cast<::qz::ClassBuilder<Type>*>(untyped)); }}; \
    [[maybe_unused]] static const bool linked##Type##Category =                                           \
        ::qz::internal::linkCategory(node##Type##Category);                                               \
    static void define##Type##Category([[maybe_unused]] ::qz::ClassBuilder<Type>& builder)

}  // namespace qz
