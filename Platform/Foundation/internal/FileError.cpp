#include "Platform/Foundation/internal/FileError.h"

#include <cerrno>
#include <system_error>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"

namespace qz::internal {

namespace {

NSCocoaErrorCode codeOf(FileOperation operation, int number) {
    const bool isReading = operation == FileOperation::Reading;
    switch (number) {
        case ENOENT:
            return isReading ? NSCocoaErrorCode::FileReadNoSuchFile : NSCocoaErrorCode::FileNoSuchFile;
        case EACCES:
        case EPERM:
            return isReading ? NSCocoaErrorCode::FileReadNoPermission
                             : NSCocoaErrorCode::FileWriteNoPermission;
        case EEXIST:
            return NSCocoaErrorCode::FileWriteFileExists;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return NSCocoaErrorCode::FileWriteOutOfSpace;
        case EROFS:
            return NSCocoaErrorCode::FileWriteVolumeReadOnly;
        case ENOMEM:
            return NSCocoaErrorCode::FileReadTooLarge;
        default:
            return isReading ? NSCocoaErrorCode::FileReadUnknown : NSCocoaErrorCode::FileWriteUnknown;
    }
}

}  // namespace

Ref<NSError> fileError(FileOperation operation, int number, std::string_view path) {
    const auto reason = std::generic_category().message(number);
    const auto system =
        NSError::errorWithDomain(std::string(NSPOSIXErrorDomain), number,
                                 NSDictionary::dictionary({{NSLocalizedDescriptionKey, reason}}));
    const auto text = stringWithFormat(
        operation == FileOperation::Reading ? "\"%@\" cannot be read: %@" : "\"%@\" cannot be changed: %@",
        path, reason);
    return NSError::errorWithDomain(
        std::string(NSCocoaErrorDomain), static_cast<std::int64_t>(codeOf(operation, number)),
        NSDictionary::dictionary(
            {{NSLocalizedDescriptionKey, text}, {NSFilePathErrorKey, path}, {NSUnderlyingErrorKey, system}}));
}

bool failWithFileError(FileOperation operation, int number, std::string_view path, Ref<NSError>* error) {
    if (error) {
        *error = fileError(operation, number, path);
    }
    return false;
}

}  // namespace qz::internal
