// DateDecodingStrategy: how dates are read from JSON documents.
//
//     const DateDecodingStrategy seconds([](std::string_view text) { … });
//     const auto date = seconds.decode(document.at("published"));
//
// It reads single values of any JSON library whose values look like those of nlohmann-json, and includes
// none: a program that has no JSON pays nothing. May be used from any thread if the block may.
#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>

#include "Platform/Foundation/DecodingError.h"
#include "Platform/Foundation/NSDate.h"

namespace qz {

/// A value of a JSON document.
template <class T>
concept JSONValue = requires(const T& value) {
    { value.is_string() } -> std::convertible_to<bool>;
    { value.template get_ref<const std::string&>() } -> std::convertible_to<std::string_view>;
    { value.type_name() } -> std::convertible_to<std::string>;
};

class DateDecodingStrategy {
public:
    /// Makes a date of a text, or throws DecodingError.
    using Custom = std::function<Ref<NSDate>(std::string_view text)>;

    explicit DateDecodingStrategy(Custom custom) : custom_(std::move(custom)) {}

    /// Throws DecodingError: TypeMismatch for a value that is no text, else what the block throws.
    template <JSONValue Value>
    [[nodiscard]] Ref<NSDate> decode(const Value& value) const {
        if (!value.is_string()) {
            throw DecodingError(DecodingError::Kind::TypeMismatch,
                                "Expected a string but found " + std::string(value.type_name()));
        }
        return custom_(value.template get_ref<const std::string&>());
    }
    [[nodiscard]] Ref<NSDate> decode(std::string_view text) const { return custom_(text); }

private:
    Custom custom_;
};

}  // namespace qz
