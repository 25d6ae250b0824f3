// id: a reference to any object, or nil, with implicit boxing.
//
// Strings become NSString, numbers and booleans NSNumber, and other C++ values what Boxing<T> says.
// `unbox<T>(value)` goes back and answers nullopt for nil or another kind. An id owns its object like the Ref
// it holds.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

/// How a C++ type travels in an id: a specialisation has `static Ref<Object> box(const T&)` and
/// `static std::optional<T> unbox(const Object&)`.
template <class T>
struct Boxing;

template <class T>
concept Boxable = requires(const T& value, const Object& object) {
    { Boxing<T>::box(value) } -> std::convertible_to<Ref<Object>>;
    { Boxing<T>::unbox(object) } -> std::same_as<std::optional<T>>;
};

namespace internal {
QZ_EXPORT Ref<Object> boxText(std::string text);
QZ_EXPORT Ref<Object> boxBool(bool value);
QZ_EXPORT Ref<Object> boxSigned(std::int64_t value);
QZ_EXPORT Ref<Object> boxUnsigned(std::uint64_t value);
QZ_EXPORT Ref<Object> boxDouble(double value);
QZ_EXPORT std::optional<std::string> unboxText(const Object& object);
QZ_EXPORT std::optional<bool> unboxBool(const Object& object);
QZ_EXPORT std::optional<std::int64_t> unboxSigned(const Object& object);
QZ_EXPORT std::optional<std::uint64_t> unboxUnsigned(const Object& object);
QZ_EXPORT std::optional<double> unboxDouble(const Object& object);
}  // namespace internal

class QZ_EXPORT id {
public:
    id() noexcept = default;
    id(std::nullptr_t) noexcept {}
    template <class T>
    requires std::derived_from<T, Object> id(Ref<T> object)
    noexcept : object_(std::move(object)) {}
    id(const char* text) : id(Text(text)) {}
    id(Text text) : object_(text ? internal::boxText(std::string(text.view())) : nullptr) {}
    id(std::string_view text) : object_(internal::boxText(std::string(text))) {}
    id(std::string text) : object_(internal::boxText(std::move(text))) {}
    template <std::same_as<bool> T>
    id(T value) : object_(internal::boxBool(value)) {}
    template <std::signed_integral T>
    id(T value) : object_(internal::boxSigned(value)) {}
    template <std::unsigned_integral T>
    requires(!std::same_as<T, bool>) id(T value) : object_(internal::boxUnsigned(value)) {}
    template <std::floating_point T>
    id(T value) : object_(internal::boxDouble(static_cast<double>(value))) {}
    template <Boxable T>
    id(const T& value) : object_(Boxing<T>::box(value)) {}

    [[nodiscard]] Object* get() const noexcept { return object_.get(); }
    [[nodiscard]] Object* operator->() const noexcept { return object_.get(); }
    [[nodiscard]] Object& operator*() const noexcept { return *object_; }
    [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }
    [[nodiscard]] const Ref<Object>& ref() const noexcept { return object_; }

    /// The object as a T, null for nil or an object of another C++ type.
    template <class T>
    [[nodiscard]] Ref<T> as() const {
        return std::dynamic_pointer_cast<T>(object_);
    }

    /// Value equality (isEqual); two nils are equal. Compare get() for identity.
    [[nodiscard]] friend bool operator==(const id& left, const id& right) { return left.equals(right); }

private:
    [[nodiscard]] bool equals(const id& other) const;

    Ref<Object> object_;
};

inline Receiver::Receiver(const id& object) noexcept : object_(object.get()) {}

/// The C++ value in a box: nullopt for nil, for another kind, and for a number outside the range of T.
template <class T>
[[nodiscard]] std::optional<T> unbox(const id& value) {
    if (!value) {
        return std::nullopt;
    }
    if constexpr (std::same_as<T, std::string>) {
        return internal::unboxText(*value);
    } else if constexpr (std::same_as<T, bool>) {
        return internal::unboxBool(*value);
    } else if constexpr (std::floating_point<T>) {
        const auto number = internal::unboxDouble(*value);
        return number ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
    } else if constexpr (std::signed_integral<T>) {
        const auto number = internal::unboxSigned(*value);
        return number && std::in_range<T>(*number) ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
    } else if constexpr (std::unsigned_integral<T>) {
        const auto number = internal::unboxUnsigned(*value);
        return number && std::in_range<T>(*number) ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
    } else {
        static_assert(Boxable<T>, "unbox<T>: T has no Boxing<T>");
        return Boxing<T>::unbox(*value);
    }
}

}  // namespace qz

/// Ids hash by value, as they compare.
template <>
struct std::hash<qz::id> {
    std::size_t operator()(const qz::id& value) const { return value ? value->hash() : 0; }
};
