// NSKeyedUnarchiver: the objects of a keyed archive (NSKeyedArchiver.h), with everything they refer to.
//
//     const auto library = NSKeyedUnarchiver::unarchiveObjectWithData(data).as<Library>();
//
// Foreign bytes do no harm: time and memory grow with their number, nesting is bounded, an object that is
// referred to many times is read once, and no class is used that does not adopt NSCoding. What harm content
// can do to a coding class is up to its initWithCoder(). Keyed archives in XML property lists are read too.
//
// Reading fails as a whole: once something is wrong (a reference that leads nowhere, an unknown class, a
// value of another kind, a container that contains itself, an initWithCoder() that answers false or throws)
// everything is answered with nil, false and 0, and error() says why.
//
// An unarchiver is used by one thread; the class operations are safe from any.
#pragma once

#include <memory>

#include "Platform/Foundation/NSCoding.h"
#include "Platform/Foundation/NSKeyedArchiver.h"

namespace qz {

namespace internal {
class KeyedArchiveReader;
}

class QZ_EXPORT NSKeyedUnarchiver : public NSCoder {
    QZ_OBJECT(NSKeyedUnarchiver, NSCoder)
public:
    /// The root object; nil when there is none or reading fails. Secure coding is not required.
    [[nodiscard]] static id unarchiveObjectWithData(const NSData& data);

    /// An unarchiver that requires secure coding. Null with an error (NSCocoaErrorDomain, 3840 or 4864) for
    /// bytes that are no keyed archive; the pointer may be null.
    [[nodiscard]] static Ref<NSKeyedUnarchiver> initForReadingFromData(const NSData& data,
                                                                       Ref<NSError>* error);

    /// Whether coding classes must adopt NSSecureCoding. Set it before the first object is read.
    [[nodiscard]] bool requiresSecureCoding() const noexcept { return requiresSecureCoding_; }
    void setRequiresSecureCoding(bool required) noexcept { requiresSecureCoding_ = required; }

    [[nodiscard]] bool containsValueForKey(std::string_view key) const override;
    [[nodiscard]] id decodeObjectForKey(std::string_view key) override;
    [[nodiscard]] bool decodeBoolForKey(std::string_view key) override;
    [[nodiscard]] std::int64_t decodeInt64ForKey(std::string_view key) override;
    [[nodiscard]] double decodeDoubleForKey(std::string_view key) override;

    /// Why reading failed (NSCocoaErrorDomain, 4864); null as long as it has not.
    [[nodiscard]] const Ref<NSError>& error() const noexcept { return error_; }

protected:
    explicit NSKeyedUnarchiver(std::unique_ptr<internal::KeyedArchiveReader> reader);
    ~NSKeyedUnarchiver() override;

private:
    template <class T>
    T decodeScalar(std::string_view key);
    void fail(const std::string& reason);

    std::unique_ptr<internal::KeyedArchiveReader> reader_;
    Ref<NSError> error_;
    bool requiresSecureCoding_ = true;
};

}  // namespace qz
