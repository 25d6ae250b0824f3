#include "QZUtils/QZUnzip/unzLocateFileRegex.h"

#include <minizip/unzip.h>
#include <regex.h>

#include <array>
#include <cstring>
#include <optional>

namespace qz {

namespace {

constexpr std::size_t nameSize = 256;
constexpr std::size_t patternLimit = 256;

/// A compiled pattern.
class Pattern {
public:
    explicit Pattern(const char* text) : isValid_(::regcomp(&compiled_, text, 0) == 0) {}
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;
    ~Pattern() {
        if (isValid_) {
            ::regfree(&compiled_);
        }
    }

    [[nodiscard]] bool isValid() const noexcept { return isValid_; }
    [[nodiscard]] bool matches(const char* name) const {
        return ::regexec(&compiled_, name, 0, nullptr, 0) == 0;
    }

private:
    regex_t compiled_{};
    bool isValid_;
};

}  // namespace

int unzLocateFileRegex(void* archive, const char* pattern) {
    if (!archive || !pattern || std::strlen(pattern) >= patternLimit) {
        return UNZ_PARAMERROR;
    }
    unz64_file_pos position{};
    if (::unzGetOffset64(archive) == 0 || ::unzGetFilePos64(archive, &position) != UNZ_OK) {
        return UNZ_END_OF_LIST_OF_FILE;
    }
    // Compiled when the first name was read: which of the two failures is told depends on that order.
    std::optional<Pattern> compiled;
    int status = ::unzGoToFirstFile(archive);
    for (; status == UNZ_OK; status = ::unzGoToNextFile(archive)) {
        std::array<char, nameSize + 1> name{};  // minizip leaves names that fill their buffer without an end
        status = ::unzGetCurrentFileInfo64(archive, nullptr, name.data(), nameSize, nullptr, 0, nullptr, 0);
        if (status != UNZ_OK) {
            break;
        }
        if (!compiled) {
            compiled.emplace(pattern);
        }
        if (!compiled->isValid()) {
            return UNZ_PARAMERROR;
        }
        if (compiled->matches(name.data())) {
            return UNZ_OK;
        }
    }
    ::unzGoToFilePos64(archive, &position);
    return status;
}

}  // namespace qz
