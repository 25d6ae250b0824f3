#include "QZUtils/Download/QZDownload.h"

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/internal/TextArrays.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Network/NSURLResponse.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"
#include "QZUtils/Download/internal/DownloadSteps.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "Siblings/QZMainThread.h"

namespace qz {

using internal::arrayOfTexts;
using internal::textsOfArray;

QZ_DEFINE_CLASS(QZDownload, cls) {
    using Self = QZDownload;
    cls.adopts<NSURLSessionDelegate>();
    cls.classMethod("activeDownloadingMap", [](Class&) { return activeDownloadingMap(); });
    cls.classMethod("keyForFile:andUrls:", [](Class&, std::string_view path, const Ref<NSArray>& urls) {
        return keyForFile(path, textsOfArray(urls));
    });
    cls.classMethod("getActiveDownloadWithFile:andUrls:",
                    [](Class&, std::string_view path, const Ref<NSArray>& urls) {
                        return getActiveDownloadWithFile(path, textsOfArray(urls));
                    });
    cls.classMethod("errorWithCode:description:", [](Class&, std::int64_t code, Text description) {
        return NSErrorClass::errorWithDomain(std::string(internal::downloadErrorDomain), code, description);
    });
    cls.classMethod("cancelError", [](Class& receiver) {
        return send<Ref<NSError>>(receiver, Selector("errorWithCode:description:"), std::int64_t{1},
                                  Text("Cancelled by user"));
    });
    cls.method("errorWithCode:description:", &Self::errorWithCodeDescription);
    cls.method("downloadTo:from:", [](Self& self, std::string_view path, const Ref<NSArray>& urls) {
        return self.downloadTo(path, textsOfArray(urls));
    });
    cls.method("downloadFile:fromUrls:", [](Self& self, std::string_view path, const Ref<NSArray>& urls) {
        return self.downloadFile(path, textsOfArray(urls));
    });
    cls.method("cancel", &Self::cancel);
    cls.method("tryNext", &Self::tryNext);
    cls.method("downloadNext", &Self::downloadNext);
    cls.method("resolve", &Self::resolve);
    cls.method("failWithError:", &Self::failWithError);
    cls.method("purgeSession", &Self::purgeSession);
    cls.method("performSafelySelectorForDelegate:", &Self::performSafelySelectorForDelegate);
    cls.method("cleanupBgTask", &Self::cleanupBgTask);
    cls.method("removeFileAndResetCounters", &Self::removeFileAndResetCounters);
    cls.method("updateSpeedForTime:", &Self::updateSpeedForTime);
    cls.method("setCompletedUnitsCount:", &Self::setCompletedUnitsCount);
    cls.method("setTotalUnitCount:", &Self::setTotalUnitCount);
    cls.method("createDestinationDirectory", &Self::createDestinationDirectory);
    cls.method("configuredSessionWithRequest:", &Self::configuredSessionWithRequest);
    cls.method("configuredSessionWithURL:", &Self::configuredSessionWithURL);
    cls.method("configuredSessionWithResumeData:URL:", &Self::configuredSessionWithResumeData);
    cls.property("deleteFileOnDealloc", &Self::deleteFileOnDealloc, &Self::setDeleteFileOnDealloc);
    cls.property("deleteFileOnError", &Self::deleteFileOnError, &Self::setDeleteFileOnError);
    cls.propertyWithGetter("cancelled", "isCancelled", &Self::isCancelled);
    cls.propertyWithGetter("active", "isActive", &Self::isActive);
    cls.property("userdata", &Self::userdata, &Self::setUserdata);
    cls.property("fileLength", &Self::fileLength, &Self::setFileLength);
    cls.property("currentLength", &Self::currentLength, &Self::setCurrentLength);
    cls.property("currentDownloadLength", &Self::currentDownloadLength, &Self::setCurrentDownloadLength);
    cls.property("delegate", &Self::delegate,
                 [](Self& self, const Ref<Object>& delegate) { self.setDelegate(delegate); });
    cls.property(
        "filePath", [](const Self& self) { return id(Text(self.filePath())); }, &Self::setFilePath);
    cls.property("error", &Self::error, &Self::setError);
    cls.property("startTime", &Self::startTime, &Self::setStartTime);
    cls.property("stopTime", &Self::stopTime, &Self::setStopTime);
    cls.property("speed", &Self::speed, &Self::setSpeed);
    cls.property("progress", &Self::progress, &Self::setProgress);
    cls.property("lastModified", &Self::lastModified, &Self::setLastModified);
    cls.property("resumeData", [](const Self& self) {
        const auto data = self.resumeData();
        return data ? id(*data) : id();
    });
    cls.property(
        "urls", [](const Self& self) { return arrayOfTexts(self.urls()); },
        [](Self& self, const Ref<NSArray>& urls) { self.setUrls(textsOfArray(urls)); });
    cls.property("url", [](const Self& self) { return id(Text(self.url())); });
    cls.property("session", &Self::session, &Self::setSession);
    cls.property("fileManager", &Self::fileManager, &Self::setFileManager);
    cls.property("bgTask", &Self::bgTask, &Self::setBgTask);
    cls.property("resumeDataSaveInterval", &Self::resumeDataSaveInterval, &Self::setResumeDataSaveInterval);
}

// The registry.

const Ref<QZSynchronizedMapTable>& QZDownload::activeDownloadingMap() {
    static const auto map = QZSynchronizedMapTable::initWithKeyOptions(
        NSPointerFunctionsOptions::CopyIn, NSPointerFunctionsOptions::WeakMemory, cls().name());
    return map;
}

std::string QZDownload::keyForFile(std::string_view path, const URLs& andUrls) {
    std::string key(path);
    for (const auto& url : andUrls) {
        key += url;
    }
    return key;
}

Ref<QZDownload> QZDownload::getActiveDownloadWithFile(std::string_view path, const URLs& andUrls) {
    return activeDownloadingMap()->objectForKey(keyForFile(path, andUrls)).as<QZDownload>();
}

// Making one.

void QZDownload::_initWithExpectedTotalLength(std::int64_t length) {
    const auto progress = NSProgress::progressWithTotalUnitCount(length);
    progress->setKind(NSProgressKindFile);
    progress->setUserInfoObjectForKey(NSProgressFileOperationKindDownloading, NSProgressFileOperationKindKey);
    progress->setPausable(true);
    setProgress(progress);
    setFileLength(static_cast<std::uint64_t>(length));
    setFileManager(NSFileManager::defaultManager());
}

bool QZDownload::representFile(std::string_view path) {
    const auto length = getFileLength(path);
    if (length == 0) {
        return false;
    }
    const auto progress = NSProgress::progressWithTotalUnitCount(static_cast<std::int64_t>(length));
    progress->setKind(NSProgressKindFile);
    progress->setUserInfoObjectForKey(NSProgressFileOperationKindDownloading, NSProgressFileOperationKindKey);
    setProgress(progress);
    setCompletedUnitsCount(static_cast<std::int64_t>(length));
    setFileLength(length);
    setFilePath(path);
    return true;
}

std::uint64_t QZDownload::getFileLength(std::string_view path) {
    const auto attributes = NSFileManager::defaultManager()->attributesOfItemAtPath(path, nullptr);
    return attributes ? unbox<std::uint64_t>(attributes->objectForKey(NSFileSize)).value_or(0) : 0;
}

void QZDownload::dealloc() {
    cancel();
    if (deleteFileOnDealloc() && filePath()) {
        removeFileAndResetCounters();
    }
    Super::dealloc();
}

// Errors.

Ref<NSError> QZDownload::errorWithCode(std::int64_t code, Text description) {
    return send<Ref<NSError>>(cls(), Selector("errorWithCode:description:"), code, description);
}

Ref<NSError> QZDownload::errorWithCodeDescription(std::int64_t code, Text description) {
    return send<Ref<NSError>>(isa(), Selector("errorWithCode:description:"), code, description);
}

Ref<NSError> QZDownload::cancelError() {
    return send<Ref<NSError>>(cls(), Selector("cancelError"));
}

// State.

template <class T>
T QZDownload::read(const T& field) const {
    const std::lock_guard lock(mutex_);
    return field;
}

/// The old value dies outside of the lock.
template <class T>
void QZDownload::write(std::string_view key, T& field, T value) {
    changing(*this, key, [&] {
        const std::lock_guard lock(mutex_);
        std::swap(field, value);
    });
}

bool QZDownload::deleteFileOnDealloc() const {
    return read(deleteFileOnDealloc_);
}
void QZDownload::setDeleteFileOnDealloc(bool deletes) {
    write("deleteFileOnDealloc", deleteFileOnDealloc_, deletes);
}

bool QZDownload::deleteFileOnError() const {
    return read(deleteFileOnError_);
}
void QZDownload::setDeleteFileOnError(bool deletes) {
    write("deleteFileOnError", deleteFileOnError_, deletes);
}

bool QZDownload::isCancelled() const {
    return read(isCancelled_);
}

bool QZDownload::isActive() const {
    return read(isActive_);
}
void QZDownload::setActive(bool active) {
    write("active", isActive_, active);
}

id QZDownload::userdata() const {
    return read(userdata_);
}
void QZDownload::setUserdata(const id& userdata) {
    write("userdata", userdata_, userdata);
}

std::uint64_t QZDownload::fileLength() const {
    return read(fileLength_);
}
void QZDownload::setFileLength(std::uint64_t length) {
    write("fileLength", fileLength_, length);
}

std::uint64_t QZDownload::currentLength() const {
    return read(currentLength_);
}
void QZDownload::setCurrentLength(std::uint64_t length) {
    write("currentLength", currentLength_, length);
}

std::uint64_t QZDownload::currentDownloadLength() const {
    return read(currentDownloadLength_);
}
void QZDownload::setCurrentDownloadLength(std::uint64_t length) {
    write("currentDownloadLength", currentDownloadLength_, length);
}

Ref<Object> QZDownload::delegate() const {
    return read(delegate_).lock();
}
void QZDownload::setDelegate(Receiver delegate) {
    write("delegate", delegate_, delegate ? delegate->weak_from_this() : std::weak_ptr<Object>());
}

std::optional<std::string> QZDownload::filePath() const {
    return read(filePath_);
}
void QZDownload::setFilePath(Text path) {
    write("filePath", filePath_, path.toString());
}

Ref<NSError> QZDownload::error() const {
    return read(error_);
}
void QZDownload::setError(const Ref<NSError>& error) {
    write("error", error_, error);
}

Ref<NSDate> QZDownload::startTime() const {
    return read(startTime_);
}
void QZDownload::setStartTime(const Ref<NSDate>& time) {
    write("startTime", startTime_, time);
}

Ref<NSDate> QZDownload::stopTime() const {
    return read(stopTime_);
}
void QZDownload::setStopTime(const Ref<NSDate>& time) {
    write("stopTime", stopTime_, time);
}

double QZDownload::speed() const {
    return read(speed_);
}
void QZDownload::setSpeed(double speed) {
    write("speed", speed_, speed);
}

Ref<NSProgress> QZDownload::progress() const {
    return read(progress_);
}
void QZDownload::setProgress(const Ref<NSProgress>& progress) {
    write("progress", progress_, progress);
}

QZDownload::ProgressBlock QZDownload::progressBlock() const {
    return read(progressBlock_);
}
void QZDownload::setProgressBlock(const ProgressBlock& block) {
    write("progressBlock", progressBlock_, block);
}

Ref<NSDate> QZDownload::lastModified() const {
    return read(lastModified_);
}
void QZDownload::setLastModified(const Ref<NSDate>& date) {
    write("lastModified", lastModified_, date);
}

std::optional<NSData> QZDownload::resumeData() const {
    return read(resumeData_);
}
void QZDownload::setResumeData(const std::optional<NSData>& data) {
    write("resumeData", resumeData_, data);
}

QZDownload::URLs QZDownload::urls() const {
    return read(urls_);
}
void QZDownload::setUrls(const URLs& urls) {
    write("urls", urls_, urls);
}

std::optional<std::string> QZDownload::url() const {
    const std::lock_guard lock(mutex_);
    const auto index = static_cast<std::size_t>(curUrlIdx_);
    return curUrlIdx_ >= 0 && index < urls_.size() ? std::optional(urls_[index]) : std::nullopt;
}

Ref<NSURLSession> QZDownload::session() const {
    return read(session_);
}
void QZDownload::setSession(const Ref<NSURLSession>& session) {
    const auto old = this->session();
    if (old == session) {
        return;
    }
    if (old) {
        old->invalidateAndCancel();
    }
    write("session", session_, session);
    if (session) {
        session->delegateQueue()->setSuspended(false);
        saveResumeDataRepeatedly(session);
    }
}

Ref<NSFileManager> QZDownload::fileManager() const {
    return read(fileManager_);
}
void QZDownload::setFileManager(const Ref<NSFileManager>& manager) {
    write("fileManager", fileManager_, manager);
}

QZPromise::Resolver QZDownload::resolver() const {
    return read(resolver_);
}
void QZDownload::setResolver(const QZPromise::Resolver& resolver) {
    write("resolver", resolver_, resolver);
}

std::uint64_t QZDownload::bgTask() const {
    return read(bgTask_);
}
void QZDownload::setBgTask(std::uint64_t task) {
    write("bgTask", bgTask_, task);
}

std::optional<std::string> QZDownload::resumeDataPath() const {
    const auto path = filePath();
    return path ? std::optional(stringByAppendingPathExtension(*path, "resumeData")) : std::nullopt;
}

double QZDownload::resumeDataSaveInterval() const {
    return read(saveInterval_);
}
void QZDownload::setResumeDataSaveInterval(double seconds) {
    write("resumeDataSaveInterval", saveInterval_, seconds);
}

// Progress and files.

/// Does something to the progress on the main thread, unless a new start or a cancellation comes first.
void QZDownload::performOnMainIfCurrent(std::function<void(NSProgress&)> block) {
    if (const auto progress = this->progress()) {
        QZMainThread::run([progress, block = std::move(block), run = run_, number = run_->load()] {
            if (*run == number) {
                block(*progress);
            }
        });
    }
}

void QZDownload::setCompletedUnitsCount(std::int64_t count) {
    performOnMainIfCurrent([count](NSProgress& progress) { progress.setCompletedUnitCount(count); });
}

void QZDownload::setTotalUnitCount(std::int64_t count) {
    performOnMainIfCurrent([count](NSProgress& progress) { progress.setTotalUnitCount(count); });
}

void QZDownload::updateSpeedForTime(const Ref<NSDate>& time) {
    const auto length = currentDownloadLength();
    const auto start = startTime();
    const auto seconds = start && time ? time->timeIntervalSinceDate(*start) : 0;
    const double speed = length != 0 && seconds > 0 ? static_cast<double>(length) / seconds : 0;
    setSpeed(speed);
    if (const auto progress = this->progress()) {
        progress->setUserInfoObjectForKey(speed, NSProgressThroughputKey);
    }
}

void QZDownload::removeFileAndResetCounters() {
    const auto file = path();
    if (fileExists(file)) {
        removeFile(file);
        internal::downloadLog.debug("Remove file: %@", file);
    }
    setCurrentLength(0);
    setCompletedUnitsCount(0);
}

bool QZDownload::fileExists(const std::string& path) const {
    const auto manager = fileManager();
    return manager && manager->fileExistsAtPath(path);
}

void QZDownload::removeFile(const std::string& path) const {
    if (const auto manager = fileManager()) {
        manager->removeItemAtPath(path, nullptr);
    }
}

LogFlag QZDownload::requestLogLevel() const {
    return deleteFileOnError() ? LogFlag::Verbose : LogFlag::Debug;
}

}  // namespace qz
