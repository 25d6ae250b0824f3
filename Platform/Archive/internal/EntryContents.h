// The contents of one entry after the other: stored or deflated, enciphered or not.
#pragma once

#include <zlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "Platform/Archive/internal/ArchiveFile.h"
#include "Platform/Archive/internal/EntryCipher.h"

namespace qz::internal {

class EntryContents {
public:
    struct Description {
        std::uint64_t position = 0;  // of the raw bytes, with what a cipher has around them
        std::uint64_t rawSize = 0;
        std::uint64_t size = 0;
        bool isDeflated = false;
        std::optional<std::uint32_t> checkSum;
    };

    explicit EntryContents(const ArchiveFile& file) : file_(file) {}
    EntryContents(const EntryContents&) = delete;
    EntryContents& operator=(const EntryContents&) = delete;
    ~EntryContents();

    /// A status, and the first one of reading. A cipher may be null.
    [[nodiscard]] int open(const Description& description, std::unique_ptr<EntryCipher> cipher);
    /// How many bytes were read, 0 at the end, or a status below zero, upon which nothing in the buffer
    /// counts.
    [[nodiscard]] std::int64_t read(std::span<std::byte> buffer);
    [[nodiscard]] std::uint64_t remaining() const noexcept { return remaining_; }
    [[nodiscard]] bool isEnciphered() const noexcept { return cipher_ != nullptr; }
    /// When no reading failed: crcError when everything was read and is not what was put in.
    [[nodiscard]] int close();

private:
    [[nodiscard]] int startCipher();
    [[nodiscard]] int startInflation();
    [[nodiscard]] std::int64_t readRaw(std::span<std::byte> buffer);
    [[nodiscard]] std::int64_t inflate(std::span<std::byte> buffer);
    [[nodiscard]] bool isAuthentic();

    const ArchiveFile& file_;
    std::uint64_t position_ = 0;
    std::uint64_t remainingRaw_ = 0;  // without the cipher's
    std::uint64_t remaining_ = 0;
    bool isDeflated_ = false;
    std::unique_ptr<EntryCipher> cipher_;
    std::optional<std::uint32_t> statedCheckSum_;
    uLong checkSum_ = 0;
    bool isInflationMade_ = false;
    z_stream inflation_{};
    std::array<std::byte, std::size_t{64} * 1024> input_{};
};

}  // namespace qz::internal
