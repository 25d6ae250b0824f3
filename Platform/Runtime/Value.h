// Value: one argument or result of a message whose types are only known at run time.
//
// A Value keeps what it was given as one of a few canonical kinds (object, integer, double, bool, text,
// pointer, selector, class) or, for any other copyable type, as itself. Reading it back converts between
// kinds where nothing is lost (int to long, text to NSString, a number to NSNumber and back) and raises
// NSInvalidArgumentException otherwise.
#pragma once

#include <any>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <variant>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"
#include "Platform/Runtime/Text.h"

namespace qz {

namespace internal {

template <class T>
inline constexpr bool isRef = false;
template <class T>
inline constexpr bool isRef<std::shared_ptr<T>> = std::is_base_of_v<Object, std::remove_const_t<T>>;

template <class T>
concept Texty = std::same_as<T, std::string> || std::same_as<T, std::string_view> || std::same_as<T, Text> ||
    std::same_as<T, const char*> || std::same_as<T, char*>;

template <class T>
concept Integerlike = (std::integral<T> && !std::same_as<T, bool>) || std::is_enum_v<T>;

}  // namespace internal

class QZ_EXPORT Value {
public:
    /// No value: what a method without a result leaves, and nil.
    Value() noexcept = default;

    template <class T>
    [[nodiscard]] static Value of(T&& value);

    /// Where a value stands in a message, for the text of the exception.
    struct Place {
        Selector selector;
        std::size_t index = 0;
    };

    /// The value as a T. A text that is read as a view lives as long as this Value.
    template <class T>
    [[nodiscard]] T to(const Place* place = nullptr) const;

    [[nodiscard]] bool isEmpty() const noexcept { return std::holds_alternative<std::monostate>(storage_); }
    /// The value in an id: boxed where it is not an object; nil for kinds that no object can hold.
    [[nodiscard]] id toObject() const;

private:
    struct Pointer {
        void* address;
        const std::type_info* type;
    };
    using Storage = std::variant<std::monostate, Ref<Object>, std::int64_t, std::uint64_t, double, bool,
                                 std::string, Pointer, Selector, Class*, std::any>;

    explicit Value(Storage storage) : storage_(std::move(storage)) {}

    // Each answers nullopt where the value cannot be read so.
    [[nodiscard]] std::optional<std::int64_t> toSigned() const;
    [[nodiscard]] std::optional<std::uint64_t> toUnsigned() const;
    [[nodiscard]] std::optional<double> toDouble() const;
    [[nodiscard]] std::optional<bool> toBool() const;
    [[nodiscard]] std::optional<Text> toText() const;
    [[nodiscard]] std::optional<void*> toPointer(const std::type_info& element) const;
    [[nodiscard]] std::optional<Ref<Object>> toReference() const;
    [[noreturn]] void refuse(const std::type_info& wanted, const Place* place) const;

    Storage storage_;
};

template <class T>
Value Value::of(T&& value) {
    using U = std::decay_t<T>;
    if constexpr (std::same_as<U, Value>) {
        return std::forward<T>(value);
    } else if constexpr (std::same_as<U, std::nullptr_t>) {
        return Value();
    } else if constexpr (std::same_as<U, id>) {
        return value ? Value(Storage(value.ref())) : Value();
    } else if constexpr (internal::isRef<U>) {
        using Element = std::remove_const_t<typename U::element_type>;
        return value ? Value(Storage(Ref<Object>(std::const_pointer_cast<Element>(value)))) : Value();
    } else if constexpr (internal::Texty<U>) {
        const Text text(value);
        return text ? Value(Storage(std::string(text.view()))) : Value();
    } else if constexpr (std::same_as<U, bool>) {
        return Value(Storage(value));
    } else if constexpr (std::is_enum_v<U>) {
        return Value::of(static_cast<std::underlying_type_t<U>>(value));
    } else if constexpr (std::signed_integral<U>) {
        return Value(Storage(static_cast<std::int64_t>(value)));
    } else if constexpr (std::unsigned_integral<U>) {
        return Value(Storage(static_cast<std::uint64_t>(value)));
    } else if constexpr (std::floating_point<U>) {
        return Value(Storage(static_cast<double>(value)));
    } else if constexpr (std::same_as<U, Selector>) {
        return Value(Storage(value));
    } else if constexpr (std::same_as<U, Class*> || std::same_as<U, const Class*>) {
        return Value(Storage(const_cast<Class*>(value)));
    } else if constexpr (std::is_pointer_v<U> && !std::is_function_v<std::remove_pointer_t<U>>) {
        using Element = std::remove_cv_t<std::remove_pointer_t<U>>;
        return Value(Storage(Pointer{const_cast<Element*>(value), &typeid(Element)}));
    } else if constexpr (Boxable<U>) {
        return Value(Storage(Boxing<U>::box(value)));
    } else {
        static_assert(std::copy_constructible<U>, "an argument that is captured for later must be copyable");
        return Value(Storage(std::any(std::forward<T>(value))));
    }
}

template <class T>
T Value::to(const Place* place) const {
    static_assert(std::same_as<T, std::remove_cvref_t<T>>);
    if constexpr (std::same_as<T, Value>) {
        return *this;
    } else if constexpr (std::is_enum_v<T>) {
        return static_cast<T>(to<std::underlying_type_t<T>>(place));
    } else if constexpr (std::same_as<T, id>) {
        if (const auto object = toReference()) {
            return *object;
        }
    } else if constexpr (internal::isRef<T>) {
        if (const auto object = toReference()) {
            auto typed = std::dynamic_pointer_cast<typename T::element_type>(*object);
            if (typed || !*object) {
                return typed;
            }
        }
    } else if constexpr (internal::Texty<T>) {
        if (const auto text = toText()) {
            if constexpr (std::same_as<T, Text>) {
                return *text;
            } else if constexpr (std::is_pointer_v<T>) {
                static_assert(std::same_as<T, const char*>, "a text is not handed out for writing");
                return text->view().data();
            } else {
                return T(text->view());
            }
        }
    } else if constexpr (std::same_as<T, bool>) {
        if (const auto truth = toBool()) {
            return *truth;
        }
    } else if constexpr (std::signed_integral<T>) {
        if (const auto number = toSigned(); number && std::in_range<T>(*number)) {
            return static_cast<T>(*number);
        }
    } else if constexpr (std::unsigned_integral<T>) {
        if (const auto number = toUnsigned(); number && std::in_range<T>(*number)) {
            return static_cast<T>(*number);
        }
    } else if constexpr (std::floating_point<T>) {
        if (const auto number = toDouble()) {
            return static_cast<T>(*number);
        }
    } else if constexpr (std::same_as<T, Selector>) {
        if (const auto* selector = std::get_if<Selector>(&storage_)) {
            return *selector;
        }
    } else if constexpr (std::same_as<T, Class*> || std::same_as<T, const Class*>) {
        if (const auto* cls = std::get_if<Class*>(&storage_)) {
            return *cls;
        }
    } else if constexpr (std::is_pointer_v<T> && !std::is_function_v<std::remove_pointer_t<T>>) {
        if (const auto address = toPointer(typeid(std::remove_cv_t<std::remove_pointer_t<T>>))) {
            return static_cast<T>(*address);
        }
    } else {
        if (const auto* any = std::get_if<std::any>(&storage_)) {
            if (const auto* same = std::any_cast<T>(any)) {
                return *same;
            }
        }
        if constexpr (Boxable<T>) {
            if (auto unboxed = unbox<T>(toObject())) {
                return *std::move(unboxed);
            }
        }
        if constexpr (std::default_initializable<T>) {
            if (isEmpty()) {
                return T();
            }
        }
    }
    refuse(typeid(T), place);
}

}  // namespace qz
