// stringWithFormat: a text from a printf format and typed arguments, "%@" for objects included.
//
//     stringWithFormat("%@: %ld of %5.1f%%", name, count, share)
//
// Every argument carries its own type, so a format that does not fit its arguments prints something readable
// and never reads what is not there: formats from translations and settings are as safe as literals.
//
//  * "%@" prints an object's description, "(null)" for nil, a text as it is, a number in its shortest form.
//  * d i u o x X c C s S p a e f g A E F G, the flags - + blank # 0, width, precision, `*`, the length
//    modifiers hh h l ll q j z t L and positions ("%2$@") mean what they mean in C, in the C locale. An
//    integer is printed with all its digits, whatever modifier stands there, unless hh or h narrows it.
//  * A conversion converts where that is natural: integers print as %f, characters and numbers in objects as
//    %d. Any other argument prints as "%@" prints it.
//  * A missing argument prints "(missing)"; superfluous ones are ignored; %n writes nothing and skips its
//    argument; what is no conversion is printed as it stands.
//  * Widths and precisions are bounded by maximumFormatWidth. Precisions of texts count bytes.
//
// Costs one allocation for the result, none for the arguments. Safe from any thread. What an argument's
// description() throws is passed on.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "Platform/Export.h"
#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"
#include "Platform/Runtime/Text.h"
#include "Platform/Runtime/Value.h"

namespace qz {

/// The widest field and the longest precision that a format is granted.
inline constexpr int maximumFormatWidth = 4096;

/// One argument of a format: what it is and where it stands. It owns nothing and must not outlive what it was
/// made from.
class FormatArgument {
public:
    enum class Kind : std::uint8_t {
        Nil,
        Object,
        Text,
        CString,     // measured when it is printed, so that "%p" and "%.*s" do not need its end
        WideString,  // UTF-16 or UTF-32 units up to a zero or to the given count
        Boolean,
        Character,
        Signed,
        Unsigned,
        Double,
        LongDouble,
        Pointer,
        Described  // a value that makes its text itself
    };

    template <class T>
    explicit FormatArgument(const T& value);

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    /// The bytes of an integer's own type, or of one unit of a wide string.
    [[nodiscard]] std::size_t unitSize() const noexcept { return unitSize_; }
    [[nodiscard]] const Object& object() const noexcept { return *object_; }
    [[nodiscard]] std::string_view text() const noexcept {
        return {static_cast<const char*>(memory_.address), memory_.count};
    }
    /// Where a text of any kind, or what a pointer points to, stands.
    [[nodiscard]] const void* address() const noexcept { return memory_.address; }
    /// The units of a wide string, npos when a zero ends it.
    [[nodiscard]] std::size_t unitCount() const noexcept { return memory_.count; }
    /// The two readings of an integer's 64 bits.
    [[nodiscard]] std::int64_t signedValue() const noexcept { return static_cast<std::int64_t>(integer_); }
    [[nodiscard]] std::uint64_t unsignedValue() const noexcept { return integer_; }
    [[nodiscard]] double doubleValue() const noexcept { return double_; }
    [[nodiscard]] long double longDoubleValue() const noexcept { return longDouble_; }
    [[nodiscard]] std::string describe() const { return described_.function(described_.value); }

private:
    struct Memory {
        const void* address;
        std::size_t count;
    };
    struct Description {
        const void* value;
        std::string (*function)(const void*);
    };

    void set(Text text) noexcept {
        kind_ = text ? Kind::Text : Kind::Nil;
        memory_ = {text.view().data(), text.view().size()};
    }
    void set(Receiver receiver) noexcept {
        kind_ = receiver ? Kind::Object : Kind::Nil;
        object_ = receiver.get();
    }
    template <class Unit>
    void setWide(const Unit* units, std::size_t count) noexcept {
        kind_ = units ? Kind::WideString : Kind::Nil;
        unitSize_ = sizeof(Unit);
        memory_ = {units, count};
    }
    template <class T>
    void setInteger(Kind kind, T value) noexcept {
        kind_ = kind;
        unitSize_ = sizeof(T);
        if constexpr (std::is_signed_v<T>) {
            integer_ = static_cast<std::uint64_t>(std::int64_t{value});  // the sign in all 64 bits
        } else {
            integer_ = value;
        }
    }
    template <class T>
    void setPointer(const T& pointer);

    Kind kind_ = Kind::Nil;
    std::uint8_t unitSize_ = 0;
    union {
        const Object* object_;
        Memory memory_;
        std::uint64_t integer_;
        double double_;
        long double longDouble_;
        Description described_;
    };
};

/// What stringWithFormat() calls, for formats whose arguments are gathered elsewhere.
[[nodiscard]] QZ_EXPORT std::string stringWithFormatArguments(std::string_view format,
                                                              std::span<const FormatArgument> arguments);

/// The arguments may be objects (Ref<T>, id, T&, T*), texts (std::string, std::string_view, Text, char*, wide
/// ones too), numbers, truth values, characters, enumerators, pointers, selectors, classes, exceptions,
/// values that an id can hold, and optionals of all these.
template <class... A>
[[nodiscard]] std::string stringWithFormat(std::string_view format, const A&... arguments) {
    const std::array<FormatArgument, sizeof...(A)> captured{FormatArgument(arguments)...};
    return stringWithFormatArguments(format, captured);
}

namespace internal {

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
concept WideCharacter = std::same_as<T, wchar_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t>;

/// std::wstring, std::u16string_view and their like.
template <class T>
concept WideText = requires(const T& text) {
    requires WideCharacter<typename T::value_type>;
    { text.data() } -> std::same_as<const typename T::value_type*>;
    { text.size() } -> std::convertible_to<std::size_t>;
};

}  // namespace internal

template <class T>
FormatArgument::FormatArgument(const T& value) : integer_(0) {
    if constexpr (internal::isOptional<T>) {
        if (value) {
            *this = FormatArgument(*value);
        }
    } else if constexpr (std::is_array_v<T> && std::same_as<std::remove_extent_t<T>, char>) {
        set(Text(std::string_view(value, ::strnlen(value, std::extent_v<T>))));
    } else if constexpr (std::is_array_v<T>) {
        setPointer(&value[0]);
    } else if constexpr (std::is_pointer_v<T>) {
        setPointer(value);
    } else if constexpr (std::same_as<T, Text> || std::convertible_to<const T&, std::string_view>) {
        set(Text(value));
    } else if constexpr (internal::WideText<T>) {
        setWide(value.data(), value.size());
    } else if constexpr (std::same_as<T, bool>) {
        setInteger(Kind::Boolean, value);
    } else if constexpr (std::same_as<T, char> || internal::WideCharacter<T> || std::same_as<T, char8_t>) {
        setInteger(Kind::Character, value);
    } else if constexpr (std::integral<T> && sizeof(T) <= sizeof(integer_)) {
        setInteger(std::signed_integral<T> ? Kind::Signed : Kind::Unsigned, value);
    } else if constexpr (std::is_enum_v<T>) {
        *this = FormatArgument(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::same_as<T, long double>) {
        kind_ = Kind::LongDouble;
        longDouble_ = value;
    } else if constexpr (std::floating_point<T>) {
        kind_ = Kind::Double;
        double_ = static_cast<double>(value);
    } else if constexpr (std::same_as<T, std::nullptr_t>) {
        kind_ = Kind::Nil;
    } else if constexpr (std::same_as<T, id> || internal::isRef<T> || std::derived_from<T, Object>) {
        set(Receiver(value));
    } else if constexpr (std::same_as<T, Selector>) {
        set(value ? Text(value.name()) : Text());
    } else if constexpr (std::same_as<T, Class>) {
        set(Text(value.name()));
    } else if constexpr (Boxable<T>) {
        kind_ = Kind::Described;
        described_ = {&value,
                      [](const void* boxed) { return descriptionOf(id(*static_cast<const T*>(boxed))); }};
    } else if constexpr (std::derived_from<T, std::exception>) {
        set(Text(value.what()));
    } else {
        static_assert(!sizeof(T),
                      "a format takes numbers, texts, pointers, objects and values that an id holds");
    }
}

template <class T>
void FormatArgument::setPointer(const T& pointer) {
    using Element = std::remove_pointer_t<T>;
    using Plain = std::remove_cv_t<Element>;
    if constexpr (std::derived_from<Plain, Object>) {
        set(Receiver(pointer));
    } else if constexpr (std::same_as<Plain, Class>) {
        set(pointer ? Text(pointer->name()) : Text());
    } else if constexpr (std::same_as<Plain, char>) {
        kind_ = pointer ? Kind::CString : Kind::Nil;
        memory_ = {pointer, 0};
    } else if constexpr (internal::WideCharacter<Plain>) {
        setWide(pointer, std::string_view::npos);
    } else {
        kind_ = Kind::Pointer;
        if constexpr (std::is_function_v<Element>) {
            memory_ = {reinterpret_cast<const void*>(pointer), 0};
        } else {
            memory_ = {const_cast<const void*>(static_cast<const volatile void*>(pointer)), 0};
        }
    }
}

}  // namespace qz
