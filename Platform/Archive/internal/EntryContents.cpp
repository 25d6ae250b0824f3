#include "Platform/Archive/internal/EntryContents.h"

#include <algorithm>
#include <limits>

#include "Platform/Archive/internal/ZipStatus.h"

namespace qz::internal {

namespace {

std::span<std::byte> limited(std::span<std::byte> buffer, std::uint64_t size) {
    return buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size)));
}

}  // namespace

EntryContents::~EntryContents() {
    if (isInflationMade_) {
        ::inflateEnd(&inflation_);
    }
}

int EntryContents::open(const Description& description, std::unique_ptr<EntryCipher> cipher) {
    position_ = description.position;
    remainingRaw_ = description.rawSize;
    remaining_ = description.size;
    isDeflated_ = description.isDeflated;
    cipher_ = std::move(cipher);
    statedCheckSum_ = description.checkSum;
    checkSum_ = 0;
    const int status = cipher_ ? startCipher() : ZipStatus::ok;
    return status == ZipStatus::ok && isDeflated_ ? startInflation() : status;
}

int EntryContents::startCipher() {
    const auto around = cipher_->headerSize() + cipher_->trailerSize();
    const auto header = std::span(input_).first(cipher_->headerSize());
    if (remainingRaw_ < around || file_.readAt(position_, header) != header.size()) {
        return ZipStatus::badArchive;
    }
    position_ += header.size();
    remainingRaw_ -= around;
    return cipher_->start(header) ? ZipStatus::ok : ZipStatus::crcError;
}

int EntryContents::startInflation() {
    inflation_.next_in = nullptr;
    inflation_.avail_in = 0;
    if (isInflationMade_) {
        return ::inflateReset(&inflation_);
    }
    const int status = ::inflateInit2(&inflation_, -MAX_WBITS);
    isInflationMade_ = status == Z_OK;
    return status;
}

std::int64_t EntryContents::read(std::span<std::byte> buffer) {
    buffer = limited(buffer, std::min<std::uint64_t>(remaining_, std::numeric_limits<int>::max()));
    if (buffer.empty()) {
        return 0;
    }
    const auto count = isDeflated_ ? inflate(buffer) : readRaw(buffer);
    if (count > 0) {
        remaining_ -= static_cast<std::uint64_t>(count);
        if (statedCheckSum_) {
            checkSum_ = ::crc32_z(checkSum_, reinterpret_cast<const Bytef*>(buffer.data()),
                                  static_cast<std::size_t>(count));
        }
    }
    return count;
}

std::int64_t EntryContents::readRaw(std::span<std::byte> buffer) {
    buffer = limited(buffer, remainingRaw_);
    if (file_.readAt(position_, buffer) < buffer.size()) {
        return ZipStatus::ioError;
    }
    position_ += buffer.size();
    remainingRaw_ -= buffer.size();
    if (cipher_) {
        cipher_->decipher(buffer);
    }
    return static_cast<std::int64_t>(buffer.size());
}

std::int64_t EntryContents::inflate(std::span<std::byte> buffer) {
    inflation_.next_out = reinterpret_cast<Bytef*>(buffer.data());
    inflation_.avail_out = static_cast<uInt>(buffer.size());
    int status = Z_OK;
    while (status == Z_OK && inflation_.avail_out != 0) {
        if (inflation_.avail_in == 0) {
            const auto count = readRaw(input_);
            if (count < 0) {
                return count;
            }
            inflation_.next_in = reinterpret_cast<Bytef*>(input_.data());
            inflation_.avail_in = static_cast<uInt>(count);
        }
        status = ::inflate(&inflation_, Z_SYNC_FLUSH);
    }
    return status == Z_OK || status == Z_STREAM_END
               ? static_cast<std::int64_t>(buffer.size() - inflation_.avail_out)
               : status;
}

int EntryContents::close() {
    const bool isWhole = remaining_ != 0 ||
                         ((!statedCheckSum_ || *statedCheckSum_ == checkSum_) && (!cipher_ || isAuthentic()));
    cipher_.reset();
    return isWhole ? ZipStatus::ok : ZipStatus::crcError;
}

bool EntryContents::isAuthentic() {
    // The size is not among what is authenticated: the contents must end where it says.
    std::array<std::byte, 1> more;
    if (isDeflated_ ? inflate(more) != 0 : remainingRaw_ != 0) {
        return false;
    }
    std::array<std::byte, 16> trailer;
    const auto stored = std::span(trailer).first(cipher_->trailerSize());
    return remainingRaw_ == 0 && file_.readAt(position_, stored) == stored.size() &&
           cipher_->isAuthentic(stored);
}

}  // namespace qz::internal
