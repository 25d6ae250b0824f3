// How the bytes of an enciphered entry become those that were put in: a scheme each.
#pragma once

#include <cstddef>
#include <span>

namespace qz::internal {

class EntryCipher {
public:
    EntryCipher() = default;
    EntryCipher(const EntryCipher&) = delete;
    EntryCipher& operator=(const EntryCipher&) = delete;
    virtual ~EntryCipher() = default;

    /// Bytes in front of the contents.
    [[nodiscard]] virtual std::size_t headerSize() const noexcept = 0;
    /// Bytes behind them.
    [[nodiscard]] virtual std::size_t trailerSize() const noexcept = 0;
    /// Before anything else. False when the header shows that the password is wrong.
    [[nodiscard]] virtual bool start(std::span<std::byte> header) = 0;
    /// The next bytes of the contents.
    virtual void decipher(std::span<std::byte> bytes) = 0;
    /// After all of the contents: false when the trailer is that of others.
    [[nodiscard]] virtual bool isAuthentic(std::span<const std::byte> trailer) = 0;
};

}  // namespace qz::internal
