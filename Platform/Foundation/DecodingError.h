// DecodingError: what is thrown when a document has another value than the one that is to be made of it.
//
// Decoding happens deep inside of calls that build up values, which is why it is thrown where other failures
// of what comes from outside are returned.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "Platform/Export.h"

namespace qz {

class QZ_EXPORT DecodingError : public std::exception {
public:
    enum class Kind : std::uint8_t {
        TypeMismatch,   // the value is of another type
        DataCorrupted,  // the value is of the type, and its content makes no sense
    };

    DecodingError(Kind kind, std::string debugDescription);
    ~DecodingError() override;

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] const std::string& debugDescription() const noexcept { return debugDescription_; }
    [[nodiscard]] const char* what() const noexcept override { return debugDescription_.c_str(); }

private:
    Kind kind_;
    std::string debugDescription_;
};

}  // namespace qz
