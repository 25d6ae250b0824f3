// QZDownload: the session of an attempt. Every attempt has one of its own, whose callbacks tell attempts
// apart.
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Network/NSMutableURLRequest.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Runtime/KeyValueCoding.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Download/internal/DownloadSteps.h"

namespace qz {

using internal::downloadLog;

namespace {

constexpr std::string_view downloadURLKey = "NSURLSessionDownloadURL";
constexpr std::string_view byteRangeKey = "NSURLSessionResumeByteRange";

/// "shelf/issue.zip" of "/home/reader/shelf/issue.zip".
std::string shortName(const std::string& path) {
    const auto components = pathComponents(path);
    const auto count = components.size();
    return count < 2 ? path : components[count - 2] + "/" + components[count - 1];
}

/// Gives a request of a task, by key, the URL that is being tried.
void aimRequest(NSURLSessionTask& task, const Ref<NSURLRequest>& request, const Ref<NSURL>& url,
                std::string_view key) {
    if (request && url && !id(request->URL())->isEqual(url)) {
        const auto copy = request->mutableCopy();
        copy->setURL(url);
        setValueForKey(task, copy, key);
    }
}

}  // namespace

Ref<NSURLSessionConfiguration> QZDownload::sessionConfiguration() const {
    return NSURLSessionConfiguration::defaultSessionConfiguration();
}

/// A session whose messages wait until setSession() has it: an attempt may fail before the caller has stored
/// the session, and would be taken for a stranger's.
Ref<NSURLSession> QZDownload::newSession() {
    auto session = NSURLSession::sessionWithConfiguration(sessionConfiguration(), refTo(*this), nullptr);
    session->delegateQueue()->setSuspended(true);
    return session;
}

Ref<NSURLSession> QZDownload::configuredSessionWithRequest(const Ref<NSURLRequest>& request) {
    auto session = newSession();
    const auto fields = request->allHTTPHeaderFields();
    downloadLog.write(requestLogLevel(), "Request for Download: %@,\nheaders: %@", request,
                      fields ? id(fields) : id(""));
    session->downloadTaskWithRequest(request)->resume();
    return session;
}

Ref<NSURLSession> QZDownload::configuredSessionWithURL(const Ref<NSURL>& url) {
    auto session = newSession();
    downloadLog.write(requestLogLevel(), "URL for file %@ to download: %@", shortName(path()), url);
    session->dataTaskWithURL(url)->resume();
    return session;
}

Ref<NSURLSession> QZDownload::configuredSessionWithResumeData(const NSData& resumeData,
                                                              const Ref<NSURL>& URL) {
    auto session = newSession();
    // The stored data count, which callers pass here as well.
    const auto data = this->resumeData() ? resumeDataAimedAt(URL) : resumeData;
    const auto task = session->downloadTaskWithResumeData(data);
    aimRequest(*task, task->currentRequest(), URL, "currentRequest");
    aimRequest(*task, task->originalRequest(), URL, "originalRequest");
    const auto request = task->currentRequest();
    downloadLog.debug("Request to resume download with request: %@ with Headers:%@",
                      request ? request->URL() : nullptr, request ? request->allHTTPHeaderFields() : nullptr);
    task->resume();
    return session;
}

/// The stored resume data for another mirror. Nothing else of them changes, not even the form of the property
/// list, and data that need no change stay as they are to the byte.
NSData QZDownload::resumeDataAimedAt(const Ref<NSURL>& url) const {
    auto data = resumeData().value_or(NSData());
    auto format = NSPropertyListFormat::Binary;
    const auto record = NSPropertyListSerialization::propertyListWithData(
                            data, NSPropertyListReadOptions::MutableContainersAndLeaves, &format, nullptr)
                            .as<NSMutableDictionary>();
    if (!record) {
        return data;
    }
    bool hasChanged = false;
    if (url && record->objectForKey(downloadURLKey) != id(url->absoluteString())) {
        record->setObjectForKey(url->absoluteString(), downloadURLKey);
        hasChanged = true;
    }
    if (record->objectForKey(byteRangeKey)) {
        record->removeObjectForKey(byteRangeKey);
        hasChanged = true;
    }
    if (!hasChanged) {
        return data;
    }
    return NSPropertyListSerialization::dataWithPropertyList(record, format, nullptr).value_or(data);
}

/// Writes the running task's resume data now and then, as long as the session is the current one.
void QZDownload::saveResumeDataRepeatedly(const Ref<NSURLSession>& session) {
    const auto interval = resumeDataSaveInterval();
    if (!(interval > 0) || deleteFileOnError()) {
        return;
    }
    const auto weakSelf = std::weak_ptr(refTo(*this));
    const auto weakSession = std::weak_ptr(session);
    const auto current = [weakSelf, weakSession] {
        const auto self = weakSelf.lock();
        return self && self->session() == weakSession.lock() ? self : nullptr;
    };
    DispatchQueue::global().after(std::chrono::duration<double>(interval), [weakSession, current] {
        const auto running = weakSession.lock();
        if (!running || !current()) {
            return;
        }
        running->getTasksWithCompletionHandler([current, running](const auto&, const auto& downloadTasks) {
            const auto goOn = [current, running](const std::optional<NSData>& data) {
                if (const auto self = current()) {
                    if (data) {
                        writeToFile(*data, *self->resumeDataPath(), true, nullptr);
                    }
                    self->saveResumeDataRepeatedly(running);
                }
            };
            if (downloadTasks.empty()) {
                goOn(std::nullopt);
            } else {
                downloadTasks.front()->getResumeData(goOn);
            }
        });
    });
}

}  // namespace qz
