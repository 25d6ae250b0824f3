#include "Platform/Runtime/Value.h"

#include <cxxabi.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

namespace {

std::string readableName(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return name ? name.get() : type.name();
}

/// A double that is exactly an integer of type T.
template <class T>
std::optional<T> exactly(double value) {
    const double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
    const bool inside = std::is_signed_v<T> ? value >= -limit && value < limit : value >= 0 && value < limit;
    return inside && std::trunc(value) == value ? std::optional<T>(static_cast<T>(value)) : std::nullopt;
}

}  // namespace

id Value::toObject() const {
    return std::visit(
        [](const auto& held) -> id {
            using T = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<T, std::monostate> || std::is_same_v<T, Pointer> ||
                          std::is_same_v<T, std::any>) {
                return nullptr;
            } else if constexpr (std::is_same_v<T, Selector>) {
                return held.name();
            } else if constexpr (std::is_same_v<T, Class*>) {
                return held ? id(held->name()) : id();
            } else {
                return held;
            }
        },
        storage_);
}

std::optional<std::int64_t> Value::toSigned() const {
    if (const auto* number = std::get_if<std::int64_t>(&storage_)) {
        return *number;
    }
    if (const auto* number = std::get_if<std::uint64_t>(&storage_)) {
        return std::in_range<std::int64_t>(*number) ? std::optional<std::int64_t>(*number) : std::nullopt;
    }
    if (const auto* number = std::get_if<double>(&storage_)) {
        return exactly<std::int64_t>(*number);
    }
    if (const auto* truth = std::get_if<bool>(&storage_)) {
        return *truth ? 1 : 0;
    }
    const auto* object = std::get_if<Ref<Object>>(&storage_);
    return object ? unbox<std::int64_t>(*object) : std::nullopt;
}

std::optional<std::uint64_t> Value::toUnsigned() const {
    if (const auto* number = std::get_if<std::uint64_t>(&storage_)) {
        return *number;
    }
    if (const auto* number = std::get_if<double>(&storage_)) {
        return exactly<std::uint64_t>(*number);
    }
    if (const auto* object = std::get_if<Ref<Object>>(&storage_)) {
        return unbox<std::uint64_t>(*object);
    }
    const auto number = toSigned();
    return number && *number >= 0 ? std::optional<std::uint64_t>(*number) : std::nullopt;
}

std::optional<double> Value::toDouble() const {
    if (const auto* number = std::get_if<double>(&storage_)) {
        return *number;
    }
    if (const auto* number = std::get_if<std::uint64_t>(&storage_)) {
        return static_cast<double>(*number);
    }
    if (const auto* object = std::get_if<Ref<Object>>(&storage_)) {
        return unbox<double>(*object);
    }
    const auto number = toSigned();
    return number ? std::optional<double>(static_cast<double>(*number)) : std::nullopt;
}

std::optional<bool> Value::toBool() const {
    if (const auto* truth = std::get_if<bool>(&storage_)) {
        return *truth;
    }
    if (const auto* object = std::get_if<Ref<Object>>(&storage_)) {
        return unbox<bool>(*object);
    }
    const auto number = toDouble();
    return number ? std::optional<bool>(*number != 0) : std::nullopt;
}

std::optional<Text> Value::toText() const {
    if (const auto* text = std::get_if<std::string>(&storage_)) {
        return Text(*text);
    }
    if (const auto* object = std::get_if<Ref<Object>>(&storage_)) {
        const auto* string = dynamic_cast<const NSString*>(object->get());
        return string ? std::optional<Text>(Text(string->string())) : std::nullopt;
    }
    return isEmpty() ? std::optional<Text>(Text()) : std::nullopt;
}

std::optional<void*> Value::toPointer(const std::type_info& element) const {
    if (const auto* pointer = std::get_if<Pointer>(&storage_)) {
        const bool fits = element == typeid(void) || element == *pointer->type;
        return fits ? std::optional<void*>(pointer->address) : std::nullopt;
    }
    return isEmpty() ? std::optional<void*>(nullptr) : std::nullopt;
}

std::optional<Ref<Object>> Value::toReference() const {
    if (std::holds_alternative<Pointer>(storage_) || std::holds_alternative<std::any>(storage_) ||
        std::holds_alternative<Selector>(storage_) || std::holds_alternative<Class*>(storage_)) {
        return std::nullopt;
    }
    return toObject().ref();
}

void Value::refuse(const std::type_info& wanted, const Place* place) const {
    static constexpr const char* kinds[] = {"nil",        "an object", "an integer", "an unsigned integer",
                                            "a double",   "a bool",    "a text",     "a pointer",
                                            "a selector", "a class",   "a C++ value"};
    static_assert(std::size(kinds) == std::variant_size_v<Storage>);
    std::string what = kinds[storage_.index()];
    if (const auto* object = std::get_if<Ref<Object>>(&storage_)) {
        what = "an object of class " + (*object)->isa().name();
    } else if (const auto* any = std::get_if<std::any>(&storage_)) {
        what = "a " + readableName(any->type());
    }
    const auto where = place ? "argument " + std::to_string(place->index + 1) + " of " +
                                   std::string(place->selector.name()) + ": "
                             : std::string();
    raise(NSInvalidArgumentException, where + what + " cannot be taken as " + readableName(wanted));
}

}  // namespace qz
