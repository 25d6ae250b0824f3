#include "Platform/Foundation/Containers.h"

#include <algorithm>
#include <cctype>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSSet.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/Raise.h"

namespace qz::internal {

void checkPresent(const id& object) {
    if (!object) {
        raise(NSInvalidArgumentException, "a container cannot hold nil");
    }
}

void checkIndex(std::size_t index, std::size_t count) {
    if (index >= count) {
        raise(NSRangeException, "index " + std::to_string(index) + " is beyond the " +
                                    (count == 0 ? std::string("empty bounds")
                                                : "bounds [0 .. " + std::to_string(count - 1) + "]"));
    }
}

namespace {

constexpr int deepestDescribed = 64;
constexpr std::size_t indentWidth = 4;

/// A text as it stands in a property list: bare when it is one word, quoted otherwise.
std::string quoted(const std::string& text) {
    const auto isBare = [](unsigned char c) { return std::isalnum(c) || c == '_' || c == '.' || c == '/'; };
    if (!text.empty() && std::ranges::all_of(text, isBare)) {
        return text;
    }
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return result + '"';
}

void describe(std::string& text, const id& value, int depth) {
    const std::string indent(indentWidth * (static_cast<std::size_t>(depth) + 1), ' ');
    const std::string closing(indentWidth * static_cast<std::size_t>(depth), ' ');
    const auto* dictionary = dynamic_cast<const NSDictionary*>(value.get());
    const auto* array = dynamic_cast<const NSArray*>(value.get());
    const auto* set = dynamic_cast<const NSSet*>(value.get());
    if ((dictionary || array || set) && depth >= deepestDescribed) {
        text += "...";
    } else if (dictionary) {
        text += "{\n";
        for (const auto& [key, item] : *dictionary) {
            text += indent;
            describe(text, key, depth + 1);
            text += " = ";
            describe(text, item, depth + 1);
            text += ";\n";
        }
        text += closing + "}";
    } else if (array || set) {
        text += array ? "(\n" : "{(\n";
        bool first = true;
        const auto add = [&](const id& item) {
            text += (first ? "" : ",\n") + indent;
            describe(text, item, depth + 1);
            first = false;
        };
        if (array) {
            std::ranges::for_each(*array, add);
        } else {
            std::ranges::for_each(*set, add);
        }
        text += "\n" + closing + (array ? ")" : ")}");
    } else if (const auto* string = dynamic_cast<const NSString*>(value.get())) {
        text += quoted(string->string());
    } else {
        text += descriptionOf(value);
    }
}

}  // namespace

std::string describeContainer(const Object& container) {
    std::string text;
    describe(text, id(refTo(container)), 0);
    return text;
}

}  // namespace qz::internal
