// Archives from anywhere, read in the three ways and by the facade: nothing breaks, memory and time go by the
// bytes, and nothing appears outside of the destination.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/QZUnzip/QZUnzip.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"

namespace {

namespace fs = std::filesystem;

/// A directory with nothing but the archive and the destination in it.
struct Place {
    Place() {
        auto pattern = (fs::temp_directory_path() / "qz-fuzz-XXXXXX").string();
        root = ::mkdtemp(pattern.data());
        qz::DDLog::sharedInstance()->setConsoleLevel(qz::LogLevel::Off);
    }
    ~Place() { fs::remove_all(root); }

    fs::path root;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Place place;
    const auto archive = (place.root / "archive.zip").string();
    const auto destination = place.root / "destination";
    std::ofstream(archive, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    constexpr std::uint64_t limit = std::uint64_t{1} << 24U;
    const auto tree = qz::NSMutableDictionary::dictionary();
    (void)qz::QZUnzip::extractFilesUntil({}, archive, tree, limit);
    (void)qz::QZUnzip::unzipArchiveAtPathOverwrite(archive, destination.string(), false, "pass", nullptr,
                                                   nullptr);
    (void)qz::QZUnzip::extractDataFromFilePassword("a", archive, "pass", true, nullptr);
    (void)qz::QZUnzip::extractDataFromFile("a", archive, nullptr);

    fs::remove_all(destination);
    (void)qz::SSZipArchive::unzipFileAtPathOverwrite(archive, destination.string(), true, "pass", nullptr);
    fs::remove_all(destination);
    fs::remove(archive);
    if (!fs::is_empty(place.root)) {
        std::abort();
    }
    return 0;
}
