#include "Platform/Archive/internal/ZipReader.h"

#include <glib.h>
#include <minizip/unzip.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <vector>

#include "Platform/Archive/internal/AESCipher.h"
#include "Platform/Archive/internal/ArchiveFile.h"
#include "Platform/Archive/internal/EntryContents.h"
#include "Platform/Archive/internal/LittleEndian.h"
#include "Platform/Archive/internal/TraditionalCipher.h"

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

namespace {

constexpr std::uint64_t elsewhere = 0xffffffff;  // in place of a number that stands in the ZIP64 field

/// What the directory says of an entry, each number from where it stands.
struct Record {
    unz_file_info64 info{};
    std::vector<std::byte> extra;
    std::uint64_t header = 0;  // the position of the entry's own header
};

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

struct ZipReader::State {
    ArchiveFile file;
    unzFile handle = nullptr;
    EntryContents contents{file};
    int readStatus = ZipStatus::ok;  // of the open entry

    /// The current entry's.
    [[nodiscard]] int read(Record& record);
    [[nodiscard]] int describe(const Record& record, EntryContents::Description& description) const;
};

int ZipReader::State::read(Record& record) {
    const auto offset = ::unzGetOffset64(handle);
    if (offset == 0) {
        return ZipStatus::parameterError;
    }
    auto& info = record.info;
    int status = ZipStatus::ok;
    const auto position = file.beginningOfRead(
        [&] { status = ::unzGetCurrentFileInfo64(handle, &info, nullptr, 0, nullptr, 0, nullptr, 0); });
    if (status != UNZ_OK) {
        return status;
    }
    record.extra.resize(info.size_file_extra);
    if (!record.extra.empty()) {
        status = ::unzGetCurrentFileInfo64(handle, &info, nullptr, 0, record.extra.data(),
                                           record.extra.size(), nullptr, 0);
    }
    // minizip tells nobody where an entry's header is.
    constexpr std::size_t placeOfOffset = 42;
    std::array<std::byte, 4> header{};
    if (file.readDirectoryAt(position + placeOfOffset, header) != header.size()) {
        return ZipStatus::ioError;
    }
    record.header = littleEndian(header);
    // minizip compares with a number of 64 bits where it looks for this field, and never finds it. What
    // stands in it, in this order, is what did not fit: APPNOTE.TXT 6.3.10, section 4.5.3.
    constexpr std::uint64_t zip64 = 1;
    auto field = extraField(record.extra, zip64);
    const auto replace = [&](auto& number) {
        if (number == elsewhere && field.size() >= 8) {
            number = littleEndian(field.first(8));
            field = field.subspan(8);
        }
    };
    replace(info.uncompressed_size);
    replace(info.compressed_size);
    replace(record.header);
    record.header += position - offset;  // bytes in front of the archive
    return status;
}

/// minizip's checks: the entry's own header says the same as the directory.
int ZipReader::State::describe(const Record& record, EntryContents::Description& description) const {
    constexpr std::size_t headerSize = 30;
    const auto& info = record.info;
    std::array<std::byte, headerSize> header{};
    if (record.header >= file.size()) {
        return ZipStatus::badArchive;
    }
    if (file.readAt(record.header, header) != header.size()) {
        return ZipStatus::ioError;
    }
    const auto number = [&](std::size_t place, std::size_t size) {
        return littleEndian(std::span(header).subspan(place, size));
    };
    constexpr std::uint64_t signature = 0x04034b50;
    constexpr std::uint64_t sizesFollow = 8;
    const bool hasSizes = (number(6, 2) & sizesFollow) == 0;
    const auto agrees = [&](std::uint64_t stated, std::uint64_t known) {
        return !hasSizes || stated == elsewhere || stated == known;
    };
    const auto nameSize = number(26, 2);
    if (number(0, 4) != signature || number(8, 2) != info.compression_method ||
        (hasSizes && number(14, 4) != info.crc) || !agrees(number(18, 4), info.compressed_size) ||
        !agrees(number(22, 4), info.uncompressed_size) || nameSize != info.size_filename) {
        return ZipStatus::badArchive;
    }
    description.position = record.header + headerSize + nameSize + number(28, 2);
    description.rawSize = info.compressed_size;
    description.size = info.uncompressed_size;
    description.checkSum = static_cast<std::uint32_t>(info.crc);
    return ZipStatus::ok;
}

ZipReader::ZipReader() : state_(std::make_unique<State>()) {}

ZipReader::~ZipReader() {
    if (state_->handle) {
        ::unzClose(state_->handle);
    }
}

bool ZipReader::open(const std::string& path) {
    if (!state_->file.open(path)) {
        return false;
    }
    auto functions = state_->file.functions();
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
    Record record;
    int status = state_->read(record);
    if (status != ZipStatus::ok) {
        return status;
    }
    const auto& info = record.info;
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
    const auto compressed = std::min({entry.compressedSize, state_->file.size(), ratioLimit});
    return std::min(entry.uncompressedSize, compressed * bestRatio);
}

int ZipReader::openEntry(Text password) {
    Record record;
    EntryContents::Description description;
    int status = state_->read(record);
    if (status == ZipStatus::ok) {
        status = state_->describe(record, description);
    }
    if (status != ZipStatus::ok) {
        return status;
    }
    auto method = static_cast<std::uint32_t>(record.info.compression_method);
    std::unique_ptr<EntryCipher> cipher;
    if ((record.info.flag & 1U) != 0 && !password.view().empty()) {
        if (method == AESParameters::compressionMethod) {
            const auto parameters = AESParameters::parse(extraField(record.extra, AESParameters::extraField));
            if (!parameters) {
                return ZipStatus::badArchive;
            }
            method = parameters->actualMethod;
            if (!parameters->hasCheckSum) {
                description.checkSum.reset();
            }
            cipher = std::make_unique<AESCipher>(*parameters, password.view());
        } else {
            cipher = std::make_unique<TraditionalCipher>(password.view());
        }
    }
    if (method != 0 && method != Z_DEFLATED) {
        return ZipStatus::badArchive;
    }
    description.isDeflated = method == Z_DEFLATED;
    state_->readStatus = state_->contents.open(description, std::move(cipher));
    return ZipStatus::ok;
}

std::int64_t ZipReader::read(std::span<std::byte> buffer) {
    if (state_->readStatus < 0) {
        return state_->readStatus;
    }
    auto count = state_->contents.read(buffer);
    if (count == 0 && !buffer.empty() && state_->contents.remaining() != 0) {
        count = ZipStatus::badArchive;
    }
    if (count < 0) {
        state_->readStatus = static_cast<int>(count);
    }
    return count;
}

std::size_t ZipReader::readAll(std::span<std::byte> buffer, const std::stop_token& stop) {
    constexpr auto betweenLooks = std::size_t{1} << 20U;
    const auto piece = stop.stop_possible() ? betweenLooks : buffer.size();
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
    return state_->readStatus < 0 ? state_->readStatus : state_->contents.close();
}

int ZipReader::closeEntryForgivingly() {
    return state_->contents.isEnciphered() ? closeEntry() : state_->contents.close();
}

}  // namespace qz::internal
