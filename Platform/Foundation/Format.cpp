#include "Platform/Foundation/Format.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <variant>

#include "Platform/Foundation/NSNumber.h"

namespace qz {

namespace {

using Kind = FormatArgument::Kind;

/// One conversion as it was read: "%-8.3ld" and its like.
struct Conversion {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternative = false;
    bool zero = false;
    int width = 0;
    std::optional<int> precision;
    int narrowTo = 0;  // the bytes that hh and h narrow an integer to, 0 for none
    char type = 0;
};

int bounded(std::int64_t number) {
    return static_cast<int>(std::clamp<std::int64_t>(number, -maximumFormatWidth, maximumFormatWidth));
}

/// Appends a code point as UTF-8; what is none becomes the replacement character.
void appendCodePoint(std::string& text, std::uint32_t code) {
    if (code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
        code = 0xFFFD;
    }
    const auto add = [&](std::uint32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xC0 | code >> 6);
        add(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        add(0xE0 | code >> 12);
        add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    } else {
        add(0xF0 | code >> 18);
        add(0x80 | (code >> 12 & 0x3F));
        add(0x80 | (code >> 6 & 0x3F));
        add(0x80 | (code & 0x3F));
    }
}

/// The text of UTF-16 or UTF-32 units; a count of npos means that a zero unit ends it.
template <class Unit>
std::string textOfUnits(const void* units, std::size_t count) {
    const auto unit = [&](std::size_t index) {
        Unit value;
        std::memcpy(&value, static_cast<const char*>(units) + index * sizeof(Unit), sizeof(Unit));
        return static_cast<std::uint32_t>(value);
    };
    std::string text;
    for (std::size_t index = 0; index < count; ++index) {
        auto code = unit(index);
        if (count == std::string_view::npos && code == 0) {
            break;
        }
        const bool leads = sizeof(Unit) == 2 && code >= 0xD800 && code < 0xDC00;
        if (const auto low = leads && index + 1 < count ? unit(index + 1) : 0;
            low >= 0xDC00 && low < 0xE000) {
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
            ++index;
        }
        appendCodePoint(text, code);
    }
    return text;
}

std::string addressText(const void* address) {
    std::array<char, 24> text{};
    const auto length =
        std::snprintf(text.data(), text.size(), "0x%" PRIxPTR, reinterpret_cast<std::uintptr_t>(address));
    return {text.data(), static_cast<std::size_t>(length)};
}

template <class T>
std::string shortest(T number) {
    std::array<char, 64> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

/// What "%@" prints. `precision` is how many bytes of an unterminated text may be looked at.
std::string naturalForm(const FormatArgument& argument, std::optional<int> precision = std::nullopt) {
    switch (argument.kind()) {
        case Kind::Nil:
            return "(null)";
        case Kind::Object:
            return argument.object().description();
        case Kind::Text:
            return std::string(argument.text());
        case Kind::CString: {
            const auto* text = static_cast<const char*>(argument.address());
            return precision ? std::string(text, ::strnlen(text, static_cast<std::size_t>(*precision)))
                             : text;
        }
        case Kind::WideString:
            return argument.unitSize() == sizeof(char16_t)
                       ? textOfUnits<std::uint16_t>(argument.address(), argument.unitCount())
                       : textOfUnits<std::uint32_t>(argument.address(), argument.unitCount());
        case Kind::Character: {
            std::string text;
            if (argument.unitSize() == 1) {
                text += static_cast<char>(argument.signedValue());
            } else {
                appendCodePoint(text, static_cast<std::uint32_t>(argument.signedValue()));
            }
            return text;
        }
        case Kind::Boolean:
        case Kind::Signed:
            return shortest(argument.signedValue());
        case Kind::Unsigned:
            return shortest(argument.unsignedValue());
        case Kind::Double:
            return shortest(argument.doubleValue());
        case Kind::LongDouble:
            return shortest(argument.longDoubleValue());
        case Kind::Pointer:
            return addressText(argument.address());
        case Kind::Described:
            return argument.describe();
    }
    return {};
}

bool isInteger(const FormatArgument& argument) {
    const auto kind = argument.kind();
    return kind == Kind::Signed || kind == Kind::Unsigned || kind == Kind::Boolean || kind == Kind::Character;
}

bool isFloating(const FormatArgument& argument) {
    return argument.kind() == Kind::Double || argument.kind() == Kind::LongDouble;
}

/// The "C" locale for the calling thread: a program that set another one would read decimal commas in logs.
class PlainLocale {
public:
    PlainLocale() : previous_(::uselocale(plain())) {}
    ~PlainLocale() { ::uselocale(previous_); }
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

private:
    static locale_t plain() {
        static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t previous_;
};

class Formatter {
public:
    Formatter(std::string_view format, std::span<const FormatArgument> arguments)
        : format_(format), arguments_(arguments) {}

    std::string run() {
        result_.reserve(format_.size() + 16 * arguments_.size());
        while (position_ < format_.size()) {
            const auto percent = std::min(format_.find('%', position_), format_.size());
            result_ += format_.substr(position_, percent - position_);
            position_ = percent;
            if (percent < format_.size()) {
                conversion();
            }
        }
        return std::move(result_);
    }

private:
    // Reading.

    [[nodiscard]] char peek() const { return position_ < format_.size() ? format_[position_] : '\0'; }
    bool accept(char wanted) {
        const bool found = position_ < format_.size() && format_[position_] == wanted;
        position_ += found ? 1 : 0;
        return found;
    }
    /// A decimal number; nullopt when none stands here. Saturates.
    std::optional<int> number() {
        const auto start = position_;
        int value = 0;
        while (peek() >= '0' && peek() <= '9') {
            value = std::min(value * 10 + (peek() - '0'), 1 << 20);
            ++position_;
        }
        return position_ > start ? std::optional(value) : std::nullopt;
    }
    /// "2$": the position of an argument, counted from 1; nothing is consumed when none stands here.
    std::optional<int> argumentPosition() {
        const auto start = position_;
        const auto value = number();
        if (value && accept('$')) {
            return value;
        }
        position_ = start;
        return std::nullopt;
    }

    const FormatArgument* argument(std::optional<int> at) {
        const std::size_t index = at ? static_cast<std::size_t>(*at) - 1 : next_++;  // position 0 is nowhere
        return index < arguments_.size() ? &arguments_[index] : nullptr;
    }
    /// The number that `*` stands for; nullopt when its argument is missing or no integer.
    std::optional<int> starred() {
        const auto* value = argument(argumentPosition());
        if (!value || !isInteger(*value)) {
            return std::nullopt;
        }
        const bool huge = value->kind() == Kind::Unsigned && value->unsignedValue() > INT64_MAX;
        return huge ? maximumFormatWidth : bounded(value->signedValue());
    }

    void readFlags(Conversion& wanted) {
        for (;; ++position_) {
            switch (peek()) {
                case '-':
                    wanted.left = true;
                    break;
                case '+':
                    wanted.plus = true;
                    break;
                case ' ':
                    wanted.blank = true;
                    break;
                case '#':
                    wanted.alternative = true;
                    break;
                case '0':
                    wanted.zero = true;
                    break;
                case '\'':
                    break;  // the C locale groups nothing
                default:
                    return;
            }
        }
    }
    void readWidth(Conversion& wanted) {
        const auto width = accept('*') ? starred() : number();
        wanted.left = wanted.left || width.value_or(0) < 0;
        wanted.width = std::abs(bounded(width.value_or(0)));
    }
    void readPrecision(Conversion& wanted) {
        if (accept('.')) {
            const auto precision = accept('*') ? starred() : std::optional(number().value_or(0));
            if (precision && *precision >= 0) {
                wanted.precision = bounded(*precision);
            }
        }
    }
    void readLength(Conversion& wanted) {
        if (accept('h')) {
            wanted.narrowTo = accept('h') ? 1 : 2;
        }
        // The other modifiers say what the argument's type is, which it knows itself.
        while (peek() != '\0' && std::string_view("lqjztL").find(peek()) != std::string_view::npos) {
            ++position_;
        }
    }

    void conversion() {
        const auto start = position_++;
        if (accept('%')) {
            result_ += '%';
            return;
        }
        Conversion wanted;
        const auto next = next_;
        const auto at = argumentPosition();
        readFlags(wanted);
        readWidth(wanted);
        readPrecision(wanted);
        readLength(wanted);
        wanted.type = peek();
        if (wanted.type == '\0' ||
            std::string_view("@diouxXcCsSpaefgAEFGn").find(wanted.type) == std::string_view::npos) {
            next_ = next;
            position_ = start + 1;  // the percent sign stands for itself, and so does what follows it
            result_ += '%';
            return;
        }
        ++position_;
        const auto* value = argument(at);
        if (wanted.type == 'n') {
            return;
        }
        if (value) {
            print(wanted, *value);
        } else {
            result_ += "(missing)";
        }
    }

    // Printing.

    void print(const Conversion& wanted, const FormatArgument& value) {
        switch (wanted.type) {
            case '@':
            case 's':
            case 'S':
                printText(wanted, naturalForm(value, wanted.precision));
                return;
            case 'p':
                printPointer(wanted, value);
                return;
            default:
                break;
        }
        if (value.kind() == Kind::Object) {
            if (const auto* boxed = dynamic_cast<const NSNumber*>(&value.object())) {
                std::visit([&](auto number) { printNumber(wanted, FormatArgument(number)); }, boxed->value());
                return;
            }
        }
        printNumber(wanted, value);
    }

    void printNumber(const Conversion& wanted, const FormatArgument& value) {
        switch (wanted.type) {
            case 'c':
            case 'C':
                if (isInteger(value)) {
                    return printCharacter(wanted, value);
                }
                break;
            case 'd':
            case 'i':
            case 'u':
            case 'o':
            case 'x':
            case 'X':
                if (isInteger(value)) {
                    return printInteger(wanted, value);
                }
                break;
            default:
                if (isInteger(value) || isFloating(value)) {
                    return printFloating(wanted, value);
                }
                break;
        }
        pad(wanted, naturalForm(value));
    }

    void pad(const Conversion& wanted, std::string_view text) {
        const auto width = static_cast<std::size_t>(wanted.width);
        const auto missing = width > text.size() ? width - text.size() : 0;
        result_.append(wanted.left ? 0 : missing, ' ');
        result_ += text;
        result_.append(wanted.left ? missing : 0, ' ');
    }

    void printText(const Conversion& wanted, std::string_view text) {
        pad(wanted, wanted.precision ? text.substr(0, static_cast<std::size_t>(*wanted.precision)) : text);
    }

    void printPointer(const Conversion& wanted, const FormatArgument& value) {
        switch (value.kind()) {
            case Kind::Object:
                return pad(wanted, addressText(&value.object()));
            case Kind::Nil:
                return pad(wanted, addressText(nullptr));
            case Kind::Text:
            case Kind::CString:
            case Kind::WideString:
                return pad(wanted, addressText(value.address()));
            default:
                pad(wanted, naturalForm(value));
        }
    }

    void printCharacter(const Conversion& wanted, const FormatArgument& value) {
        const auto code = static_cast<std::uint32_t>(value.unsignedValue());
        std::string text;
        if (wanted.type == 'C' || (value.kind() == Kind::Character && value.unitSize() > 1)) {
            appendCodePoint(text, code);
        } else {
            text += static_cast<char>(static_cast<unsigned char>(code));
        }
        pad(wanted, text);
    }

    void printInteger(Conversion wanted, const FormatArgument& value) {
        const bool isSigned = value.kind() != Kind::Unsigned;
        const bool wantsSign = wanted.type == 'd' || wanted.type == 'i';
        auto bits = value.unsignedValue();
        if (wanted.narrowTo) {
            bits = narrow(bits, wanted.narrowTo, wantsSign);
        } else if (isSigned && !wantsSign && value.unitSize() <= sizeof(int)) {
            bits = static_cast<std::uint32_t>(bits);  // what C makes of a negative int
        }
        if (wantsSign && !isSigned && !wanted.narrowTo && bits > INT64_MAX) {
            std::string digits = wanted.plus ? "+" : wanted.blank ? " " : "";
            return pad(wanted, digits.append(shortest(bits)));  // an unsigned number keeps its value
        }
        if (isPlain(wanted) && (wantsSign || wanted.type == 'u')) {
            result_ += wantsSign ? shortest(static_cast<std::int64_t>(bits)) : shortest(bits);
        } else if (wantsSign) {
            printChecked(wanted, PRIdMAX, static_cast<std::intmax_t>(bits));
        } else {
            wanted.plus = wanted.blank = false;
            const char* type = wanted.type == 'o'   ? PRIoMAX
                               : wanted.type == 'x' ? PRIxMAX
                               : wanted.type == 'X' ? PRIXMAX
                                                    : PRIuMAX;
            printChecked(wanted, type, static_cast<std::uintmax_t>(bits));
        }
    }

    static bool isPlain(const Conversion& wanted) {
        return !wanted.plus && !wanted.blank && !wanted.alternative && !wanted.precision && wanted.width == 0;
    }

    static std::uint64_t narrow(std::uint64_t bits, int size, bool wantsSign) {
        if (size == 1) {
            return wantsSign ? static_cast<std::uint64_t>(static_cast<std::int8_t>(bits))
                             : static_cast<std::uint8_t>(bits);
        }
        return wantsSign ? static_cast<std::uint64_t>(static_cast<std::int16_t>(bits))
                         : static_cast<std::uint16_t>(bits);
    }

    void printFloating(const Conversion& wanted, const FormatArgument& value) {
        const PlainLocale plain;
        const std::array<char, 2> type{wanted.type, '\0'};
        switch (value.kind()) {
            case Kind::LongDouble: {
                const std::array<char, 3> longType{'L', wanted.type, '\0'};
                return printChecked(wanted, longType.data(), value.longDoubleValue());
            }
            case Kind::Double:
                return printChecked(wanted, type.data(), value.doubleValue());
            case Kind::Unsigned:
                return printChecked(wanted, type.data(), static_cast<double>(value.unsignedValue()));
            default:
                return printChecked(wanted, type.data(), static_cast<double>(value.signedValue()));
        }
    }

    /// Hands one number to the C library, under a conversion composed anew for exactly its type.
    template <class T>
    void printChecked(const Conversion& wanted, std::string_view type, T value) {
        std::array<char, 24> format{};
        char* end = format.data();
        *end++ = '%';
        const std::pair<bool, char> flags[] = {{wanted.left, '-'},
                                               {wanted.plus, '+'},
                                               {wanted.blank, ' '},
                                               {wanted.alternative, '#'},
                                               {wanted.zero, '0'}};
        for (const auto& [set, flag] : flags) {
            if (set) {
                *end++ = flag;
            }
        }
        *end++ = '*';
        *end++ = '.';
        *end++ = '*';
        std::copy(type.begin(), type.end(), end);
        const int precision = wanted.precision.value_or(-1);
        std::array<char, 128> text{};
        const auto length =
            std::snprintf(text.data(), text.size(), format.data(), wanted.width, precision, value);
        if (length < 0) {
            return;
        }
        const auto size = static_cast<std::size_t>(length);
        if (size < text.size()) {
            result_.append(text.data(), size);
            return;
        }
        const auto before = result_.size();
        result_.resize(before + size + 1);
        std::snprintf(&result_[before], size + 1, format.data(), wanted.width, precision, value);
        result_.resize(before + size);
    }

    std::string_view format_;
    std::span<const FormatArgument> arguments_;
    std::size_t position_ = 0;
    std::size_t next_ = 0;
    std::string result_;
};

}  // namespace

std::string stringWithFormatArguments(std::string_view format, std::span<const FormatArgument> arguments) {
    return Formatter(format, arguments).run();
}

}  // namespace qz
