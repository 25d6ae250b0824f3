// The binary form: "bplist00", objects, a table of their offsets, and a trailer of 32 bytes that says where
// the table is, how wide its numbers are and which object is the outermost. An object begins with a byte of
// type and count; containers list their elements by number.

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/PropertyListUID.h"
#include "Platform/Foundation/internal/PropertyListCodec.h"

namespace qz::internal {

namespace {

constexpr std::string_view signature = "bplist00";
constexpr std::size_t trailerSize = 32;

/// The upper half of an object's first byte; the lower is the count, or fullCount before a count of its own.
enum Type : unsigned {
    simple = 0x0,
    integer = 0x1,
    real = 0x2,
    date = 0x3,
    bytes = 0x4,
    ascii = 0x5,
    utf16 = 0x6,
    utf8 = 0x7,
    uid = 0x8,
    array = 0xA,
    dictionary = 0xD,
};
constexpr unsigned fullCount = 0xF;
constexpr unsigned char falseMarker = 0x08;
constexpr unsigned char trueMarker = 0x09;

class Reader {
public:
    Reader(std::string_view file, const ContainerMaker& containers) : file_(file), containers_(containers) {}

    id read() {
        if (file_.size() < signature.size() + trailerSize) {
            fail("the file is too short");
        }
        const auto trailer = file_.size() - trailerSize;
        offsetWidth_ = byteAt(trailer + 6);
        referenceWidth_ = byteAt(trailer + 7);
        const auto count = number(trailer + 8, 8);
        const auto top = number(trailer + 16, 8);
        table_ = number(trailer + 24, 8);
        if (offsetWidth_ < 1 || offsetWidth_ > 8 || referenceWidth_ < 1 || referenceWidth_ > 8 ||
            table_ < signature.size() || table_ > trailer || count > (trailer - table_) / offsetWidth_ ||
            top >= count) {
            fail("the trailer makes no sense");
        }
        unread_ = table_;
        objects_.resize(count);
        return object(top);
    }

private:
    [[noreturn]] static void fail(const char* reason) { throw PropertyListFailure(reason); }

    [[nodiscard]] unsigned byteAt(std::size_t offset) const {
        return static_cast<unsigned char>(file_[offset]);
    }
    /// A big-endian number; of more than eight bytes the last eight.
    [[nodiscard]] std::uint64_t number(std::size_t offset, std::size_t width) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < width; ++i) {
            value = value << 8U | byteAt(offset + i);
        }
        return value;
    }

    /// What an object takes in the file. The bytes of all objects together are no more than the file has,
    /// since none lies in another: that bounds what overlapping objects could ask for.
    void take(std::size_t offset, std::uint64_t size) {
        if (offset > table_ || size > table_ - offset || size > unread_) {
            fail("an object is larger than the file");
        }
        unread_ -= size;
    }

    id object(std::uint64_t index) {
        if (index >= objects_.size()) {
            fail("a reference leads nowhere");
        }
        auto& known = objects_[index];
        if (known.isBeingRead) {
            fail("a container contains itself");
        }
        if (!known.object) {
            known.isBeingRead = true;
            const auto outer = std::exchange(weight_, 1);
            const auto outerHeight = std::exchange(height_, 0);
            // Reading does not resize the list, so the reference stays good.
            known.object = readObject(index);
            known.isBeingRead = false;
            known.weight = std::exchange(weight_, outer);
            known.height = std::exchange(height_, outerHeight);
        }
        // What was read before is not walked through again, but whoever releases it all goes that deep.
        if (depth_ + known.height > NSPropertyListSerialization::maximumDepth) {
            fail("containers are nested too deeply");
        }
        height_ = std::max(height_, known.height + 1);
        weight_ += known.weight;
        if (weight_ > maximumExpansion * file_.size()) {
            fail("containers refer to each other too often");
        }
        return known.object;
    }

    id readObject(std::uint64_t index) {
        auto offset = number(table_ + index * offsetWidth_, offsetWidth_);
        take(offset, 1);
        const auto marker = byteAt(offset++);
        const auto type = marker >> 4U;
        const auto low = marker & 0xFU;
        switch (type) {
            case simple:
                return readSimple(marker);
            case integer:
                return readInteger(offset, low);
            case real:
                return readReal(offset, low);
            case date:
                take(offset, 8);
                return NSDate::dateWithTimeIntervalSinceReferenceDate(
                    std::bit_cast<double>(number(offset, 8)));
            case uid:
                take(offset, low + 1);
                if (low > 7) {
                    fail("a reference number is too wide");
                }
                return PropertyListUID::uidWithValue(number(offset, low + 1));
            default: {
                const auto size = count(offset, low);  // moves the offset
                return readCounted(type, offset, size);
            }
        }
    }

    static id readSimple(unsigned marker) {
        if (marker != falseMarker && marker != trueMarker) {
            fail("an object has no meaning");
        }
        return marker == trueMarker;
    }

    id readInteger(std::size_t offset, unsigned power) {
        if (power > 4) {
            fail("an integer is too wide");
        }
        const std::size_t width = std::size_t{1} << power;
        take(offset, width);
        const auto value = number(offset, width);
        if (width == 16) {
            // Only this width holds numbers from 2^63 upwards; negative ones fill it with ones.
            const auto high = number(offset, 8);
            if (high == UINT64_MAX && static_cast<std::int64_t>(value) < 0) {
                return static_cast<std::int64_t>(value);
            }
            if (high != 0) {
                fail("an integer has more than 64 bits");
            }
            return value;
        }
        return width == 8 ? id(static_cast<std::int64_t>(value)) : id(value);
    }

    id readReal(std::size_t offset, unsigned power) {
        if (power != 2 && power != 3) {
            fail("a real number has no meaning");
        }
        take(offset, std::size_t{1} << power);
        if (power == 2) {
            return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(number(offset, 4))));
        }
        return std::bit_cast<double>(number(offset, 8));
    }

    /// The count in a marker, or the integer object behind it, which is stepped over.
    std::uint64_t count(std::uint64_t& offset, unsigned low) {
        if (low != fullCount) {
            return low;
        }
        take(offset, 1);
        const auto marker = byteAt(offset++);
        if (marker >> 4U != integer || (marker & 0xFU) > 3) {
            fail("a count is no integer");
        }
        const std::size_t width = std::size_t{1} << (marker & 0xFU);
        take(offset, width);
        const auto value = number(offset, width);
        offset += width;
        return value;
    }

    id readCounted(unsigned type, std::size_t offset, std::uint64_t count) {
        const auto text = [&](std::uint64_t width) {
            if (count > file_.size()) {
                fail("an object is larger than the file");
            }
            take(offset, count * width);
            return file_.substr(offset, count * width);
        };
        switch (type) {
            case bytes:
                return NSData::dataWithText(text(1));
            case ascii:
            case utf8: {
                const auto view = text(1);
                requireUTF8(view);
                return view;
            }
            case utf16:
                return utf8FromUTF16(text(2), true);
            case array:
                (void)text(referenceWidth_);
                return readArray(offset, count);
            case dictionary:
                (void)text(2UL * referenceWidth_);
                return readDictionary(offset, count);
            default:
                fail("an object has no meaning");
        }
    }

    id reference(std::size_t offset, std::uint64_t index) {
        return object(number(offset + index * referenceWidth_, referenceWidth_));
    }

    id readArray(std::size_t offset, std::uint64_t count) {
        const DepthGuard guard(depth_);
        std::vector<id> items;
        items.reserve(count);
        for (std::uint64_t i = 0; i < count; ++i) {
            items.push_back(reference(offset, i));
        }
        return containers_.array(std::move(items));
    }

    id readDictionary(std::size_t offset, std::uint64_t count) {
        const DepthGuard guard(depth_);
        const auto entries = NSMutableDictionary::dictionary();
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto key = reference(offset, i);
            if (!key.as<NSString>()) {
                fail("a key is no text");
            }
            entries->setObjectForKey(reference(offset, count + i), key);
        }
        return containers_.dictionary(entries);
    }

    /// Containers that hold the same ones twice, which do so in turn, are few bytes but endless for whoever
    /// walks through them: this bounds how many objects a walk meets for each byte of the file.
    static constexpr std::uint64_t maximumExpansion = 64;

    struct Known {
        id object;
        std::uint64_t weight = 0;  // objects that a walk through it meets
        int height = 0;            // how many containers stand in each other below it
        bool isBeingRead = false;
    };

    std::string_view file_;
    const ContainerMaker& containers_;
    std::size_t offsetWidth_ = 0;
    std::size_t referenceWidth_ = 0;
    std::size_t table_ = 0;
    std::uint64_t unread_ = 0;
    std::uint64_t weight_ = 0;  // of the container that is being read, so far
    int height_ = 0;            // the same
    std::vector<Known> objects_;
    int depth_ = 0;
};

/// The least of 1, 2, 4, 8 bytes that holds the number.
std::size_t widthOf(std::uint64_t value) {
    return value <= 0xFF ? 1 : value <= 0xFFFF ? 2 : value <= 0xFFFFFFFF ? 4 : 8;
}

class Writer {
public:
    NSData write(const id& list) {
        const auto top = add(list);
        const auto referenceWidth = widthOf(nodes_.size() - 1);
        out_ = signature;
        std::vector<std::uint64_t> offsets;
        offsets.reserve(nodes_.size());
        for (const auto& node : nodes_) {
            offsets.push_back(out_.size());
            out_ += node.encoded;
            for (const auto reference : node.references) {
                appendNumber(out_, reference, referenceWidth);
            }
        }
        const auto table = out_.size();
        const auto offsetWidth = widthOf(table);
        for (const auto offset : offsets) {
            appendNumber(out_, offset, offsetWidth);
        }
        out_.append(6, '\0');
        appendNumber(out_, offsetWidth, 1);
        appendNumber(out_, referenceWidth, 1);
        appendNumber(out_, nodes_.size(), 8);
        appendNumber(out_, top, 8);
        appendNumber(out_, table, 8);
        return NSData::dataWithText(out_);
    }

private:
    struct Node {
        std::string encoded;                    // all of it but the references
        std::vector<std::uint64_t> references;  // keys first, then values
    };
    static constexpr std::uint64_t beingAdded = UINT64_MAX;

    static void appendNumber(std::string& out, std::uint64_t value, std::size_t width) {
        for (auto shift = width; shift-- > 0;) {
            out += static_cast<char>(value >> (8 * shift) & 0xFFU);
        }
    }

    static void appendMarker(std::string& out, Type type, std::uint64_t low) {
        out += static_cast<char>(static_cast<unsigned>(type) << 4U | static_cast<unsigned>(low));
    }

    static std::string counted(Type type, std::uint64_t count) {
        std::string out;
        if (count < fullCount) {
            appendMarker(out, type, count);
        } else {
            appendMarker(out, type, fullCount);
            out += encodedInteger(count);
        }
        return out;
    }

    static std::string encodedInteger(std::uint64_t value) {
        const auto width = widthOf(value);
        std::string out;
        appendMarker(out, integer, static_cast<unsigned>(std::countr_zero(width)));
        appendNumber(out, value, width);
        return out;
    }

    /// Numbers of eight bytes are signed, so those from 2^63 upwards take sixteen.
    static std::string encodedNumber(const NSNumber& number) {
        return std::visit(
            [](auto value) -> std::string {
                using T = decltype(value);
                std::string out;
                if constexpr (std::is_same_v<T, bool>) {
                    out += static_cast<char>(value ? trueMarker : falseMarker);
                } else if constexpr (std::is_same_v<T, double>) {
                    appendMarker(out, real, 3);
                    appendNumber(out, std::bit_cast<std::uint64_t>(value), 8);
                } else if (std::is_signed_v<T> && value < 0) {
                    appendMarker(out, integer, 3);
                    appendNumber(out, static_cast<std::uint64_t>(value), 8);
                } else if (static_cast<std::uint64_t>(value) > INT64_MAX) {
                    appendMarker(out, integer, 4);
                    appendNumber(out, 0, 8);
                    appendNumber(out, static_cast<std::uint64_t>(value), 8);
                } else {
                    out = encodedInteger(static_cast<std::uint64_t>(value));
                }
                return out;
            },
            number.value());
    }

    static std::string encodedText(const std::string& text) {
        requireUTF8(text);
        const bool isASCII = std::all_of(text.begin(), text.end(),
                                         [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (isASCII) {
            return counted(ascii, text.size()) + text;
        }
        const auto units = utf16BigEndianFromUTF8(text);
        return counted(utf16, units.size() / 2) + units;
    }

    static std::string encodedLeaf(const id& object) {
        if (const auto text = object.as<NSString>()) {
            return encodedText(text->string());
        }
        if (const auto number = object.as<NSNumber>()) {
            return encodedNumber(*number);
        }
        if (const auto data = unbox<NSData>(object)) {
            return counted(bytes, data->size()).append(data->text());
        }
        if (const auto moment = object.as<NSDate>()) {
            std::string out;
            appendMarker(out, date, 3);
            appendNumber(out, std::bit_cast<std::uint64_t>(moment->timeIntervalSinceReferenceDate()), 8);
            return out;
        }
        if (const auto reference = object.as<PropertyListUID>()) {
            const auto width = widthOf(reference->value());
            std::string out;
            appendMarker(out, uid, width - 1);
            appendNumber(out, reference->value(), width);
            return out;
        }
        throw PropertyListFailure("an object is of no kind that property lists hold");
    }

    /// The number of an object. Leaves that are written alike are one object, and so is a container that is
    /// held twice.
    std::uint64_t add(const id& object) {
        const auto list = object.as<NSArray>();
        const auto entries = object.as<NSDictionary>();
        if (!list && !entries) {
            auto encoded = encodedLeaf(object);
            const auto [place, isNew] = leaves_.try_emplace(std::move(encoded), nodes_.size());
            if (isNew) {
                nodes_.push_back({place->first, {}});
            }
            return place->second;
        }
        const auto [place, isNew] = containers_.try_emplace(object.get(), beingAdded);
        if (!isNew) {
            if (place->second == beingAdded) {
                throw PropertyListFailure("a container contains itself");
            }
            return place->second;
        }
        const DepthGuard guard(depth_);
        const auto number = nodes_.size();
        nodes_.emplace_back();
        auto node = list ? addItems(*list) : addEntries(*entries);
        nodes_[number] = std::move(node);
        containers_[object.get()] = number;
        return number;
    }

    Node addItems(const NSArray& list) {
        Node node{counted(array, list.count()), {}};
        node.references.reserve(list.count());
        for (const auto& item : list) {
            node.references.push_back(add(item));
        }
        return node;
    }

    Node addEntries(const NSDictionary& entries) {
        Node node{counted(dictionary, entries.count()), {}};
        node.references.reserve(2 * entries.count());
        for (const auto& [key, value] : entries) {
            if (!key.as<NSString>()) {
                throw PropertyListFailure("a key is no text");
            }
            node.references.push_back(add(key));
        }
        for (const auto& [key, value] : entries) {
            node.references.push_back(add(value));
        }
        return node;
    }

    std::vector<Node> nodes_;
    std::unordered_map<std::string, std::uint64_t> leaves_;
    std::unordered_map<const Object*, std::uint64_t> containers_;
    std::string out_;
    int depth_ = 0;
};

}  // namespace

id readBinaryPropertyList(std::string_view bytes, const ContainerMaker& containers) {
    return Reader(bytes, containers).read();
}

NSData writeBinaryPropertyList(const id& list) {
    return Writer().write(list);
}

}  // namespace qz::internal
