// Transfer: the network's side of a task: the request on the wire, the bytes on their way to the delegate or
// to the disk, and the end. All of it happens on the network thread but for what says otherwise.
#pragma once

#include <curl/curl.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Network/NSURLError.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionDelegate.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Network/internal/PartialFile.h"
#include "Platform/Network/internal/ResumeRecord.h"
#include "Platform/Network/internal/TaskState.h"

namespace qz::internal {

class Transfer : public std::enable_shared_from_this<Transfer> {
public:
    /// Resume data make the transfer go on where they say. On any thread.
    Transfer(std::shared_ptr<TaskState> state, Ref<NSURLSessionConfiguration> configuration, bool isDownload,
             std::optional<NSData> resumeData);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer();

    // For the task, from any thread.

    void resume(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session);
    void suspend();
    void cancel(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session);
    void cancelByProducingResumeData(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session,
                                     NSURLSessionDownloadTask::ResumeDataHandler handler);
    void getResumeData(const Ref<NSURLSession>& session,
                       const NSURLSessionDownloadTask::ResumeDataHandler& handler);

    // For the network thread's own.

    [[nodiscard]] const std::string& hostKey() const noexcept { return hostKey_; }
    [[nodiscard]] std::size_t maximumConnectionsPerHost() const;
    void start(CURLM* multi);
    /// libcurl is done with the request.
    void ended(CURLcode result);
    /// Ends the transfer when it has been idle for too long, and tells of progress.
    void checkTime();

private:
    using Clock = std::chrono::steady_clock;
    enum class Phase { New, Admitted, Ended };
    /// What resume data are made of.
    struct Snapshot {
        std::shared_ptr<PartialFile> file;
        std::uint64_t size = 0;
        ResumeRecord record;
        std::optional<NSData> unchanged;  // handed back as it is, when nothing was added
    };
    /// What the delegate has yet to hear of, added up.
    struct Report {
        std::mutex mutex;  // guards all that follows
        bool isQueued = false;
        std::int64_t bytesWritten = 0;
        std::int64_t totalBytesWritten = 0;
        std::vector<std::byte> data;
    };

    void admit(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session);
    [[nodiscard]] bool prepare();
    void prepareContinuation();
    void prepareRequest();
    void setHeader(const std::string& name, const std::string& value);

    static std::size_t headerCallback(char* bytes, std::size_t size, std::size_t count, void* self);
    static std::size_t writeCallback(char* bytes, std::size_t size, std::size_t count, void* self);
    [[nodiscard]] bool takeHeaderLine(std::string_view line);
    [[nodiscard]] bool headIsComplete();
    [[nodiscard]] bool takeResponse(const Ref<NSURLResponse>& response, int status);
    [[nodiscard]] bool judgeDownload(const NSURLResponse& response, int status);
    [[nodiscard]] bool openFile();
    void forgetRecord();
    [[nodiscard]] std::size_t takeBody(std::span<const std::byte> bytes);
    [[nodiscard]] bool refuse(NSURLErrorCode code, const std::string& reason, int systemError = 0);

    void askForDisposition(const Ref<NSURLResponse>& response);
    void answer(NSURLSessionResponseDisposition disposition);
    [[nodiscard]] bool becomeDownload();
    void goOn();
    void updatePause();

    void openSource();
    void readSource();
    void reportProgress();
    void reportData(std::span<const std::byte> bytes);
    [[nodiscard]] Ref<NSError> errorOf(CURLcode result);
    void end(const Ref<NSError>& error, NSURLSessionDownloadTask::ResumeDataHandler handler = nullptr);
    void detach();
    [[nodiscard]] Snapshot snapshot() const;
    [[nodiscard]] static std::optional<NSData> takeResumeData(Snapshot& snapshot);
    [[nodiscard]] Ref<NSURL> url() const;
    [[nodiscard]] Ref<NSURLSessionDownloadTask> downloadTask() const;

    const std::shared_ptr<TaskState> state_;
    const Ref<NSURLSessionConfiguration> configuration_;
    const std::optional<NSData> resumeData_;  // what the task was made from

    Ref<NSURLSession> session_;   // while admitted
    Ref<NSURLSessionTask> task_;  // while admitted
    std::shared_ptr<Report> report_;
    Phase phase_ = Phase::New;
    bool isDownload_;
    bool isSuspended_ = false;
    bool isPaused_ = false;               // what libcurl was told
    bool awaitsDelegate_ = false;         // it has the response, or where the task goes on
    std::optional<CURLcode> heldResult_;  // came while it had
    bool hasResponse_ = false;
    bool isAccepted_ = false;       // the body is what a download task wants
    bool recordIsUseless_ = false;  // there is nothing behind the resume data
    Ref<NSError> refusal_;          // why a callback stopped the transfer

    std::optional<ResumeRecord> record_;  // that a range was asked with
    std::shared_ptr<PartialFile> file_;   // of a download task
    std::uint64_t requestedOffset_ = 0;
    std::int64_t expectedLength_ = -1;  // of the whole file

    FileDescriptor source_;  // of a file: URL

    CURLM* multi_ = nullptr;
    CURL* easy_ = nullptr;
    curl_slist* headers_ = nullptr;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
    std::string hostKey_;
    std::string version_;
    int status_ = 0;
    std::size_t headSize_ = 0;
    std::vector<std::pair<std::string, std::string>> fields_;
    Clock::time_point lastActivity_;
    Clock::duration idleLimit_{};
};

}  // namespace qz::internal
