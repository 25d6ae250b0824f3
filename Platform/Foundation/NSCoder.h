// NSCoder: what an object writes its state to and reads it from, value by value, each under a key.
//
//     coder->encodeObjectForKey(title_, "title");
//     coder->encodeInt64ForKey(pages_, "pages");
//
//     title_ = coder->decodeTextForKey("title").value_or("");
//     pages_ = coder->decodeInt64ForKey("pages");
//
// A coder writes or reads, never both: NSKeyedArchiver writes, NSKeyedUnarchiver reads, and the other half
// raises NSInvalidArgumentException. Keys are the object's own; other objects may use the same ones. A coder
// is used by one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT NSCoder : public NSObject {
    QZ_OBJECT(NSCoder, NSObject)
public:
    // Writing. A value under a key that is taken replaces the earlier one.

    /// Texts, data and boxed values are objects. Nil is written too, and reads as nil.
    virtual void encodeObjectForKey(const id& object, std::string_view key);
    virtual void encodeBoolForKey(bool value, std::string_view key);
    virtual void encodeInt64ForKey(std::int64_t value, std::string_view key);
    virtual void encodeDoubleForKey(double value, std::string_view key);

    // Reading. What is absent reads as nil, false and 0. Of a value of another kind, or out of range, the
    // same is answered, and the reading of everything has failed.

    [[nodiscard]] virtual bool containsValueForKey(std::string_view key) const;
    [[nodiscard]] virtual id decodeObjectForKey(std::string_view key);
    [[nodiscard]] virtual bool decodeBoolForKey(std::string_view key);
    [[nodiscard]] virtual std::int64_t decodeInt64ForKey(std::string_view key);
    /// Integers are read too.
    [[nodiscard]] virtual double decodeDoubleForKey(std::string_view key);

    /// The object under the key as a text or as data; nullopt also for an object of another kind, which fails
    /// nothing.
    [[nodiscard]] std::optional<std::string> decodeTextForKey(std::string_view key) {
        return unbox<std::string>(decodeObjectForKey(key));
    }
    [[nodiscard]] std::optional<NSData> decodeDataForKey(std::string_view key) {
        return unbox<NSData>(decodeObjectForKey(key));
    }

protected:
    NSCoder() = default;
};

}  // namespace qz
