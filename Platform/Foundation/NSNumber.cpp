#include "Platform/Foundation/NSNumber.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

constexpr double twoTo63 = 9223372036854775808.0;
constexpr double twoTo64 = 18446744073709551616.0;

template <class T>
T saturate(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    constexpr double low = std::is_signed_v<T> ? -twoTo63 : 0.0;
    constexpr double high = std::is_signed_v<T> ? twoTo63 : twoTo64;
    return value < low     ? std::numeric_limits<T>::min()
           : value >= high ? std::numeric_limits<T>::max()
                           : static_cast<T>(value);
}

template <class T>
int order(const T& left, const T& right) {
    return left < right ? -1 : left > right ? 1 : 0;
}

/// Truth values count as integers.
template <class T>
auto withoutBool(T value) {
    if constexpr (std::is_same_v<T, bool>) {
        return std::int64_t{value};
    } else {
        return value;
    }
}

/// Compares an integer with a double exactly: neither is rounded to the other's type.
template <class T>
int orderExactly(T integer, double number) {
    constexpr double high = std::is_signed_v<T> ? twoTo63 : twoTo64;
    if (number >= high) {
        return -1;
    }
    if (std::isnan(number) || number < (std::is_signed_v<T> ? -twoTo63 : 0.0)) {
        return 1;
    }
    const auto truncated = static_cast<T>(number);
    return integer != truncated ? order(integer, truncated) : order(static_cast<double>(truncated), number);
}

template <class T>
std::optional<T> integralValue(const NSNumber& number) {
    return std::visit(
        [](auto value) -> std::optional<T> {
            if constexpr (std::is_same_v<decltype(value), double>) {
                const auto truncated = saturate<T>(value);
                constexpr double high = std::is_signed_v<T> ? twoTo63 : twoTo64;
                const bool exact = value < high && static_cast<double>(truncated) == value;
                return exact ? std::optional<T>(truncated) : std::nullopt;
            } else if constexpr (std::is_same_v<decltype(value), bool>) {
                return value ? 1 : 0;
            } else {
                return std::in_range<T>(value) ? std::optional<T>(static_cast<T>(value)) : std::nullopt;
            }
        },
        number.value());
}

std::size_t hashOf(const NSNumber& number) {
    if (const auto integer = integralValue<std::int64_t>(number)) {
        return std::hash<std::int64_t>()(*integer);
    }
    if (const auto integer = integralValue<std::uint64_t>(number)) {
        return std::hash<std::uint64_t>()(*integer);
    }
    return std::hash<double>()(number.doubleValue());
}

}  // namespace

QZ_DEFINE_CLASS(NSNumber, cls) {
    cls.method("description", &NSNumber::stringValue);
    cls.method("isEqual:", [](const NSNumber& self, const id& other) {
        const auto* number = dynamic_cast<const NSNumber*>(other.get());
        return number && self.compare(*number) == 0;
    });
    cls.method("hash", &hashOf);
    cls.method("stringValue", &NSNumber::stringValue);
    cls.method("boolValue", &NSNumber::boolValue);
    cls.method("intValue", &NSNumber::intValue);
    cls.method("longLongValue", &NSNumber::longLongValue);
    cls.method("unsignedLongLongValue", &NSNumber::unsignedLongLongValue);
    cls.method("doubleValue", &NSNumber::doubleValue);
    cls.method("copy", [](NSNumber& self) { return id(self.ref()); });
}

Ref<NSNumber> NSNumber::number(Storage value) {
    return make<NSNumber>(value);
}

bool NSNumber::boolValue() const noexcept {
    return std::visit([](auto value) { return value != decltype(value){}; }, value_);
}

std::int64_t NSNumber::longLongValue() const noexcept {
    return std::visit(
        [](auto value) {
            if constexpr (std::is_same_v<decltype(value), double>) {
                return saturate<std::int64_t>(value);
            } else {
                return static_cast<std::int64_t>(value);
            }
        },
        value_);
}

std::uint64_t NSNumber::unsignedLongLongValue() const noexcept {
    return std::visit(
        [](auto value) {
            if constexpr (std::is_same_v<decltype(value), double>) {
                return saturate<std::uint64_t>(value);
            } else {
                return static_cast<std::uint64_t>(value);
            }
        },
        value_);
}

std::int32_t NSNumber::intValue() const noexcept {
    return static_cast<std::int32_t>(longLongValue());
}

double NSNumber::doubleValue() const noexcept {
    return std::visit([](auto value) { return static_cast<double>(value); }, value_);
}

std::string NSNumber::stringValue() const {
    return std::visit(
        [](auto value) -> std::string {
            if constexpr (std::is_same_v<decltype(value), bool>) {
                return value ? "1" : "0";
            } else {
                std::array<char, 32> text{};
                const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
                return {text.data(), result.ptr};
            }
        },
        value_);
}

int NSNumber::compare(const NSNumber& other) const noexcept {
    return std::visit(
        [](auto first, auto second) -> int {
            const auto left = withoutBool(first);
            const auto right = withoutBool(second);
            constexpr bool leftIsDouble = std::is_same_v<decltype(first), double>;
            constexpr bool rightIsDouble = std::is_same_v<decltype(second), double>;
            if constexpr (leftIsDouble && rightIsDouble) {
                const bool comparable = !std::isnan(left) && !std::isnan(right);
                return comparable ? order(left, right) : order(!std::isnan(left), !std::isnan(right));
            } else if constexpr (rightIsDouble) {
                return orderExactly(left, right);
            } else if constexpr (leftIsDouble) {
                return -orderExactly(right, left);
            } else {
                return std::cmp_less(left, right) ? -1 : std::cmp_greater(left, right) ? 1 : 0;
            }
        },
        value_, other.value_);
}

namespace internal {

namespace {

const NSNumber* asNumber(const Object& object) {
    return dynamic_cast<const NSNumber*>(&object);
}

}  // namespace

Ref<Object> boxBool(bool value) {
    return NSNumber::number(value);
}
Ref<Object> boxSigned(std::int64_t value) {
    return NSNumber::number(value);
}
Ref<Object> boxUnsigned(std::uint64_t value) {
    return NSNumber::number(value);
}
Ref<Object> boxDouble(double value) {
    return NSNumber::number(value);
}

std::optional<bool> unboxBool(const Object& object) {
    const auto* number = asNumber(object);
    return number ? std::optional(number->boolValue()) : std::nullopt;
}

std::optional<std::int64_t> unboxSigned(const Object& object) {
    const auto* number = asNumber(object);
    return number ? integralValue<std::int64_t>(*number) : std::nullopt;
}

std::optional<std::uint64_t> unboxUnsigned(const Object& object) {
    const auto* number = asNumber(object);
    return number ? integralValue<std::uint64_t>(*number) : std::nullopt;
}

std::optional<double> unboxDouble(const Object& object) {
    const auto* number = asNumber(object);
    return number ? std::optional(number->doubleValue()) : std::nullopt;
}

}  // namespace internal

}  // namespace qz
