// NSFileManager: what is done with files and directories by path.
//
// Whatever fails answers false or null and gives an error of NSCocoaErrorDomain (CocoaErrors.h), with the
// path under NSFilePathErrorKey and the system's error (NSPOSIXErrorDomain) under NSUnderlyingErrorKey. Error
// pointers may be null. Every operation is safe from any thread, as far as the file system is.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSArray;
class NSDictionary;
class NSError;

// Keys of attributes.
/// Bytes.
inline constexpr std::string_view NSFileSize = "NSFileSize";
/// NSDate.
inline constexpr std::string_view NSFileModificationDate = "NSFileModificationDate";
/// One of the NSFileType… texts.
inline constexpr std::string_view NSFileType = "NSFileType";
/// The mode's lower twelve bits.
inline constexpr std::string_view NSFilePosixPermissions = "NSFilePosixPermissions";
inline constexpr std::string_view NSFileTypeRegular = "NSFileTypeRegular";
inline constexpr std::string_view NSFileTypeDirectory = "NSFileTypeDirectory";
inline constexpr std::string_view NSFileTypeSymbolicLink = "NSFileTypeSymbolicLink";
inline constexpr std::string_view NSFileTypeUnknown = "NSFileTypeUnknown";

class QZ_EXPORT NSFileManager : public NSObject {
    QZ_OBJECT(NSFileManager, NSObject)
public:
    /// The one for general use. It keeps no state.
    [[nodiscard]] static Ref<NSFileManager> defaultManager();

    /// Links are followed: one that leads nowhere is no file. False for nil.
    [[nodiscard]] bool fileExistsAtPath(Text path) const;
    /// The same; `isDirectory`, which may be null, says which of both it is, if any.
    [[nodiscard]] bool fileExistsAtPath(Text path, bool* isDirectory) const;

    /// Removes a file, a link, or a directory with all that is in it; links are not followed.
    bool removeItemAtPath(std::string_view path, Ref<NSError>* error);
    /// Gives a file or directory another path, which must be free. Across file systems it is copied beside
    /// the target, flushed, renamed and only then removed: the target is never half of it.
    bool moveItemAtPath(std::string_view path, std::string_view toPath, Ref<NSError>* error);
    /// Copies, with modes and times, to a path that must be free; links are copied as links.
    bool copyItemAtPath(std::string_view path, std::string_view toPath, Ref<NSError>* error);
    /// Without intermediate directories, an existing directory is an error; with them it is what was asked
    /// for. Of the attributes, which may be null, NSFilePosixPermissions counts.
    bool createDirectoryAtPath(std::string_view path, bool withIntermediateDirectories,
                               const Ref<NSDictionary>& attributes, Ref<NSError>* error);

    /// The attributes above; links are not followed.
    [[nodiscard]] Ref<NSDictionary> attributesOfItemAtPath(std::string_view path, Ref<NSError>* error) const;
    /// Sets NSFileModificationDate and NSFilePosixPermissions, as far as they are there.
    bool setAttributes(const Ref<NSDictionary>& attributes, std::string_view ofItemAtPath,
                       Ref<NSError>* error);
    /// Names, sorted, without "." and "..".
    [[nodiscard]] Ref<NSArray> contentsOfDirectoryAtPath(std::string_view path, Ref<NSError>* error) const;

protected:
    NSFileManager() = default;
};

}  // namespace qz
