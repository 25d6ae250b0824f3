// The XML form, read and written through libxml2.

#include <glib.h>
#include <libxml/xmlreader.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/PropertyListUID.h"
#include "Platform/Foundation/internal/PropertyListCodec.h"

namespace qz::internal {

namespace {

constexpr std::string_view uidKey = "CF$UID";

[[noreturn]] void fail(const char* reason) {
    throw PropertyListFailure(reason);
}

std::string_view view(const xmlChar* text) {
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

template <class T>
std::optional<T> parsed(std::string_view digits, int base) {
    T value{};
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    return error == std::errc() && end == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
}

id integerOf(std::string_view text) {
    text = trimmed(text);
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) {
        text.remove_prefix(2);
    }
    const auto magnitude = parsed<std::uint64_t>(text, isHexadecimal ? 16 : 10);
    if (!magnitude || (isNegative && *magnitude > std::uint64_t{1} << 63U)) {
        fail("an integer has no meaning");
    }
    return isNegative ? id(static_cast<std::int64_t>(0 - *magnitude)) : id(*magnitude);
}

id realOf(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double value = 0;  // "nan", "inf" and "infinity" are read too
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        fail("a real number has no meaning");
    }
    return value;
}

/// "2026-11-23T08:15:00Z".
id dateOf(std::string_view text) {
    text = trimmed(text);
    const bool isNegative = text.starts_with('-');
    int year = 0;
    unsigned field[5] = {};
    const auto* at = text.data() + (isNegative ? 1 : 0);
    const auto* const end = text.data() + text.size();
    const auto read = [&](auto& value, char separator) {
        const auto [next, error] = std::from_chars(at, end, value);
        if (error != std::errc() || next == end || *next != separator) {
            fail("a date has no meaning");
        }
        at = next + 1;
    };
    read(year, '-');
    constexpr char separators[] = {'-', 'T', ':', ':', 'Z'};
    for (int i = 0; i < 5; ++i) {
        read(field[i], separators[i]);
    }
    const std::chrono::year_month_day day(std::chrono::year(isNegative ? -year : year),
                                          std::chrono::month(field[0]), std::chrono::day(field[1]));
    if (at != end || !day.ok() || field[2] > 24 || field[3] > 59 || field[4] > 60) {
        fail("a date has no meaning");
    }
    const auto days = std::chrono::sys_days(day).time_since_epoch().count();
    return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(days) * 86400.0 + field[2] * 3600.0 +
                                                 field[3] * 60.0 + field[4]);
}

id dataOf(std::string_view text) {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/= \t\r\n";
    if (text.find_first_not_of(alphabet) != std::string_view::npos) {
        fail("data are not base64");
    }
    gsize size = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(std::string(text).c_str(), &size),
                                                           &g_free);
    return NSData::dataWithText({reinterpret_cast<const char*>(bytes.get()), size});
}

class Reader {
public:
    Reader(std::string_view bytes, const ContainerMaker& containers)
        : containers_(containers), reader_(nullptr, &xmlFreeTextReader) {
        if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            fail("the document is too long");
        }
        // Entities are not substituted, so none can multiply; what they stand for is refused below.
        constexpr int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
        reader_.reset(
            xmlReaderForMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, options));
        if (!reader_) {
            fail("the document cannot be read");
        }
    }

    id read() {
        nextElement();
        if (name() == "plist") {
            if (xmlTextReaderIsEmptyElement(reader_.get()) == 1 || !nextElement()) {
                fail("the document is empty");
            }
        }
        auto list = value();
        // What follows has to be well-formed, and no second value.
        while (xmlTextReaderRead(reader_.get()) == 1) {
            if (xmlTextReaderNodeType(reader_.get()) == XML_READER_TYPE_ELEMENT) {
                fail("there is more than one value");
            }
        }
        if (xmlTextReaderReadState(reader_.get()) == XML_TEXTREADER_MODE_ERROR) {
            fail("the document is not well-formed XML");
        }
        return list;
    }

private:
    [[nodiscard]] std::string_view name() const { return view(xmlTextReaderConstName(reader_.get())); }

    int step() {
        if (xmlTextReaderRead(reader_.get()) != 1) {
            fail("the document is not well-formed XML");
        }
        return xmlTextReaderNodeType(reader_.get());
    }

    /// Goes to the next element that begins (true), or to the end of the one around it (false).
    bool nextElement() {
        for (;;) {
            switch (step()) {
                case XML_READER_TYPE_ELEMENT:
                    return true;
                case XML_READER_TYPE_END_ELEMENT:
                    return false;
                case XML_READER_TYPE_TEXT:
                case XML_READER_TYPE_CDATA:
                    if (!isBlank(view(xmlTextReaderConstValue(reader_.get())))) {
                        fail("there is text between elements");
                    }
                    break;
                case XML_READER_TYPE_ENTITY_REFERENCE:
                    fail("entities of the document's own are not read");
                default:
                    break;
            }
        }
    }

    /// The text of the present element, up to its end.
    std::string text() {
        std::string content;
        if (xmlTextReaderIsEmptyElement(reader_.get()) == 1) {
            return content;
        }
        for (;;) {
            switch (step()) {
                case XML_READER_TYPE_END_ELEMENT:
                    return content;
                case XML_READER_TYPE_TEXT:
                case XML_READER_TYPE_CDATA:
                case XML_READER_TYPE_WHITESPACE:
                case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
                    content += view(xmlTextReaderConstValue(reader_.get()));
                    break;
                case XML_READER_TYPE_COMMENT:
                case XML_READER_TYPE_PROCESSING_INSTRUCTION:
                    break;
                default:
                    fail("a value that is a text holds elements");
            }
        }
    }

    id value() {
        const auto kind = name();
        if (kind == "dict") {
            return dictionary();
        }
        if (kind == "array") {
            return array();
        }
        if (kind == "string") {
            return text();
        }
        if (kind == "integer") {
            return integerOf(text());
        }
        if (kind == "real") {
            return realOf(text());
        }
        if (kind == "true" || kind == "false") {
            const bool isTrue = kind == "true";
            if (!isBlank(text())) {
                fail("a truth value holds text");
            }
            return isTrue;
        }
        if (kind == "date") {
            return dateOf(text());
        }
        if (kind == "data") {
            return dataOf(text());
        }
        fail("an element is of no kind that property lists hold");
    }

    id array() {
        const DepthGuard guard(depth_);
        std::vector<id> items;
        if (xmlTextReaderIsEmptyElement(reader_.get()) != 1) {
            while (nextElement()) {
                items.push_back(value());
            }
        }
        return containers_.array(std::move(items));
    }

    id dictionary() {
        const DepthGuard guard(depth_);
        const auto entries = NSMutableDictionary::dictionary();
        if (xmlTextReaderIsEmptyElement(reader_.get()) != 1) {
            while (nextElement()) {
                if (name() != "key") {
                    fail("a dictionary has a value without a key");
                }
                const id key = text();
                if (!nextElement()) {
                    fail("a dictionary has a key without a value");
                }
                entries->setObjectForKey(value(), key);
            }
        }
        if (const auto number =
                entries->count() == 1 ? unbox<std::uint64_t>(entries->objectForKey(uidKey)) : std::nullopt) {
            return PropertyListUID::uidWithValue(*number);
        }
        return containers_.dictionary(entries);
    }

    const ContainerMaker& containers_;
    std::unique_ptr<xmlTextReader, decltype(&xmlFreeTextReader)> reader_;
    int depth_ = 0;
};

class Writer {
public:
    NSData write(const id& list) {
        out_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
        add(list);
        out_ += "</plist>\n";
        return NSData::dataWithText(out_);
    }

private:
    void indent() { out_.append(static_cast<std::size_t>(depth_), '\t'); }

    void addElement(std::string_view name, std::string_view content) {
        indent();
        out_.append("<").append(name).append(">").append(content).append("</").append(name).append(">\n");
    }

    static std::string escaped(const std::string& text) {
        requireUTF8(text);
        std::string out;
        out.reserve(text.size());
        for (const char c : text) {
            switch (c) {
                case '&':
                    out += "&amp;";
                    break;
                case '<':
                    out += "&lt;";
                    break;
                case '>':
                    out += "&gt;";
                    break;
                case '\r':
                    out += "&#13;";  // XML readers make a line feed of it otherwise
                    break;
                default:
                    if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') {
                        fail("a text has characters that XML cannot hold");
                    }
                    out += c;
            }
        }
        // U+FFFE and U+FFFF are the others that XML refuses.
        if (out.find("\xEF\xBF\xBE") != std::string::npos || out.find("\xEF\xBF\xBF") != std::string::npos) {
            fail("a text has characters that XML cannot hold");
        }
        return out;
    }

    void add(const id& object) {
        if (const auto entries = object.as<NSDictionary>()) {
            addContainer(*entries, "dict", [&] { addEntries(*entries); });
        } else if (const auto list = object.as<NSArray>()) {
            addContainer(*list, "array", [&] {
                for (const auto& item : *list) {
                    add(item);
                }
            });
        } else if (const auto text = object.as<NSString>()) {
            addElement("string", escaped(text->string()));
        } else if (const auto number = object.as<NSNumber>()) {
            addNumber(*number);
        } else if (const auto moment = object.as<NSDate>()) {
            addElement("date", textOf(*moment));
        } else if (const auto data = unbox<NSData>(object)) {
            addData(*data);
        } else if (const auto uid = object.as<PropertyListUID>()) {
            add(NSDictionary::dictionary({{uidKey, uid->value()}}));
        } else {
            fail("an object is of no kind that property lists hold");
        }
    }

    template <class Container, class F>
    void addContainer(const Container& container, std::string_view name, F&& addContents) {
        const DepthGuard guard(nesting_);
        if (!open_.insert(&container).second) {
            fail("a container contains itself");
        }
        indent();
        if (container.count() == 0) {
            out_.append("<").append(name).append("/>\n");
        } else {
            out_.append("<").append(name).append(">\n");
            ++depth_;
            addContents();
            --depth_;
            indent();
            out_.append("</").append(name).append(">\n");
        }
        open_.erase(&container);
    }

    void addEntries(const NSDictionary& entries) {
        for (const auto& [key, value] : entries) {
            const auto text = key.as<NSString>();
            if (!text) {
                fail("a key is no text");
            }
            addElement("key", escaped(text->string()));
            add(value);
        }
    }

    void addNumber(const NSNumber& number) {
        if (number.isBool()) {
            indent();
            out_ += number.boolValue() ? "<true/>\n" : "<false/>\n";
        } else {
            addElement(number.isDouble() ? "real" : "integer", number.stringValue());
        }
    }

    static std::string textOf(const NSDate& moment) {
        using namespace std::chrono;
        const auto total = std::floor(moment.timeIntervalSince1970());
        // Four digits of year are what every reader takes.
        if (!(total >= -62135596800.0 && total <= 253402300799.0)) {
            fail("a date is outside of the years 1 to 9999");
        }
        const auto point = sys_seconds(seconds(static_cast<std::int64_t>(total)));
        const auto day = floor<days>(point);
        const year_month_day date(day);
        const hh_mm_ss time(point - day);
        return stringWithFormat("%04d-%02u-%02uT%02ld:%02ld:%02ldZ", static_cast<int>(date.year()),
                                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                time.hours().count(), time.minutes().count(), time.seconds().count());
    }

    void addData(const NSData& data) {
        const std::unique_ptr<gchar, decltype(&g_free)> encoded(
            g_base64_encode(reinterpret_cast<const guchar*>(data.text().data()), data.size()), &g_free);
        addElement("data", encoded ? encoded.get() : "");
    }

    std::string out_;
    std::unordered_set<const void*> open_;
    int depth_ = 0;    // of indentation
    int nesting_ = 0;  // of containers
};

}  // namespace

id readXMLPropertyList(std::string_view bytes, const ContainerMaker& containers) {
    return Reader(bytes, containers).read();
}

NSData writeXMLPropertyList(const id& list) {
    return Writer().write(list);
}

}  // namespace qz::internal
