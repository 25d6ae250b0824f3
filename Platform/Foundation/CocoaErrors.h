// Errors of files and property lists: NSCocoaErrorDomain, its codes and the entries of their user
// information.
#pragma once

#include <cstdint>
#include <string_view>

namespace qz {

inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";

enum class NSCocoaErrorCode : std::int64_t {
    FileNoSuchFile = 4,  // of an item that was to be removed, moved or changed
    FileReadUnknown = 256,
    FileReadNoPermission = 257,
    FileReadNoSuchFile = 260,
    FileReadTooLarge = 263,
    FileWriteUnknown = 512,
    FileWriteNoPermission = 513,
    FileWriteFileExists = 516,
    FileWriteOutOfSpace = 640,
    FileWriteVolumeReadOnly = 642,
    Formatting = 2048,  // a text that is not of the form that is wanted
    PropertyListReadCorrupt = 3840,
    PropertyListWriteInvalid = 3852,
    CoderReadCorrupt = 4864,
    CoderInvalidValue = 4866,
    TextReadInapplicableDocumentType = 65806,  // of a document that is read as attributed text
};

/// The path (text) that an operation failed on.
inline constexpr std::string_view NSFilePathErrorKey = "NSFilePath";
/// The error (NSError) behind an error: that of the system, in NSPOSIXErrorDomain, for files.
inline constexpr std::string_view NSUnderlyingErrorKey = "NSUnderlyingError";

}  // namespace qz
