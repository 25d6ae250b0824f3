// NSNumber: a number or a truth value as an object. `id` boxes C++ numbers into it; unbox<T>() goes back and
// answers nullopt for what T cannot hold. Numbers of one value are equal and hash alike, whatever type they
// were made from.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT NSNumber : public NSObject {
    QZ_OBJECT(NSNumber, NSObject)
public:
    using Storage = std::variant<bool, std::int64_t, std::uint64_t, double>;

    [[nodiscard]] static Ref<NSNumber> number(Storage value);

    /// The value with the type it was made from, widened.
    [[nodiscard]] const Storage& value() const noexcept { return value_; }
    [[nodiscard]] bool isBool() const noexcept { return std::holds_alternative<bool>(value_); }
    [[nodiscard]] bool isDouble() const noexcept { return std::holds_alternative<double>(value_); }

    /// Conversions in the manner of C, saturating where C leaves them undefined; NaN reads as 0.
    [[nodiscard]] bool boolValue() const noexcept;
    [[nodiscard]] std::int64_t longLongValue() const noexcept;
    [[nodiscard]] std::uint64_t unsignedLongLongValue() const noexcept;
    /// longLongValue() truncated to its low 32 bits.
    [[nodiscard]] std::int32_t intValue() const noexcept;
    [[nodiscard]] double doubleValue() const noexcept;
    /// The shortest text that reads back as the same number; "1" and "0" for truth values.
    [[nodiscard]] std::string stringValue() const;

    /// Below, equal or above zero. NaN orders below every other number.
    [[nodiscard]] int compare(const NSNumber& other) const noexcept;

protected:
    explicit NSNumber(Storage value) noexcept : value_(value) {}

private:
    Storage value_;
};

}  // namespace qz
