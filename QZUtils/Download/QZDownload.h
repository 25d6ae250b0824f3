// QZDownload: fetches one file to one path from an ordered list of mirrors.
//
//     const auto download = QZDownload::init();
//     download->downloadTo("/shelf/issue.zip", {"https://a.example/issue.zip",
//     "https://b.example/issue.zip"})
//         ->then([](const id&) { … })
//         ->recover([](const Ref<NSError>& error) { … });
//
// The mirrors are tried in their order. What has arrived when a transfer fails, is cancelled or is left by a
// process that ends is kept, and the next mirror, or the next start, goes on from there, provided that the
// server's entity tag says that it is the same file (docs/guide/downloads.md tells which do). The target
// appears by a rename and is never half a file. Beside it stands "<target>.resumeData" while there is
// something to go on from.
//
// Progress is offered in four ways: progress() (observable, a part of others where wanted), the progress
// block, the delegate, and the promise of downloadTo(). The block, the delegate and the counts of progress()
// are served on the main thread, which has to run its loop; the promise settles on the download's own queue.
//
// ERRORS. "QZDownloadErrorDomain" 1 (cancelled) and 2 (no URLs), "QZDownloadCritical" 5001 (the file on disk
// is longer than the known length), "QZDownloadDomain" with an HTTP status from 400 on, or 10 (incomplete),
// and those of the session (NSURLError.h).
//
// LIFETIME. A running download is held by its session. Its registration goes with it. Every operation is safe
// from any thread.
//
// Three ends are no ends for the promise and the delegate, and callers rely on that: an empty body, a
// transfer that is shorter than announced, and a text that is no URL leave both waiting. isActive() tells.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSProgress.h"
#include "Platform/Network/NSURLSessionDelegate.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Object.h"
#include "QZUtils/Download/QZDownloadDelegate.h"
#include "Siblings/QZPromise.h"

namespace qz {

class NSDate;
class NSError;
class NSHTTPURLResponse;
class NSURL;
class NSURLRequest;
class NSURLResponse;
class NSURLSession;
class NSURLSessionConfiguration;
class NSURLSessionDataTask;
class NSURLSessionDownloadTask;
class NSURLSessionTask;
class QZSynchronizedMapTable;
enum class LogFlag : std::uint64_t;

/// The background task of a download that has none.
inline constexpr std::uint64_t UIBackgroundTaskInvalid = 0;

class QZ_EXPORT QZDownload : public NSObject {
    QZ_OBJECT(QZDownload, NSObject)
public:
    using URLs = std::vector<std::string>;
    using ProgressBlock = std::function<void(const Ref<QZDownload>& download)>;

    /// A length that is not known.
    static constexpr std::uint64_t unknownLength = ~std::uint64_t{0};

    // The registry.

    /// The downloads that are alive, weakly held, by keyForFile().
    [[nodiscard]] static const Ref<QZSynchronizedMapTable>& activeDownloadingMap();
    /// The path and all URLs, one after the other without a separator.
    [[nodiscard]] static std::string keyForFile(std::string_view path, const URLs& andUrls);
    /// The download that was last started for this file and list; null when there is none any more.
    [[nodiscard]] static Ref<QZDownload> getActiveDownloadWithFile(std::string_view path,
                                                                   const URLs& andUrls);

    // Making one.

    template <class Self = QZDownload>
    [[nodiscard]] static Ref<Self> init() {
        return initWithExpectedTotalLength<Self>(-1);
    }
    /// Bytes of the file; -1 when that is not known. A file at the target that has a known length already is
    /// taken for complete.
    template <class Self = QZDownload>
    [[nodiscard]] static Ref<Self> initWithExpectedTotalLength(std::int64_t length) {
        auto download = make<Self>();
        download->_initWithExpectedTotalLength(length);
        return download;
    }
    /// Stands for a file that is on disk already; null when it is missing or empty. It has no file manager,
    /// and whatever needs one does nothing.
    template <class Self = QZDownload>
    [[nodiscard]] static Ref<Self> initWithFile(std::string_view path) {
        auto download = make<Self>();
        return download->representFile(path) ? download : nullptr;
    }
    /// The size of a file in bytes, 0 when there is none.
    [[nodiscard]] static std::uint64_t getFileLength(std::string_view path);

    // Starting.

    /// Starts the download. The promise is fulfilled with it, or rejected.
    Ref<QZPromise> downloadTo(std::string_view path, const URLs& from);
    /// The same without a promise. False when the list is empty; true, without doing anything, while an
    /// attempt is running. The path lies inside a directory, which is made when it is missing.
    bool downloadFile(std::string_view path, const URLs& fromUrls);

    // Control.

    /// Ends the running attempt. The promise is rejected with cancelError(); the delegate is dropped and
    /// hears nothing. Resume data are on disk when session() has become null. Without an attempt only
    /// isCancelled() changes.
    void cancel();
    /// Goes on with the next URL, unless cancelled.
    void tryNext();
    /// Goes on with the next URL.
    void downloadNext();
    /// Starts an attempt. False with a null error when the file is complete, false with an error when this
    /// URL cannot be tried.
    bool getFileFromUrl(const std::string& url, Ref<NSError>* error);
    /// Settles the promise of downloadTo(), once.
    void resolve();
    void failWithError(const Ref<NSError>& error);
    void purgeSession();
    /// Tells promise, progress block and delegate.
    void performSafelySelectorForDelegate(Selector selector);
    void cleanupBgTask();
    void removeFileAndResetCounters();
    void updateSpeedForTime(const Ref<NSDate>& time);
    /// Set the counts of progress() on the main thread.
    void setCompletedUnitsCount(std::int64_t count);
    void setTotalUnitCount(std::int64_t count);
    /// Makes the directory of the target. False when it was there.
    bool createDestinationDirectory();

    // Errors.

    /// Of "QZDownloadErrorDomain". A message to the class, so that hosts may put their own in its place.
    [[nodiscard]] static Ref<NSError> errorWithCode(std::int64_t code, Text description);
    [[nodiscard]] Ref<NSError> errorWithCodeDescription(std::int64_t code, Text description);
    [[nodiscard]] static Ref<NSError> cancelError();

    // State. Setters of what the download keeps itself are for subclasses and hosts.

    /// Whether freeing the download deletes the target. False.
    [[nodiscard]] bool deleteFileOnDealloc() const;
    void setDeleteFileOnDealloc(bool deletes);
    /// Whether nothing is kept to go on from: what has arrived goes with a failure, and the progress is
    /// cancelled instead of paused. False.
    [[nodiscard]] bool deleteFileOnError() const;
    void setDeleteFileOnError(bool deletes);
    [[nodiscard]] bool isCancelled() const;
    /// Whether anything is under way: an attempt, or the wait before the next one.
    [[nodiscard]] bool isActive() const;
    [[nodiscard]] id userdata() const;
    void setUserdata(const id& userdata);
    /// Bytes; unknownLength when that is not known.
    [[nodiscard]] std::uint64_t fileLength() const;
    void setFileLength(std::uint64_t length);
    /// Bytes so far, those that were resumed from included.
    [[nodiscard]] std::uint64_t currentLength() const;
    void setCurrentLength(std::uint64_t length);
    /// Bytes of this attempt.
    [[nodiscard]] std::uint64_t currentDownloadLength() const;
    void setCurrentDownloadLength(std::uint64_t length);
    /// Not owned. Dropped at every end, so that one start gives one message of an end at most.
    [[nodiscard]] Ref<Object> delegate() const;
    void setDelegate(Receiver delegate);
    [[nodiscard]] std::optional<std::string> filePath() const;
    void setFilePath(Text path);
    /// Why the last attempt that failed did so.
    [[nodiscard]] Ref<NSError> error() const;
    void setError(const Ref<NSError>& error);
    /// Of this attempt; the end lies in the distant past, or after a resumption in the distant future, while
    /// it has none.
    [[nodiscard]] Ref<NSDate> startTime() const;
    void setStartTime(const Ref<NSDate>& time);
    [[nodiscard]] Ref<NSDate> stopTime() const;
    void setStopTime(const Ref<NSDate>& time);
    /// Bytes a second, of this attempt.
    [[nodiscard]] double speed() const;
    void setSpeed(double speed);
    [[nodiscard]] Ref<NSProgress> progress() const;
    void setProgress(const Ref<NSProgress>& progress);
    /// Called on the main thread.
    [[nodiscard]] ProgressBlock progressBlock() const;
    void setProgressBlock(const ProgressBlock& block);
    /// The server's date of the file, which the finished file gets; null when it gave none.
    [[nodiscard]] Ref<NSDate> lastModified() const;
    void setLastModified(const Ref<NSDate>& date);
    [[nodiscard]] std::optional<NSData> resumeData() const;
    void setResumeData(const std::optional<NSData>& data);
    [[nodiscard]] URLs urls() const;
    void setUrls(const URLs& urls);
    /// The one being tried; nullopt when there is none.
    [[nodiscard]] std::optional<std::string> url() const;
    /// Null when no attempt is running. Another one invalidates the one before.
    [[nodiscard]] Ref<NSURLSession> session() const;
    void setSession(const Ref<NSURLSession>& session);
    [[nodiscard]] Ref<NSFileManager> fileManager() const;
    void setFileManager(const Ref<NSFileManager>& manager);
    [[nodiscard]] QZPromise::Resolver resolver() const;
    void setResolver(const QZPromise::Resolver& resolver);
    /// For a host that adds the operations "beginBackgroundExecution" and "endBackgroundExecution".
    [[nodiscard]] std::uint64_t bgTask() const;
    void setBgTask(std::uint64_t task);
    /// Where resume data are kept; nullopt without a target.
    [[nodiscard]] std::optional<std::string> resumeDataPath() const;
    /// Seconds between two times that the resume data of a running transfer are written, for a process that
    /// may be killed; 0, as at first, for never. Counts for attempts that begin afterwards.
    [[nodiscard]] double resumeDataSaveInterval() const;
    void setResumeDataSaveInterval(double seconds);

    // Messages of the session, on its queue.

    void URLSessionDidReceiveResponse(const Ref<NSURLSession>& session,
                                      const Ref<NSURLSessionDataTask>& dataTask,
                                      const Ref<NSURLResponse>& response,
                                      const NSURLSessionResponseCompletionHandler& completionHandler);
    void URLSessionDidBecomeDownloadTask(const Ref<NSURLSession>& session,
                                         const Ref<NSURLSessionDataTask>& dataTask,
                                         const Ref<NSURLSessionDownloadTask>& downloadTask);
    void URLSessionDidWriteData(const Ref<NSURLSession>& session,
                                const Ref<NSURLSessionDownloadTask>& downloadTask, std::int64_t bytesWritten,
                                std::int64_t totalBytesWritten, std::int64_t totalBytesExpectedToWrite);
    void URLSessionDidResumeAtOffset(const Ref<NSURLSession>& session,
                                     const Ref<NSURLSessionDownloadTask>& downloadTask, std::int64_t offset,
                                     std::int64_t expectedTotalBytes);
    void URLSessionDidFinishDownloadingToURL(const Ref<NSURLSession>& session,
                                             const Ref<NSURLSessionDownloadTask>& downloadTask,
                                             const Ref<NSURL>& location);
    void URLSessionDidCompleteWithError(const Ref<NSURLSession>& session, const Ref<NSURLSessionTask>& task,
                                        const Ref<NSError>& error);

    // New sessions, each with one started task. They say nothing until they are given to setSession().

    [[nodiscard]] Ref<NSURLSession> configuredSessionWithRequest(const Ref<NSURLRequest>& request);
    [[nodiscard]] Ref<NSURLSession> configuredSessionWithURL(const Ref<NSURL>& url);
    [[nodiscard]] Ref<NSURLSession> configuredSessionWithResumeData(const NSData& resumeData,
                                                                    const Ref<NSURL>& URL);

protected:
    QZDownload() = default;
    void dealloc() override;

    /// What sessions are made with: the default configuration.
    [[nodiscard]] virtual Ref<NSURLSessionConfiguration> sessionConfiguration() const;
    /// The clock of the waits between attempts: the main queue's.
    virtual void performOnMainQueueAfter(double seconds, std::function<void()> block);

private:
    /// Received bytes that the main thread has not taken yet.
    struct PendingBytes {
        bool isQueued = false;
        std::uint64_t attempt = 0;
        std::uint64_t written = 0;
        std::uint64_t total = 0;
    };

    template <class T>
    [[nodiscard]] T read(const T& field) const;
    template <class T>
    void write(std::string_view key, T& field, T value);

    void _initWithExpectedTotalLength(std::int64_t length);
    [[nodiscard]] bool representFile(std::string_view path);

    // The steps of a run.
    void setActive(bool active);
    void advance(bool evenIfCancelled);
    void tryURLs();
    void finishWithCompleteFile();
    void failOnAllURLs();
    void endRun();
    void performOnMainIfCurrent(std::function<void(NSProgress&)> block);
    void cancelKeepingResumeData(const Ref<NSURLSession>& session, const std::string& path);
    [[nodiscard]] Ref<NSURLSession> newSession();
    [[nodiscard]] NSData resumeDataAimedAt(const Ref<NSURL>& url) const;
    void saveResumeDataRepeatedly(const Ref<NSURLSession>& session);

    // Judging a response.
    void judge(const Ref<NSURLSessionDataTask>& task, const Ref<NSURLResponse>& response,
               const NSURLSessionResponseCompletionHandler& completionHandler);
    void refuse(const NSHTTPURLResponse& response,
                const NSURLSessionResponseCompletionHandler& completionHandler);
    void noteHead(const Ref<NSURLSessionDataTask>& task, const Ref<NSHTTPURLResponse>& response);
    void acceptPart(const NSURLResponse& response,
                    const NSURLSessionResponseCompletionHandler& completionHandler);
    void acceptWhole(const NSURLResponse& response,
                     const NSURLSessionResponseCompletionHandler& completionHandler);

    // Received bytes and the end of a task.
    void takePendingBytes();
    [[nodiscard]] bool hasReceivedNothing() const;
    void startOver(const Ref<NSURLSession>& session, const Ref<NSURLSessionDownloadTask>& task);
    void attemptFailed(const std::string& url, const Ref<NSError>& error);
    void keepResumeDataOf(const NSError& error);
    [[nodiscard]] bool retryAfterTimeout();
    void attemptSucceeded(const Ref<NSURLSession>& session, const Ref<NSURLSessionTask>& task,
                          const std::string& path);

    // Files, with a file manager only.
    [[nodiscard]] bool fileExists(const std::string& path) const;
    void removeFile(const std::string& path) const;

    [[nodiscard]] std::string path() const { return filePath().value_or(""); }
    /// Of lines that print requests and responses.
    [[nodiscard]] LogFlag requestLogLevel() const;

    mutable std::mutex mutex_;  // guards all that follows
    std::uint64_t bgTask_ = UIBackgroundTaskInvalid;
    std::int64_t curUrlIdx_ = -1;
    std::int32_t retry_ = 0;  // time-outs of the current URL that were followed by another attempt
    bool deleteFileOnDealloc_ = false;
    bool deleteFileOnError_ = false;
    bool isCancelled_ = false;
    bool isActive_ = false;
    id userdata_;
    std::uint64_t fileLength_ = 0;
    std::uint64_t currentLength_ = 0;
    std::uint64_t currentDownloadLength_ = 0;
    std::weak_ptr<Object> delegate_;
    std::optional<std::string> filePath_;
    Ref<NSError> error_;
    Ref<NSDate> startTime_;
    Ref<NSDate> stopTime_;
    double speed_ = 0;
    Ref<NSProgress> progress_;
    ProgressBlock progressBlock_;
    Ref<NSDate> lastModified_;
    std::optional<NSData> resumeData_;
    URLs urls_;
    Ref<NSURLSession> session_;
    Ref<NSFileManager> fileManager_;
    QZPromise::Resolver resolver_;
    double saveInterval_ = 0;
    std::uint64_t attempt_ = 0;  // received bytes of an earlier one count no more
    PendingBytes pending_;
    std::weak_ptr<NSURLSessionTask> abandonedTask_;  // its end is not the session's
    std::weak_ptr<NSURLSession> cancellingSession_;  // its resume data are on their way to the disk

    /// Counts starts and cancellations: what was meant for the main thread before does not happen after.
    const std::shared_ptr<std::atomic<std::uint64_t>> run_ = std::make_shared<std::atomic<std::uint64_t>>(0);
};

}  // namespace qz
