// NSUUID: a universally unique identifier (RFC 4122), sixteen bytes.
//
//     NSUUID::UUID()->UUIDString()  // "A6D5C03E-4C5B-4F39-8C35-0D8E0F3AD4A1"
//
// Safe from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT NSUUID : public NSObject {
    QZ_OBJECT(NSUUID, NSObject)
public:
    using Bytes = std::array<std::byte, 16>;

    /// A new random one (version 4).
    [[nodiscard]] static Ref<NSUUID> UUID();
    /// The bytes are taken as they are.
    [[nodiscard]] static Ref<NSUUID> initWithUUIDBytes(const Bytes& bytes);

    [[nodiscard]] const Bytes& getUUIDBytes() const noexcept { return bytes_; }
    /// 36 characters, upper-case.
    [[nodiscard]] std::string UUIDString() const;

protected:
    explicit NSUUID(const Bytes& bytes) : bytes_(bytes) {}

private:
    const Bytes bytes_;
};

namespace internal {
/// Marks bytes as those of a random identifier (RFC 4122, 4.4).
[[nodiscard]] NSUUID::Bytes asRandomUUID(NSUUID::Bytes bytes) noexcept;
}  // namespace internal

}  // namespace qz
