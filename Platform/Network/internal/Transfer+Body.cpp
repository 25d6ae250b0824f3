// Transfer: the body, to the delegate or to the disk.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Foundation/internal/FileError.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/internal/DelegateMessages.h"
#include "Platform/Network/internal/LoadError.h"
#include "Platform/Network/internal/NetworkThread.h"
#include "Platform/Network/internal/Transfer.h"

namespace qz::internal {

namespace {

/// Bytes of a body that wait for the delegate before the transfer is paused.
constexpr std::size_t maximumBacklog = std::size_t{4} * 1024 * 1024;
constexpr std::size_t filePieceSize = std::size_t{256} * 1024;

}  // namespace

// The body.

std::size_t Transfer::writeCallback(char* bytes, std::size_t size, std::size_t count, void* self) {
    return static_cast<Transfer*>(self)->takeBody({reinterpret_cast<const std::byte*>(bytes), size * count});
}

/// How many bytes were taken: fewer stop the transfer.
std::size_t Transfer::takeBody(std::span<const std::byte> bytes) {
    lastActivity_ = Clock::now();
    if (awaitsDelegate_ || isSuspended_) {
        isPaused_ = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    if (!isDownload_) {
        const std::lock_guard lock(report_->mutex);
        if (report_->data.size() >= maximumBacklog) {
            isPaused_ = true;
            return CURL_WRITEFUNC_PAUSE;
        }
    }
    {
        const std::lock_guard lock(state_->mutex);
        state_->bytesReceived += static_cast<std::int64_t>(bytes.size());
    }
    if (!isDownload_) {
        reportData(bytes);
        return bytes.size();
    }
    if (const int error = file_->append(bytes)) {
        (void)refuse(NSURLErrorCannotWriteToFile, cannotStore, error);
        return 0;
    }
    return bytes.size();
}

void Transfer::reportData(std::span<const std::byte> bytes) {
    {
        const std::lock_guard lock(report_->mutex);
        report_->data.insert(report_->data.end(), bytes.begin(), bytes.end());
        if (std::exchange(report_->isQueued, true)) {
            return;
        }
    }
    session_->deliver([self = shared_from_this(), session = session_,
                       task = std::static_pointer_cast<NSURLSessionDataTask>(task_),
                       report = report_](const Ref<Object>& delegate) {
        std::vector<std::byte> data;
        {
            const std::lock_guard lock(report->mutex);
            report->isQueued = false;
            data.swap(report->data);
        }
        NetworkThread::shared().perform([self] { self->updatePause(); });
        tell(delegate, didReceiveData, session, task, NSData(data));
    });
}

void Transfer::reportProgress() {
    if (!file_ || !hasResponse_) {
        return;
    }
    const auto total = static_cast<std::int64_t>(file_->size());
    {
        const std::lock_guard lock(report_->mutex);
        const auto known = std::max(report_->totalBytesWritten, static_cast<std::int64_t>(requestedOffset_));
        if (total <= known) {
            return;
        }
        report_->bytesWritten += total - known;
        report_->totalBytesWritten = total;
        if (std::exchange(report_->isQueued, true)) {
            return;
        }
    }
    session_->deliver([session = session_, task = downloadTask(), expected = expectedLength_,
                       report = report_](const Ref<Object>& delegate) {
        std::int64_t written = 0;
        std::int64_t all = 0;
        {
            const std::lock_guard lock(report->mutex);
            report->isQueued = false;
            written = std::exchange(report->bytesWritten, 0);
            all = report->totalBytesWritten;
        }
        tell(delegate, didWriteData, session, task, written, all, expected);
    });
}

/// Lets libcurl read on unless something speaks against it.
void Transfer::updatePause() {
    if (!isPaused_ || isSuspended_ || awaitsDelegate_ || phase_ != Phase::Admitted) {
        return;
    }
    {
        const std::lock_guard lock(report_->mutex);
        if (report_->data.size() >= maximumBacklog) {
            return;
        }
    }
    isPaused_ = false;
    lastActivity_ = Clock::now();
    if (source_) {
        readSource();
    } else {
        curl_easy_pause(easy_, CURLPAUSE_CONT);
    }
}

// The body of a file: URL is read piece by piece, between what else the thread has to do.

void Transfer::openSource() {
    if (phase_ != Phase::Admitted) {
        return;
    }
    const auto path = url()->path();
    source_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!source_ || ::fstat(*source_, &status) != 0) {
        const int error = errno;
        end(loadError(error == ENOENT ? NSURLErrorFileDoesNotExist : NSURLErrorNoPermissionsToReadFile,
                      "the file cannot be read", url(), fileError(FileOperation::Reading, error, path)));
    } else if (!S_ISREG(status.st_mode)) {
        end(loadError(NSURLErrorFileIsDirectory, "this is no file", url()));
    } else if (takeResponse(NSURLResponse::initWithURL(url(), nullptr, status.st_size, nullptr), 200)) {
        readSource();
    } else {
        end(refusal_);
    }
}

void Transfer::readSource() {
    if (phase_ != Phase::Admitted || isPaused_) {
        return;
    }
    std::vector<std::byte> piece(filePieceSize);
    const auto count = ::read(*source_, piece.data(), piece.size());
    if (count < 0) {
        end(loadError(NSURLErrorNoPermissionsToReadFile, "the file cannot be read", url(),
                      fileError(FileOperation::Reading, errno, url()->path())));
        return;
    }
    if (count == 0) {
        ended(CURLE_OK);
        return;
    }
    const auto taken = takeBody({piece.data(), static_cast<std::size_t>(count)});
    if (taken == CURL_WRITEFUNC_PAUSE) {
        ::lseek(*source_, -count, SEEK_CUR);
    } else if (taken == 0) {
        ended(CURLE_WRITE_ERROR);
    } else {
        NetworkThread::shared().perform([self = shared_from_this()] { self->readSource(); });
    }
}

}  // namespace qz::internal
