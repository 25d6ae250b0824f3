// deliver(): what an application does with an issue that a reader asks for, in one call: fetch the package
// from the first mirror that has it, and extract it.
//
//     const auto promise = deliver({.file = "/shelf/monday.zip",
//                                   .mirrors = {"https://a.example/monday.zip", "…"},
//                                   .directory = "/shelf/monday"});
//     promise->then([](const id& directory) { … })
//         ->recover([](const Ref<NSError>& error) { show(error->localizedDescription()); });
//
// A download of the same file from the same mirrors that is running already is joined, not begun again; one
// that was interrupted goes on from where it stopped (QZDownload.h). A package whose length is known and
// which is on disk already is not fetched.
//
// The promise is always settled, also where the one of QZDownload is not. It is rejected with
// - the errors of QZDownload; in addition "QZDownloadDomain" 10 when a transfer ended before the file was
//   complete or brought nothing,
// - "UnzipArchiveErrorDomain" -1 when the package is no archive, and -103 when not all of it could be
//   extracted: what could be is in its place, and the user information has what is logged of the rest, as an
//   array of texts, under QZDeliveryWarningsKey.
//
// The counts of the download are served on the main thread, which has to run its loop. The archive is
// extracted on a background queue, and the promise is settled there.
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "QZUtils/QZUnzip/QZUnzip.h"
#include "Siblings/QZPromise.h"

namespace qz {

class QZDownload;

inline constexpr std::string_view QZDeliveryWarningsKey = "QZDeliveryWarnings";

/// What is wanted. Made with designated initializers: `{}` keeps compilers from asking for the rest.
struct QZDeliveryRequest {
    std::string file = {};                  // where the package goes; it stays there
    std::vector<std::string> mirrors = {};  // in the order in which they are tried
    std::int64_t length = -1;               // of the package in bytes; -1 when that is not known
    std::string directory = {};             // where its files go; empty: it is fetched, and not extracted
    std::string password = {};              // of its encrypted entries; empty: none
    bool overwrite = true;                  // files that exist
    QZUnzip::Filter filter = {};            // of entries
    /// Cancels the download, a joined one too, and ends the extraction. When it stops beforehand, nothing
    /// is started and nobody else's download is cancelled.
    std::stop_token stop = {};
    /// Called with the download, on the caller's thread, before it is started or when it is joined: for a
    /// progress block, a delegate, settings. May not deliver anything itself.
    std::function<void(const Ref<QZDownload>& download)> configure = {};
};

/// The promise is fulfilled with the directory, or with the file when there is none. From any thread.
[[nodiscard]] QZ_EXPORT Ref<QZPromise> deliver(const QZDeliveryRequest& request);

}  // namespace qz
