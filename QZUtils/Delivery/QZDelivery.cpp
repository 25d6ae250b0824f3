#include "QZUtils/Delivery/QZDelivery.h"

#include <atomic>
#include <mutex>
#include <optional>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/internal/TextArrays.h"
#include "QZUtils/Device/QZNSBundle.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Download/internal/DownloadSteps.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/Observation/QZKeyPathBlockObserver.h"

namespace qz {

namespace {

/// One delivery under way: watches the download until it has ended, and then goes on to the archive. Holds
/// itself until then.
class Delivery : public std::enable_shared_from_this<Delivery> {
public:
    Delivery(const QZDeliveryRequest& request, QZPromise::Resolver resolver)
        : request_(request), resolver_(std::move(resolver)) {}

    void begin() {
        if (request_.stop.stop_requested()) {
            resolver_(false, nullptr, QZDownload::cancelError());
            return;
        }
        {
            // Two that ask for the same file at once get one download.
            static std::mutex lookUp;
            const std::lock_guard lock(lookUp);
            download_ = QZDownload::getActiveDownloadWithFile(request_.file, request_.mirrors);
            const bool isRunning = download_ && download_->isActive();
            if (!isRunning) {
                download_ = QZDownload::initWithExpectedTotalLength(request_.length);
            }
            if (request_.configure) {
                request_.configure(download_);
            }
            const auto endIfInactive = [self = shared_from_this()](const auto&...) { self->endIfInactive(); };
            observer_ = QZKeyPathBlockObserver::initWithObject(download_, "active", endIfInactive);
            if (!isRunning) {
                started_ = download_->downloadTo(request_.file, request_.mirrors);
            }
        }
        cancellation_.emplace(request_.stop,
                              std::function<void()>([download = download_] { download->cancel(); }));
        isBegun_ = true;
        endIfInactive();
    }

private:
    /// A download that has ended by the time it is watched makes no more changes, so that it is asked, too.
    void endIfInactive() {
        if (!isBegun_ || download_->isActive() || hasEnded_.exchange(true)) {
            return;
        }
        DispatchQueue::global().async([self = shared_from_this()] {
            self->observer_ = nullptr;
            self->cancellation_.reset();
            self->finish();
        });
    }

    void finish() {
        if (const auto error = downloadError()) {
            resolver_(false, nullptr, error);
        } else if (request_.directory.empty()) {
            resolver_(true, request_.file, nullptr);
        } else {
            const auto failure = extract();
            resolver_(!failure, failure ? id() : id(request_.directory), failure);
        }
    }

    [[nodiscard]] Ref<NSError> downloadError() const {
        if (download_->isCancelled()) {
            return QZDownload::cancelError();
        }
        // A promise that is not settled has ended without a word. A joined download has given its promise to
        // another; its error may be that of a mirror before the one that had the file.
        const auto length = download_->fileLength();
        const bool isThere = started_ ? started_->isFulfilled()
                                      : length != 0 && QZDownload::getFileLength(request_.file) == length;
        if (isThere) {
            return nullptr;
        }
        if (auto error = started_ ? started_->error() : download_->error()) {
            return error;
        }
        const auto text =
            QZNSBundle::localizedStringForKey(length == 0 ? "DownloadEmpty" : "DownloadIncomplete");
        return NSErrorClass::errorWithDomain(std::string(internal::downloadDomain), 10, text);
    }

    [[nodiscard]] Ref<NSError> extract() const {
        const auto outcome = QZUnzip::unzip({.archive = request_.file,
                                             .directory = request_.directory,
                                             .overwrite = request_.overwrite,
                                             .password = request_.password,
                                             .filter = request_.filter,
                                             .stop = request_.stop});
        if (outcome.isComplete()) {
            return nullptr;
        }
        if (outcome.error) {
            return outcome.error;
        }
        if (request_.stop.stop_requested()) {
            return QZDownload::cancelError();
        }
        constexpr std::int64_t damagedArchive = -103;
        return NSError::errorWithDomain(
            std::string(UnzipArchiveErrorDomain), damagedArchive,
            NSDictionary::dictionary(
                {{NSLocalizedDescriptionKey, Text(QZNSBundle::localizedStringForKey("UnableToUnpack"))},
                 {QZDeliveryWarningsKey, internal::arrayOfTexts(outcome.warnings)}}));
    }

    const QZDeliveryRequest request_;
    const QZPromise::Resolver resolver_;
    Ref<QZDownload> download_;
    Ref<QZPromise> started_;  // null for a download that was joined
    Ref<QZKeyPathBlockObserver> observer_;
    std::optional<std::stop_callback<std::function<void()>>> cancellation_;
    std::atomic<bool> isBegun_ = false;
    std::atomic<bool> hasEnded_ = false;
};

}  // namespace

Ref<QZPromise> deliver(const QZDeliveryRequest& request) {
    return QZPromise::promiseWithIdRun("QZDelivery" + request.file, [&](const QZPromise::Resolver& resolver) {
        std::make_shared<Delivery>(request, resolver)->begin();
    });
}

}  // namespace qz
