// QZDownloadDelegate: what a download tells its delegate, on the main thread. Every operation is optional.
#pragma once

#include "Platform/Runtime/Protocol.h"

namespace qz {

struct QZDownloadDelegate {
    QZ_PROTOCOL(QZDownloadDelegate)

    /// Each takes a `const Ref<QZDownload>&`.
    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        // No URL gave the file; error() says why the last one did not.
        if constexpr (requires { &T::onDownloadError; }) {
            cls.method("onDownloadError:", &T::onDownloadError);
        }
        // The file is complete and in its place.
        if constexpr (requires { &T::onDownloadFinished; }) {
            cls.method("onDownloadFinished:", &T::onDownloadFinished);
        }
        // Lengths, speed or progress have changed.
        if constexpr (requires { &T::onDownloadProgress; }) {
            cls.method("onDownloadProgress:", &T::onDownloadProgress);
        }
    }
};

}  // namespace qz
