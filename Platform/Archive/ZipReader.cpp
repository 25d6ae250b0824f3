#include "Platform/Archive/ZipReader.h"

#include <fcntl.h>
#include <glib.h>
#include <minizip/unzip.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "Platform/Archive/TraditionalCipher.h"
#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz::internal {

static_assert(ZipStatus::ok == UNZ_OK && ZipStatus::ioError == UNZ_ERRNO &&
              ZipStatus::endOfList == UNZ_END_OF_LIST_OF_FILE &&
              ZipStatus::parameterError == UNZ_PARAMERROR && ZipStatus::badArchive == UNZ_BADZIPFILE &&
              ZipStatus::crcError == UNZ_CRCERROR);

std::string ZipEntry::path() const {
    auto path = name.substr(0, name.find('\0'));
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

bool ZipEntry::hasText() const {
    const auto text = path();
    return ::g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

/// The archive's bytes, as minizip asks for them. It reads directories byte by byte and jumps between them
/// and the contents, which the C library's files answer with a system call for every jump.
class ZipReader::Stream {
public:
    [[nodiscard]] bool open(const std::string& path) {
        // Opening a pipe would wait for its writer.
        file_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        struct stat status {};
        if (!file_ || ::fstat(*file_, &status) != 0 || !S_ISREG(status.st_mode)) {
            return false;
        }
        fileSize_ = static_cast<std::uint64_t>(status.st_size);
        // minizip takes an end of the directory at offset 0, which is where an empty archive has it, for
        // none. It allows for other bytes in front of an archive, so this one gets a byte.
        std::array<char, 4> start{};
        const bool isEmptyArchive = read(start.data(), start.size()) == start.size() &&
                                    std::memcmp(start.data(), "PK\5\6", start.size()) == 0;
        shift_ = isEmptyArchive ? 1 : 0;
        position_ = 0;
        return true;
    }
    [[nodiscard]] std::uint64_t fileSize() const noexcept { return fileSize_; }
    /// How many bytes there were. minizip says where before each of its own reads.
    [[nodiscard]] std::size_t readAt(std::uint64_t position, std::span<std::byte> buffer) noexcept {
        position_ = position;
        return read(buffer.data(), buffer.size());
    }

    [[nodiscard]] zlib_filefunc64_def functions() noexcept {
        zlib_filefunc64_def functions{};
        functions.opaque = this;
        functions.zopen64_file = [](voidpf self, const void*, int) { return self; };
        functions.zread_file = [](voidpf, voidpf self, void* buffer, uLong size) -> uLong {
            return static_cast<Stream*>(self)->read(buffer, size);
        };
        functions.ztell64_file = [](voidpf, voidpf self) -> ZPOS64_T {
            return static_cast<Stream*>(self)->position_;
        };
        functions.zseek64_file = [](voidpf, voidpf self, ZPOS64_T offset, int origin) -> long {
            return static_cast<Stream*>(self)->seek(offset, origin);
        };
        functions.zclose_file = [](voidpf, voidpf) { return 0; };
        functions.zerror_file = [](voidpf, voidpf self) -> int {
            return static_cast<Stream*>(self)->isShort_ ? 1 : 0;
        };
        return functions;
    }

private:
    [[nodiscard]] std::size_t read(void* buffer, std::size_t size) noexcept {
        auto* to = static_cast<std::byte*>(buffer);
        std::size_t done = 0;
        while (done < size) {
            if (position_ < shift_) {
                to[done++] = std::byte{0};
                ++position_;
                continue;
            }
            const auto offset = position_ - shift_;
            std::size_t count = 0;
            if (offset >= windowStart_ && offset - windowStart_ < windowSize_) {
                const auto skipped = static_cast<std::size_t>(offset - windowStart_);
                count = std::min(size - done, windowSize_ - skipped);
                std::memcpy(to + done, window_.data() + skipped, count);
            } else if (size - done >= window_.size()) {
                count = readFile(to + done, size - done, offset);
            } else {
                windowSize_ = readFile(window_.data(), window_.size(), offset);
                windowStart_ = offset;
                if (windowSize_ != 0) {
                    continue;
                }
            }
            if (count == 0) {
                break;
            }
            done += count;
            position_ += count;
        }
        isShort_ = done < size;
        return done;
    }
    [[nodiscard]] std::size_t readFile(std::byte* to, std::size_t size, std::uint64_t offset) noexcept {
        if (offset > static_cast<std::uint64_t>(INT64_MAX)) {
            return 0;
        }
        for (;;) {
            const auto count = ::pread(*file_, to, size, static_cast<off_t>(offset));
            if (count >= 0) {
                return static_cast<std::size_t>(count);
            }
            if (errno != EINTR) {
                return 0;
            }
        }
    }
    [[nodiscard]] long seek(std::uint64_t offset, int origin) noexcept {
        const auto base = origin == ZLIB_FILEFUNC_SEEK_CUR   ? position_
                          : origin == ZLIB_FILEFUNC_SEEK_END ? fileSize_ + shift_
                                                             : 0;
        const auto position = base + offset;  // minizip goes back by wrapping round
        if (position > static_cast<std::uint64_t>(INT64_MAX)) {
            return -1;
        }
        position_ = position;
        return 0;
    }

    FileDescriptor file_;
    std::uint64_t fileSize_ = 0;
    std::uint64_t shift_ = 0;        // bytes in front of the file's
    std::uint64_t position_ = 0;     // with those
    bool isShort_ = false;           // the last read; a file's end, too, is an error to a directory
    std::uint64_t windowStart_ = 0;  // in the file
    std::size_t windowSize_ = 0;
    std::array<std::byte, std::size_t{16} * 1024> window_{};
};

/// The contents of an entry that minizip does not read: one that is enciphered, or of 4 GiB and more.
class ZipReader::Contents {
public:
    /// The raw bytes start at `position`.
    Contents(Stream& stream, std::uint64_t position, const unz_file_info64& info)
        : stream_(stream),
          position_(position),
          remainingRaw_(info.compressed_size),
          isDeflated_(info.compression_method == Z_DEFLATED),
          statedCRC_(static_cast<std::uint32_t>(info.crc)),
          remaining_(info.uncompressed_size) {}
    Contents(const Contents&) = delete;
    Contents& operator=(const Contents&) = delete;
    ~Contents() { ::inflateEnd(&inflation_); }

    /// A status. An empty password is none.
    [[nodiscard]] int start(std::string_view password) {
        const int status = password.empty() ? ZipStatus::ok : startDeciphering(password);
        return status == ZipStatus::ok && isDeflated_ ? ::inflateInit2(&inflation_, -MAX_WBITS) : status;
    }
    [[nodiscard]] std::int64_t read(std::span<std::byte> buffer) {
        buffer = buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), remaining_)));
        const std::int64_t count = buffer.empty() ? 0 : isDeflated_ ? inflate(buffer) : readRaw(buffer);
        if (count > 0) {
            remaining_ -= static_cast<std::uint64_t>(count);
            crc_ = ::crc32_z(crc_, reinterpret_cast<const Bytef*>(buffer.data()),
                             static_cast<std::size_t>(count));
        }
        return count;
    }
    [[nodiscard]] int status() const noexcept {
        return remaining_ == 0 && crc_ != statedCRC_ ? ZipStatus::crcError : ZipStatus::ok;
    }

private:
    [[nodiscard]] int startDeciphering(std::string_view password) {
        // The header is there to make equal texts differ. What it says of the password is one byte, and less
        // than the check sum says in the end.
        cipher_.emplace(password);
        std::array<std::byte, TraditionalCipher::headerSize> header;
        const bool isWhole = readRaw(header) == static_cast<std::int64_t>(header.size());
        return isWhole ? ZipStatus::ok : ZipStatus::badArchive;
    }
    [[nodiscard]] std::int64_t readRaw(std::span<std::byte> buffer) {
        buffer =
            buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), remainingRaw_)));
        const auto count = stream_.readAt(position_, buffer);
        if (count < buffer.size()) {
            return ZipStatus::ioError;
        }
        position_ += count;
        remainingRaw_ -= count;
        if (cipher_) {
            cipher_->decipher(buffer);
        }
        return static_cast<std::int64_t>(count);
    }
    [[nodiscard]] std::int64_t inflate(std::span<std::byte> buffer) {
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
        const auto count = static_cast<std::int64_t>(buffer.size() - inflation_.avail_out);
        return count > 0 || status == Z_STREAM_END ? count : status;
    }

    Stream& stream_;
    std::uint64_t position_;
    std::uint64_t remainingRaw_;
    std::optional<TraditionalCipher> cipher_;
    bool isDeflated_;
    z_stream inflation_{};
    std::array<std::byte, std::size_t{16} * 1024> input_{};
    uLong crc_ = 0;
    uLong statedCRC_;
    std::uint64_t remaining_;
};

struct ZipReader::State {
    Stream stream;
    unzFile handle = nullptr;
    // The open entry.
    std::unique_ptr<Contents> contents;  // null where minizip reads
    std::uint64_t remaining = 0;
    int readStatus = ZipStatus::ok;

    /// What of an entry does not fit 32 bits.
    struct Wide {
        bool isUsed = false;
        std::optional<std::uint64_t> offset;  // of its header
    };
    /// The current entry's information, with the sizes that do not fit 32 bits.
    [[nodiscard]] int information(unz_file_info64& info, Wide& wide) const;
    /// Where the raw bytes of the current entry start: a status.
    [[nodiscard]] int findRaw(const std::optional<std::uint64_t>& offset, std::uint64_t& position);
};

namespace {

constexpr std::uint64_t elsewhere = 0xffffffff;  // in place of a number that stands in the ZIP64 field

std::uint64_t littleEndian(std::span<const std::byte> bytes) noexcept {
    std::uint64_t value = 0;
    unsigned shift = 0;
    for (const auto byte : bytes) {
        value |= std::to_integer<std::uint64_t>(byte) << shift;
        shift += 8;
    }
    return value;
}

/// The extra field of this kind, if there is one.
std::span<const std::byte> extraField(std::span<const std::byte> extra, std::uint64_t kind) noexcept {
    while (extra.size() >= 4) {
        const auto size = static_cast<std::size_t>(littleEndian(extra.subspan(2, 2)));
        const auto content = extra.subspan(4, std::min(size, extra.size() - 4));
        if (littleEndian(extra.first(2)) == kind) {
            return content;
        }
        extra = extra.subspan(4 + content.size());
    }
    return {};
}

}  // namespace

int ZipReader::State::information(unz_file_info64& info, Wide& wide) const {
    if (::unzGetOffset64(handle) == 0) {
        return ZipStatus::parameterError;
    }
    int status = ::unzGetCurrentFileInfo64(handle, &info, nullptr, 0, nullptr, 0, nullptr, 0);
    if (status != UNZ_OK || info.size_file_extra == 0) {
        return status;
    }
    std::vector<std::byte> extra(info.size_file_extra);
    status = ::unzGetCurrentFileInfo64(handle, &info, nullptr, 0, extra.data(), extra.size(), nullptr, 0);
    // minizip compares with a number of 64 bits where it looks for this field, and never finds it. What
    // stands in it, in this order, is what did not fit: APPNOTE.TXT 6.3.10, section 4.5.3.
    constexpr std::uint64_t zip64 = 1;
    auto field = extraField(extra, zip64);
    const auto next = [&] {
        const auto value = littleEndian(field.first(8));
        field = field.subspan(8);
        wide.isUsed = true;
        return value;
    };
    if (info.uncompressed_size == elsewhere && field.size() >= 8) {
        info.uncompressed_size = next();
    }
    if (info.compressed_size == elsewhere && field.size() >= 8) {
        info.compressed_size = next();
    }
    // Some write a field where nothing needs one.
    if (field.size() >= 8 && littleEndian(field.first(8)) >= elsewhere) {
        wide.offset = next();
    }
    return status;
}

int ZipReader::State::findRaw(const std::optional<std::uint64_t>& offset, std::uint64_t& position) {
    if (offset) {
        constexpr std::size_t headerSize = 30;
        std::array<std::byte, headerSize> header{};
        if (*offset >= stream.fileSize() || stream.readAt(*offset, header) != header.size() ||
            std::memcmp(header.data(), "PK\3\4", 4) != 0) {
            return ZipStatus::badArchive;
        }
        const std::span<const std::byte> bytes(header);
        position =
            *offset + headerSize + littleEndian(bytes.subspan(26, 2)) + littleEndian(bytes.subspan(28, 2));
        return ZipStatus::ok;
    }
    constexpr int raw = 1;
    int method = 0;
    const int status = ::unzOpenCurrentFile2(handle, &method, nullptr, raw);
    position = status == UNZ_OK ? ::unzGetCurrentFileZStreamPos64(handle) : 0;
    return status;
}

ZipReader::ZipReader() : state_(std::make_unique<State>()) {}

ZipReader::~ZipReader() {
    if (state_->handle) {
        ::unzClose(state_->handle);
    }
}

bool ZipReader::open(const std::string& path) {
    if (!state_->stream.open(path)) {
        return false;
    }
    auto functions = state_->stream.functions();
    state_->handle = ::unzOpen2_64(path.c_str(), &functions);
    return state_->handle != nullptr;
}

void* ZipReader::handle() const noexcept {
    return state_->handle;
}

std::uint64_t ZipReader::numberOfEntries() const {
    unz_global_info64 info{};
    return ::unzGetGlobalInfo64(state_->handle, &info) == UNZ_OK ? info.number_entry : 0;
}

std::uint64_t ZipReader::commentSize() const {
    unz_global_info64 info{};
    return ::unzGetGlobalInfo64(state_->handle, &info) == UNZ_OK ? info.size_comment : 0;
}

int ZipReader::goToFirst() {
    // minizip reads a first entry where there is none, and finds it damaged.
    return state_->handle && numberOfEntries() == 0 ? ZipStatus::endOfList
                                                    : ::unzGoToFirstFile(state_->handle);
}

int ZipReader::goToNext() {
    return ::unzGoToNextFile(state_->handle);
}

int ZipReader::locate(const std::string& name) {
    constexpr int ignoringCase = 2;
    return ::unzLocateFile(state_->handle, name.c_str(), ignoringCase);
}

int ZipReader::entry(ZipEntry& entry) const {
    unz_file_info64 info{};
    State::Wide wide;
    int status = state_->information(info, wide);
    if (status != ZipStatus::ok) {
        return status;
    }
    entry.name.resize(info.size_filename);
    status = ::unzGetCurrentFileInfo64(state_->handle, nullptr, entry.name.data(), entry.name.size(), nullptr,
                                       0, nullptr, 0);
    const auto narrow = [](uLong value) { return static_cast<std::uint32_t>(value); };
    entry.versionMadeBy = narrow(info.version);
    entry.versionNeeded = narrow(info.version_needed);
    entry.flag = narrow(info.flag);
    entry.compressionMethod = narrow(info.compression_method);
    entry.dosDate = narrow(info.dosDate);
    entry.crc = narrow(info.crc);
    entry.compressedSize = info.compressed_size;
    entry.uncompressedSize = info.uncompressed_size;
    entry.extraFieldSize = narrow(info.size_file_extra);
    entry.commentSize = narrow(info.size_file_comment);
    entry.diskNumberStart = narrow(info.disk_num_start);
    entry.internalAttributes = narrow(info.internal_fa);
    entry.externalAttributes = narrow(info.external_fa);
    return status;
}

std::uint64_t ZipReader::plausibleSize(const ZipEntry& entry) const noexcept {
    constexpr std::uint64_t bestRatio = 1032;  // of deflate: zlib's technical notes
    constexpr std::uint64_t ratioLimit = ~std::uint64_t{0} / bestRatio;
    const auto compressed = std::min({entry.compressedSize, state_->stream.fileSize(), ratioLimit});
    return std::min(entry.uncompressedSize, compressed * bestRatio);
}

int ZipReader::openEntry(Text password) {
    unz_file_info64 info{};
    State::Wide wide;
    int status = state_->information(info, wide);
    if (status != ZipStatus::ok) {
        return status;
    }
    state_->contents.reset();
    state_->remaining = info.uncompressed_size;
    state_->readStatus = ZipStatus::ok;
    const bool isDeciphered = (info.flag & 1U) != 0 && !password.view().empty();
    if (!isDeciphered && !wide.isUsed) {
        return ::unzOpenCurrentFile(state_->handle);
    }
    if (info.compression_method != 0 && info.compression_method != Z_DEFLATED) {
        return ZipStatus::badArchive;
    }
    std::uint64_t position = 0;
    status = state_->findRaw(wide.offset, position);
    if (status == ZipStatus::ok) {
        state_->contents = std::make_unique<Contents>(state_->stream, position, info);
        state_->readStatus = state_->contents->start(isDeciphered ? password.view() : std::string_view());
    }
    return status;
}

std::int64_t ZipReader::readPart(std::span<std::byte> buffer) {
    return state_->contents
               ? state_->contents->read(buffer)
               : ::unzReadCurrentFile(state_->handle, buffer.data(), static_cast<unsigned>(buffer.size()));
}

std::int64_t ZipReader::read(std::span<std::byte> buffer) {
    if (state_->readStatus < 0) {
        return state_->readStatus;
    }
    buffer = buffer.first(std::min(buffer.size(), std::size_t{INT_MAX}));
    auto count = buffer.empty() ? 0 : readPart(buffer);
    if (count == 0 && !buffer.empty() && state_->remaining != 0) {
        count = ZipStatus::badArchive;
    }
    if (count < 0) {
        state_->readStatus = static_cast<int>(count);
    } else {
        state_->remaining -= static_cast<std::uint64_t>(count);
    }
    return count;
}

std::size_t ZipReader::readAll(std::span<std::byte> buffer, const std::stop_token& stop) {
    constexpr auto piece = std::size_t{1} << 20U;  // between two looks at the token
    std::size_t done = 0;
    while (done < buffer.size() && !stop.stop_requested()) {
        const auto count = read(buffer.subspan(done, std::min(piece, buffer.size() - done)));
        if (count <= 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

int ZipReader::closeEntry() {
    const int status = closeEntryForgivingly();
    return status == ZipStatus::ok ? state_->readStatus : status;
}

int ZipReader::closeEntryForgivingly() {
    const int status = ::unzCloseCurrentFile(state_->handle);
    const auto contents = std::move(state_->contents);
    if (!contents) {
        return status;
    }
    return state_->readStatus < 0 ? state_->readStatus : contents->status();
}

}  // namespace qz::internal
