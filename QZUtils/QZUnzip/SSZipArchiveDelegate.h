// SSZipArchiveDelegate: what an extraction tells its delegate, on the thread that extracts and before it goes
// on. Every operation is optional.
//
// In the order of the calls: the archive's beginning, progress 0; for each entry its beginning, progress, its
// end; the archive's end, unless the walk failed; and in every case the progress of the whole.
#pragma once

#include "Platform/Runtime/Protocol.h"

namespace qz {

struct SSZipArchiveDelegate {
    QZ_PROTOCOL(SSZipArchiveDelegate)

    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        // (std::string_view path, const ZipGlobalInfo& zipInfo)
        if constexpr (requires { &T::zipArchiveWillUnzipArchiveAtPath; }) {
            cls.method("zipArchiveWillUnzipArchiveAtPath:zipInfo:", &T::zipArchiveWillUnzipArchiveAtPath);
        }
        // (std::int64_t loaded, std::int64_t total): bytes of the archive.
        if constexpr (requires { &T::zipArchiveProgressEvent; }) {
            cls.method("zipArchiveProgressEvent:total:", &T::zipArchiveProgressEvent);
        }
        // (std::int64_t fileIndex, std::int64_t totalFiles, std::string_view archivePath,
        //  const ZipFileInfo& fileInfo)
        if constexpr (requires { &T::zipArchiveWillUnzipFileAtIndex; }) {
            cls.method("zipArchiveWillUnzipFileAtIndex:totalFiles:archivePath:fileInfo:",
                       &T::zipArchiveWillUnzipFileAtIndex);
        }
        // The same. An entry that was passed over for a file that exists has no end, and the next one its
        // index.
        if constexpr (requires { &T::zipArchiveDidUnzipFileAtIndex; }) {
            cls.method("zipArchiveDidUnzipFileAtIndex:totalFiles:archivePath:fileInfo:",
                       &T::zipArchiveDidUnzipFileAtIndex);
        }
        // (std::string_view path, const ZipGlobalInfo& zipInfo, std::string_view unzippedPath)
        if constexpr (requires { &T::zipArchiveDidUnzipArchiveAtPath; }) {
            cls.method("zipArchiveDidUnzipArchiveAtPath:zipInfo:unzippedPath:",
                       &T::zipArchiveDidUnzipArchiveAtPath);
        }
    }
};

}  // namespace qz
