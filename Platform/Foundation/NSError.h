// NSError: how recoverable failures leave the library: a domain, a code whose meaning the domain fixes, and
// user information that usually holds a text for people. Immutable.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;

/// Errors that carry an errno.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
/// The key of the text for people in the user information.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";

class QZ_EXPORT NSError : public NSObject {
    QZ_OBJECT(NSError, NSObject)
public:
    /// The user information may be null; it is copied.
    [[nodiscard]] static Ref<NSError> errorWithDomain(std::string domain, std::int64_t code,
                                                      const Ref<NSDictionary>& userInfo);

    [[nodiscard]] const std::string& domain() const noexcept { return domain_; }
    [[nodiscard]] std::int64_t code() const noexcept { return code_; }
    /// Null when there is none.
    [[nodiscard]] const Ref<NSDictionary>& userInfo() const noexcept { return userInfo_; }
    /// The text under NSLocalizedDescriptionKey, or a general sentence that names domain and code.
    [[nodiscard]] std::string localizedDescription() const;

protected:
    NSError(std::string domain, std::int64_t code, Ref<NSDictionary> userInfo)
        : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

private:
    std::string domain_;
    std::int64_t code_;
    Ref<NSDictionary> userInfo_;
};

}  // namespace qz
