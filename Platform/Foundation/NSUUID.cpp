#include "Platform/Foundation/NSUUID.h"

#include <sys/random.h>

#include <cerrno>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

QZ_DEFINE_CLASS(NSUUID, cls) {
    cls.classMethod("UUID", [](Class&) { return UUID(); });
    cls.property("UUIDString", &NSUUID::UUIDString);
    cls.method("description", &NSUUID::UUIDString);
    cls.method("isEqual:", [](const NSUUID& self, const id& other) {
        const auto uuid = other.as<NSUUID>();
        return uuid && uuid->bytes_ == self.bytes_;
    });
    cls.method("hash", [](const NSUUID& self) {
        std::uint64_t hash = 0;
        for (const auto byte : self.bytes_) {
            hash = hash * 31 + std::to_integer<std::uint64_t>(byte);
        }
        return hash;
    });
}

Ref<NSUUID> NSUUID::UUID() {
    Bytes bytes{};
    // Up to 256 bytes come whole once the kernel's generator is ready; before that a signal may come first.
    while (::getrandom(bytes.data(), bytes.size(), 0) < 0) {
        if (errno != EINTR) {
            raise(NSInternalInconsistencyException, "the kernel gives no random bytes");
        }
    }
    return initWithUUIDBytes(internal::asRandomUUID(bytes));
}

Ref<NSUUID> NSUUID::initWithUUIDBytes(const Bytes& bytes) {
    return make<NSUUID>(bytes);
}

std::string NSUUID::UUIDString() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text += '-';
        }
        const auto value = std::to_integer<unsigned>(bytes_[i]);
        text += digits[value / 16];
        text += digits[value % 16];
    }
    return text;
}

NSUUID::Bytes internal::asRandomUUID(NSUUID::Bytes bytes) noexcept {
    bytes[6] = (bytes[6] & std::byte{0x0F}) | std::byte{0x40};
    bytes[8] = (bytes[8] & std::byte{0x3F}) | std::byte{0x80};
    return bytes;
}

}  // namespace qz
