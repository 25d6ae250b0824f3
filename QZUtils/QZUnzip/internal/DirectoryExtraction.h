// The entries of an archive as files below a directory, one by one, as QZUnzip.h says of the whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Archive/internal/ZipReader.h"
#include "Platform/Foundation/internal/ConfinedDirectory.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/QZUnzip/QZUnzip.h"

namespace qz::internal {

class DirectoryExtraction {
public:
    /// Password and filter must live as long.
    DirectoryExtraction(ZipReader& archive, std::string destination, bool overwrites, Text password,
                        const QZUnzip::Filter& filter);

    /// The archive's current entry. What goes wrong is logged.
    void extractEntry();
    [[nodiscard]] std::uint64_t extractedFiles() const noexcept { return extractedFiles_; }
    /// The first lines that were logged.
    [[nodiscard]] std::vector<std::string>& warnings() noexcept { return warnings_; }

private:
    void placeOpenEntry(const ZipEntry& entry);
    void placeDirectory(const std::string& name, const ZipEntry& entry);
    void placeFile(const std::string& name, const ZipEntry& entry);
    [[nodiscard]] int writeContents(const FileDescriptor& file);
    void setDate(const std::string& name, const ZipEntry& entry);
    /// An errno, or 0. The destination is not made before something is to go there.
    [[nodiscard]] int openDestination();
    void warn(std::string text);
    void warnOfFile(std::string_view name);

    ZipReader& archive_;
    const std::string destination_;
    const bool overwrites_;
    const Text password_;
    const QZUnzip::Filter& filter_;
    const double dateFor1980_;
    ConfinedDirectory directory_;
    bool isDestinationOpen_ = false;
    std::vector<std::byte> buffer_;
    std::uint64_t extractedFiles_ = 0;
    std::vector<std::string> warnings_;
};

}  // namespace qz::internal
