// NSKeyedArchiver: objects as bytes, with all that they refer to.
//
//     const auto data = NSKeyedArchiver::archivedDataWithRootObject(library);
//     const auto copy = NSKeyedUnarchiver::unarchiveObjectWithData(*data);
//
// An archive holds texts, numbers, data, dates, URLs, NSNull, arrays, sets and dictionaries (mutable ones
// stay mutable) and objects of classes that adopt NSCoding. Each object is written once however often it is
// referred to, so shared objects and circles come back as such. A circle leads through at least one object of
// a coding class, and through no immutable container that stands around that object. Equal texts and numbers
// become one object. A URL is written as its whole text.
//
// The bytes are a binary property list in the layout that keyed archives have: "$archiver", "$version",
// "$top" with a reference by key, and "$objects", the first of which stands for nil.
//
// An archiver is used by one thread; the class operations are safe from any.
#pragma once

#include <memory>
#include <optional>

#include "Platform/Foundation/NSCoding.h"

namespace qz {

class NSError;

namespace internal {
class KeyedArchiveWriter;
}

/// The key of the one object that an archive usually holds.
inline constexpr std::string_view NSKeyedArchiveRootObjectKey = "root";

class QZ_EXPORT NSKeyedArchiver : public NSCoder {
    QZ_OBJECT(NSKeyedArchiver, NSCoder)
public:
    /// Nil is an object too. Nullopt for objects of other kinds, containers that contain themselves, objects
    /// that stand in each other more than NSPropertyListSerialization::maximumDepth deep, texts that are not
    /// UTF-8, and when an encodeWithCoder() throws. Secure coding is not required.
    [[nodiscard]] static std::optional<NSData> archivedDataWithRootObject(const id& object);
    /// With secure coding, objects of coding classes that do not adopt NSSecureCoding are refused. The error,
    /// whose pointer may be null, is of NSCocoaErrorDomain, 4866.
    [[nodiscard]] static std::optional<NSData> archivedDataWithRootObject(const id& object,
                                                                          bool requiringSecureCoding,
                                                                          Ref<NSError>* error);

    /// An empty archive, which is filled by the encode operations.
    [[nodiscard]] static Ref<NSKeyedArchiver> initRequiringSecureCoding(bool requiresSecureCoding);

    void encodeObjectForKey(const id& object, std::string_view key) override;
    void encodeBoolForKey(bool value, std::string_view key) override;
    void encodeInt64ForKey(std::int64_t value, std::string_view key) override;
    void encodeDoubleForKey(double value, std::string_view key) override;

    /// The archive of what was encoded so far; nullopt when something could not be.
    [[nodiscard]] std::optional<NSData> encodedData();
    /// Why encodedData() is nullopt; null otherwise.
    [[nodiscard]] const Ref<NSError>& error() const noexcept { return error_; }

protected:
    explicit NSKeyedArchiver(bool requiresSecureCoding);
    ~NSKeyedArchiver() override;

private:
    void fail(const std::string& reason);

    std::unique_ptr<internal::KeyedArchiveWriter> writer_;
    Ref<NSError> error_;
};

}  // namespace qz
