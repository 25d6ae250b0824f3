// The old text form: { key = value; }, ( item, item ), "text", plain text and <data>; also the entries of a
// dictionary without braces around them, as in tables of strings. Comments are those of C++.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/internal/PropertyListCodec.h"

namespace qz::internal {

namespace {

[[noreturn]] void fail(const char* reason) {
    throw PropertyListFailure(reason);
}

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_$/:.-").find(c) != std::string_view::npos;
}

int hexadecimal(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

class Reader {
public:
    Reader(std::string_view text, const ContainerMaker& containers) : rest_(text), containers_(containers) {}

    id read() {
        skipBlanks();
        if (rest_.empty()) {
            fail("there is nothing");
        }
        if (const char c = rest_.front(); c == '{' || c == '(' || c == '<') {
            return onlyValue(value());
        }
        const auto first = token();
        skipBlanks();
        // One text alone is a list; otherwise it is the first key of entries without braces.
        return rest_.empty() ? id(first) : containers_.dictionary(entries(first, false));
    }

private:
    id onlyValue(id list) {
        skipBlanks();
        if (!rest_.empty()) {
            fail("there is text behind the value");
        }
        return list;
    }

    void skipBlanks() {
        for (;;) {
            const auto start = rest_.find_first_not_of(" \t\r\n\v\f");
            rest_.remove_prefix(std::min(start, rest_.size()));
            if (rest_.starts_with("//")) {
                rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
            } else if (rest_.starts_with("/*")) {
                const auto end = rest_.find("*/", 2);
                if (end == std::string_view::npos) {
                    fail("a comment has no end");
                }
                rest_.remove_prefix(end + 2);
            } else {
                return;
            }
        }
    }

    /// Steps over the character, after blanks, if it is the next one.
    bool accept(char c) {
        skipBlanks();
        const bool found = rest_.starts_with(c);
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }
    void expect(char c, const char* reason) {
        if (!accept(c)) {
            fail(reason);
        }
    }

    id value() {
        skipBlanks();
        if (accept('{')) {
            const DepthGuard guard(depth_);
            auto list = NSMutableDictionary::dictionary();
            if (!accept('}')) {
                list = entries(token(), true);
            }
            return containers_.dictionary(list);
        }
        if (accept('(')) {
            return array();
        }
        if (accept('<')) {
            return data();
        }
        return token();
    }

    id array() {
        const DepthGuard guard(depth_);
        std::vector<id> items;
        while (!accept(')')) {
            items.push_back(value());
            if (!accept(',')) {
                expect(')', "an array has no end");
                break;
            }
        }
        return containers_.array(std::move(items));
    }

    /// The entries from a first key on, up to the brace or to the end of the text.
    Ref<NSMutableDictionary> entries(std::string key, bool hasBrace) {
        auto list = NSMutableDictionary::dictionary();
        for (;;) {
            // A key alone stands for itself.
            const auto object = accept('=') ? value() : id(key);
            list->setObjectForKey(object, key);
            const bool hasSemicolon = accept(';');
            const bool isAtEnd = hasBrace ? accept('}') : (skipBlanks(), rest_.empty());
            if (isAtEnd) {
                return list;
            }
            if (!hasSemicolon) {
                fail("an entry does not end in a semicolon");
            }
            key = token();
        }
    }

    id data() {
        std::string bytes;
        int high = -1;
        while (!accept('>')) {
            const auto digit = rest_.empty() ? -1 : hexadecimal(rest_.front());
            if (digit < 0) {
                fail("data are not hexadecimal");
            }
            rest_.remove_prefix(1);
            if (high < 0) {
                high = digit;
            } else {
                bytes += static_cast<char>(high << 4 | digit);
                high = -1;
            }
        }
        if (high >= 0) {
            fail("data have half a byte");
        }
        return NSData::dataWithText(bytes);
    }

    std::string token() {
        skipBlanks();
        if (rest_.starts_with('"') || rest_.starts_with('\'')) {
            return quoted();
        }
        const auto* const end = std::find_if_not(rest_.begin(), rest_.end(), isPlain);
        std::string text(rest_.begin(), end);
        if (text.empty()) {
            fail("a text was expected");
        }
        rest_.remove_prefix(text.size());
        return text;
    }

    std::string quoted() {
        const char quote = rest_.front();
        rest_.remove_prefix(1);
        std::string text;
        for (;;) {
            const auto plain = std::min(rest_.find_first_of(std::string{quote, '\\'}), rest_.size());
            text.append(rest_.substr(0, plain));
            rest_.remove_prefix(plain);
            if (rest_.size() < 2 && !rest_.starts_with(quote)) {
                fail("a quoted text has no end");
            }
            const bool isEnd = rest_.front() == quote;
            rest_.remove_prefix(1);
            if (isEnd) {
                return text;
            }
            appendEscape(text);
        }
    }

    void appendEscape(std::string& text) {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        constexpr std::string_view letters = "abfnrtv";
        constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
        if (const auto place = letters.find(c); place != std::string_view::npos) {
            text += meanings[place];
        } else if (c == 'U' || c == 'u') {
            appendUnits(text);
        } else if (c >= '0' && c <= '7') {
            unsigned code = static_cast<unsigned>(c - '0');
            for (int i = 0; i < 2 && !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '7'; ++i) {
                code = code * 8 + static_cast<unsigned>(rest_.front() - '0');
                rest_.remove_prefix(1);
            }
            const char unit[] = {static_cast<char>(code >> 8U), static_cast<char>(code & 0xFFU)};
            text += utf8FromUTF16({unit, 2}, true);
        } else {
            text += c;
        }
    }

    /// \UXXXX, and the ones directly behind it, which may be the other half of a character.
    void appendUnits(std::string& text) {
        std::string units;
        for (;;) {
            unsigned unit = 0;
            int digits = 0;
            for (; digits < 4 && !rest_.empty() && hexadecimal(rest_.front()) >= 0; ++digits) {
                unit = unit << 4U | static_cast<unsigned>(hexadecimal(rest_.front()));
                rest_.remove_prefix(1);
            }
            if (digits == 0) {
                fail("an escape has no digits");
            }
            units += static_cast<char>(unit >> 8U);
            units += static_cast<char>(unit & 0xFFU);
            if (!rest_.starts_with("\\U") && !rest_.starts_with("\\u")) {
                text += utf8FromUTF16(units, true);
                return;
            }
            rest_.remove_prefix(2);
        }
    }

    std::string_view rest_;
    const ContainerMaker& containers_;
    int depth_ = 0;
};

}  // namespace

id readTextPropertyList(std::string_view text, const ContainerMaker& containers) {
    return Reader(text, containers).read();
}

}  // namespace qz::internal
