// Transfer: the head of the answer, and what becomes of its body.
#include <algorithm>
#include <charconv>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSMutableURLRequest.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/internal/DelegateMessages.h"
#include "Platform/Network/internal/HeaderFields.h"
#include "Platform/Network/internal/LoadError.h"
#include "Platform/Network/internal/NetworkThread.h"
#include "Platform/Network/internal/Transfer.h"

namespace qz::internal {

namespace {

constexpr std::size_t maximumHeadSize = std::size_t{256} * 1024;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    return first == std::string_view::npos ? "" : text.substr(first, last - first + 1);
}

template <class T>
bool readNumber(std::string_view& text, T& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}

struct ContentRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::int64_t total = -1;
};

/// "bytes 500-999/1234" or "bytes 500-999/*" (RFC 9110, section 14.4).
std::optional<ContentRange> contentRange(const NSHTTPURLResponse& response) {
    const auto field = response.valueForHTTPHeaderField("Content-Range");
    std::string_view text = field ? trimmed(*field) : std::string_view();
    ContentRange range;
    const auto skip = [&](std::string_view part) {
        const bool isThere = text.starts_with(part);
        text.remove_prefix(isThere ? part.size() : 0);
        return isThere;
    };
    if (!skip("bytes ") || !readNumber(text, range.first) || !skip("-") || !readNumber(text, range.last) ||
        !skip("/") || range.last < range.first) {
        return std::nullopt;
    }
    if (text != "*" && (!readNumber(text, range.total) || range.total < 0 || !text.empty())) {
        return std::nullopt;
    }
    return range;
}

}  // namespace

// The answer's head.

std::size_t Transfer::headerCallback(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    return transfer.takeHeaderLine({bytes, size * count}) ? size * count : 0;
}

/// False stops the transfer.
bool Transfer::takeHeaderLine(std::string_view line) {
    lastActivity_ = Clock::now();
    if (hasResponse_) {
        return true;  // trailers
    }
    headSize_ += line.size();
    if (headSize_ > maximumHeadSize) {
        return refuse(NSURLErrorDataLengthExceedsMaximum, "the head of the server's answer is too long");
    }
    if (line.starts_with("HTTP/")) {
        version_ = line.substr(0, line.find(' '));
        auto rest = line.substr(std::min(line.size(), version_.size() + 1));
        status_ = 0;
        (void)readNumber(rest, status_);
        fields_.clear();
        return true;
    }
    line = trimmed(line);
    if (line.empty()) {
        return status_ == 0 || headIsComplete();
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return true;
    }
    const std::string name(trimmed(line.substr(0, colon)));
    const std::string value(trimmed(line.substr(colon + 1)));
    const auto same = std::find_if(fields_.begin(), fields_.end(),
                                   [&](const auto& field) { return isSameField(field.first, name); });
    if (same == fields_.end()) {
        fields_.emplace_back(name, value);
    } else {
        same->second += ", " + value;
    }
    return true;
}

bool Transfer::headIsComplete() {
    const auto isToBeFollowed = [this] {
        return status_ >= 300 && status_ < 400 &&
               std::any_of(fields_.begin(), fields_.end(), [](const auto& field) {
                   return isSameField(field.first, "Location") && !field.second.empty();
               });
    };
    if (status_ < 200 || isToBeFollowed()) {
        headSize_ = 0;
        return true;
    }
    const char* effective = nullptr;
    curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &effective);
    auto answering = url();
    if (effective && answering->absoluteString() != effective) {
        long redirections = 0;
        curl_easy_getinfo(easy_, CURLINFO_REDIRECT_COUNT, &redirections);
        const auto last = redirections > 0 ? NSURL::URLWithString(effective) : nullptr;
        if (last) {
            answering = last;
            const std::lock_guard lock(state_->mutex);
            const auto request = state_->currentRequest->mutableCopy();
            request->setURL(last);
            state_->currentRequest = request->copy();
        }
    }
    std::vector<NSDictionary::Entry> fields;
    fields.reserve(fields_.size());
    for (const auto& [name, value] : fields_) {
        fields.emplace_back(name, value);
    }
    return takeResponse(
        NSHTTPURLResponse::initWithURL(answering, status_, version_, NSDictionary::dictionary(fields)),
        status_);
}

bool Transfer::takeResponse(const Ref<NSURLResponse>& response, int status) {
    hasResponse_ = true;
    {
        const std::lock_guard lock(state_->mutex);
        state_->response = response;
        state_->bytesExpected = response->expectedContentLength();
    }
    if (isDownload_) {
        return judgeDownload(*response, status);
    }
    askForDisposition(response);
    return true;
}

/// Whether the body of a download task's answer is what was asked for.
bool Transfer::judgeDownload(const NSURLResponse& response, int status) {
    if (status >= 400) {
        if (status == 412 || status == 416) {
            forgetRecord();
        }
        return refuse(NSURLErrorBadServerResponse,
                      stringWithFormat("the server answered with status %d: %@", status,
                                       NSHTTPURLResponse::localizedStringForStatusCode(status)));
    }
    const auto length = response.expectedContentLength();
    if (status == 206) {
        const auto& http = dynamic_cast<const NSHTTPURLResponse&>(response);
        const auto range = contentRange(http);
        if (!file_ || !range || range->first != requestedOffset_) {
            return refuse(NSURLErrorBadServerResponse, "the server sent another part than it was asked for");
        }
        // Without a tag it is the delegate who tells by the length whether the file is the same.
        const auto tag = http.valueForHTTPHeaderField("ETag");
        const bool hasOtherLength =
            expectedLength_ >= 0 && range->total >= 0 && range->total != expectedLength_;
        if (tag && (*tag != record_->validator || hasOtherLength)) {
            forgetRecord();
            return refuse(NSURLErrorBadServerResponse, "the server's file is another one than before");
        }
        expectedLength_ = range->total >= 0 ? range->total : expectedLength_;
    } else {
        expectedLength_ = length;
        requestedOffset_ = 0;
        if (!openFile()) {
            return false;
        }
    }
    isAccepted_ = true;
    if (resumeData_) {
        // The body waits: the delegate may find that this is another file, and cancel.
        awaitsDelegate_ = true;
        session_->deliver([self = shared_from_this(), session = session_, task = downloadTask(),
                           offset = static_cast<std::int64_t>(requestedOffset_),
                           total = expectedLength_](const Ref<Object>& delegate) {
            tell(delegate, didResumeAtOffset, session, task, offset, total);
            NetworkThread::shared().perform([self] { self->goOn(); });
        });
    }
    return true;
}

/// An empty partial file.
bool Transfer::openFile() {
    forgetRecord();  // there is nothing left that it speaks of
    int error = 0;
    if (file_) {
        error = file_->restart();
    } else {
        file_ = PartialFile::create(error);
    }
    if (error == 0 && file_) {
        return true;
    }
    file_.reset();
    return refuse(NSURLErrorCannotCreateFile, cannotStore, error);
}

/// What the task was made from leads nowhere.
void Transfer::forgetRecord() {
    recordIsUseless_ = true;
    if (file_) {
        file_->dropAtEnd();
    }
}

// Its disposition.

void Transfer::askForDisposition(const Ref<NSURLResponse>& response) {
    awaitsDelegate_ = true;
    session_->deliver([self = shared_from_this(), session = session_,
                       task = std::static_pointer_cast<NSURLSessionDataTask>(task_),
                       response](const Ref<Object>& delegate) {
        const auto isAnswered = std::make_shared<std::atomic<bool>>(false);
        const NSURLSessionResponseCompletionHandler handler =
            [self, isAnswered](NSURLSessionResponseDisposition disposition) {
                if (!isAnswered->exchange(true)) {
                    NetworkThread::shared().perform([self, disposition] { self->answer(disposition); });
                }
            };
        if (respondsToSelector(delegate, Selector(didReceiveResponse))) {
            send(delegate, Selector(didReceiveResponse), session, task, response, handler);
        } else {
            handler(NSURLSessionResponseAllow);
        }
    });
}

void Transfer::answer(NSURLSessionResponseDisposition disposition) {
    if (phase_ == Phase::Ended) {
        return;
    }
    if (disposition == NSURLSessionResponseCancel) {
        end(loadError(NSURLErrorCancelled, "cancelled", url()));
        return;
    }
    if (disposition == NSURLSessionResponseBecomeDownload && !becomeDownload()) {
        end(refusal_);
        return;
    }
    goOn();
}

/// After the delegate: with the body, or with the end that came meanwhile.
void Transfer::goOn() {
    awaitsDelegate_ = false;
    if (phase_ == Phase::Ended) {
        return;
    }
    if (heldResult_) {
        ended(*std::exchange(heldResult_, std::nullopt));
        return;
    }
    updatePause();
}

bool Transfer::becomeDownload() {
    const auto data = std::static_pointer_cast<NSURLSessionDataTask>(task_);
    const auto download = session_->replaceByDownloadTask(data);
    session_->deliver([session = session_, data, download](const Ref<Object>& delegate) {
        tell(delegate, didBecomeDownloadTask, session, data, download);
    });
    task_ = download;
    isDownload_ = true;
    isAccepted_ = true;
    {
        const std::lock_guard lock(state_->mutex);
        expectedLength_ = state_->bytesExpected;
    }
    return openFile();
}

}  // namespace qz::internal
