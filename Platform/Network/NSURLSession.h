// NSURLSession: loads URLs (http, https, file) and tells a delegate about it (NSURLSessionDelegate.h).
//
//     const auto session = NSURLSession::sessionWithConfiguration(
//         NSURLSessionConfiguration::defaultSessionConfiguration(), delegate, nullptr);
//     session->downloadTaskWithURL(url)->resume();
//
// One thread serves the network of all sessions; it never waits for a delegate. Redirections are followed,
// sixteen at most. Certificates are verified with the system's authorities, or those of $SSL_CERT_FILE and
// $SSL_CERT_DIR. Proxies come from the environment ($http_proxy, $https_proxy, $no_proxy). Bodies are asked
// for without content coding, so that lengths and ranges mean bytes of the file. Failures are errors of
// NSURLErrorDomain (NSURLError.h).
//
// LIFETIME. A session holds its delegate until it was invalidated and the last message was delivered, and its
// tasks until they complete; running tasks hold the session. So every session is invalidated at some time.
//
// Every operation is safe from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSOperationQueue;
class NSURL;
class NSURLRequest;
class NSURLSessionConfiguration;
class NSURLSessionDataTask;
class NSURLSessionDownloadTask;
class NSURLSessionTask;
namespace internal {
class Transfer;
}

class QZ_EXPORT NSURLSession : public NSObject {
    QZ_OBJECT(NSURLSession, NSObject)
public:
    using TasksHandler = std::function<void(const std::vector<Ref<NSURLSessionDataTask>>& dataTasks,
                                            const std::vector<Ref<NSURLSessionDownloadTask>>& downloadTasks)>;

    /// The delegate may be null. A null delegate queue gives the session a serial queue of its own; one that
    /// is given should run one operation at a time.
    [[nodiscard]] static Ref<NSURLSession> sessionWithConfiguration(
        const Ref<NSURLSessionConfiguration>& configuration, const Ref<Object>& delegate,
        const Ref<NSOperationQueue>& delegateQueue);

    /// Null once the session is invalid and the last message was delivered.
    [[nodiscard]] Ref<Object> delegate() const;
    [[nodiscard]] const Ref<NSOperationQueue>& delegateQueue() const noexcept { return delegateQueue_; }
    /// A copy.
    [[nodiscard]] Ref<NSURLSessionConfiguration> configuration() const;

    // New tasks, suspended. An invalid session raises NSInternalInconsistencyException. Requests are copied;
    // a null URL makes a task that fails.

    [[nodiscard]] Ref<NSURLSessionDataTask> dataTaskWithURL(const Ref<NSURL>& url);
    [[nodiscard]] Ref<NSURLSessionDataTask> dataTaskWithRequest(const Ref<NSURLRequest>& request);
    [[nodiscard]] Ref<NSURLSessionDownloadTask> downloadTaskWithURL(const Ref<NSURL>& url);
    [[nodiscard]] Ref<NSURLSessionDownloadTask> downloadTaskWithRequest(const Ref<NSURLRequest>& request);
    /// Goes on with what another task has stored; the request asks for the rest of the file ("Range",
    /// "If-Range"). The delegate hears where the task goes on before the first byte: at offset 0 when the
    /// server answers with the whole file, or when the stored bytes are gone or are not those that the data
    /// speak of. Data that cannot be read make a task that fails with NSURLErrorBadURL.
    [[nodiscard]] Ref<NSURLSessionDownloadTask> downloadTaskWithResumeData(const NSData& resumeData);

    /// Calls the handler on the delegate queue with the tasks that have not completed, oldest first.
    void getTasksWithCompletionHandler(TasksHandler handler) const;

    /// Cancels all tasks, takes no new ones, and lets go of the delegate afterwards.
    void invalidateAndCancel();
    /// The same without cancelling: the tasks end by themselves.
    void finishTasksAndInvalidate();

    /// Removes the bytes that resume data lead to, for a caller who will not go on with them.
    static void discardResumeData(const NSData& resumeData);

protected:
    NSURLSession(const Ref<NSURLSessionConfiguration>& configuration, Ref<Object> delegate,
                 Ref<NSOperationQueue> delegateQueue);

private:
    friend class internal::Transfer;
    using Delivery = std::function<void(const Ref<Object>& delegate)>;

    template <class Task>
    Ref<Task> add(const Ref<NSURLRequest>& request, const std::optional<NSData>& resumeData);
    Ref<NSURLSessionDownloadTask> replaceByDownloadTask(const Ref<NSURLSessionDataTask>& task);
    void remove(const NSURLSessionTask& task);
    void deliver(Delivery delivery) const;
    void invalidate(bool cancels);
    void endIfDone();

    const Ref<NSURLSessionConfiguration> configuration_;  // never changed
    const Ref<NSOperationQueue> delegateQueue_;

    mutable std::mutex mutex_;  // guards all that follows
    Ref<Object> delegate_;
    std::map<std::int64_t, Ref<NSURLSessionTask>> tasks_;
    std::int64_t lastIdentifier_ = 0;
    bool isInvalid_ = false;
    bool hasEnded_ = false;
};

}  // namespace qz
