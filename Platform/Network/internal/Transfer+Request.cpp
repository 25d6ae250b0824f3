// Transfer: what is sent.
#include <algorithm>
#include <cstdlib>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Network/NSMutableURLRequest.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/internal/HeaderFields.h"
#include "Platform/Network/internal/NetworkThread.h"
#include "Platform/Network/internal/Transfer.h"

namespace qz::internal {

namespace {

constexpr long receiveBufferSize = 512L * 1024;
constexpr long maximumRedirections = 16;

}  // namespace

std::size_t Transfer::maximumConnectionsPerHost() const {
    return static_cast<std::size_t>(
        std::max<std::int64_t>(1, configuration_->HTTPMaximumConnectionsPerHost()));
}

bool Transfer::prepare() {
    Ref<NSURLRequest> request;
    {
        const std::lock_guard lock(state_->mutex);
        request = state_->currentRequest;
    }
    if (!request || !request->URL()) {
        forgetRecord();
        return refuse(NSURLErrorBadURL,
                      resumeData_ ? "the resume data cannot be read" : "there is no URL to load");
    }
    const auto& url = *request->URL();
    const auto scheme = url.scheme().value_or("");
    if (!isSameField(scheme, "http") && !isSameField(scheme, "https") && !url.isFileURL()) {
        return refuse(NSURLErrorUnsupportedURL, "URLs of this scheme cannot be loaded");
    }
    hostKey_ = stringWithFormat("%@://%@:%ld", scheme, url.host().value_or(""), url.port().value_or(0));
    auto seconds = request->timeoutInterval();
    if (seconds == NSURLRequest::defaultTimeoutInterval) {
        seconds = configuration_->timeoutIntervalForRequest();
    }
    constexpr double longest = 1'000'000;  // of seconds
    seconds = seconds > 0 ? std::min(seconds, longest) : longest;
    idleLimit_ = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    prepareContinuation();
    if (!url.isFileURL()) {
        prepareRequest();
    }
    return true;
}

/// Finds the stored bytes and drops the range from the request when they are gone.
void Transfer::prepareContinuation() {
    if (!resumeData_) {
        return;
    }
    record_ = ResumeRecord::read(*resumeData_);
    if (record_ && record_->isContinuable() && !url()->isFileURL()) {
        file_ = PartialFile::reopen(record_->localPath, record_->bytesReceived, record_->tailDigest);
    }
    if (file_) {
        requestedOffset_ = file_->size();
        expectedLength_ = record_->expectedLength;
        return;
    }
    forgetRecord();
    const std::lock_guard lock(state_->mutex);
    const auto request = state_->currentRequest->mutableCopy();
    request->setValueForHTTPHeaderField(nullptr, "Range");
    request->setValueForHTTPHeaderField(nullptr, "If-Range");
    state_->currentRequest = request->copy();
}

void Transfer::setHeader(const std::string& name, const std::string& value) {
    // A line break would start a field of the caller's making.
    if ((name + value).find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos) {
        headers_ = curl_slist_append(headers_, (value.empty() ? name + ";" : name + ": " + value).c_str());
    }
}

void Transfer::prepareRequest() {
    easy_ = curl_easy_init();
    if (!easy_) {
        throw std::bad_alloc();
    }
    const auto request = [&] {
        const std::lock_guard lock(state_->mutex);
        return state_->currentRequest;
    }();
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(easy_, option, value); };
    set(CURLOPT_URL, request->URL()->absoluteString().c_str());
    set(CURLOPT_PRIVATE, static_cast<void*>(this));
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, maximumRedirections);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_BUFFERSIZE, receiveBufferSize);
    set(CURLOPT_ERRORBUFFER, errorText_.data());
    set(CURLOPT_HEADERFUNCTION, &Transfer::headerCallback);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(CURLOPT_WRITEFUNCTION, &Transfer::writeCallback);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    if (const char* file = ::secure_getenv("SSL_CERT_FILE")) {
        set(CURLOPT_CAINFO, file);
    }
    if (const char* directory = ::secure_getenv("SSL_CERT_DIR")) {
        set(CURLOPT_CAPATH, directory);
    }

    set(CURLOPT_CONNECTTIMEOUT_MS,
        static_cast<long>(std::chrono::ceil<std::chrono::milliseconds>(idleLimit_).count()));

    const auto& method = request->HTTPMethod();
    if (const auto& body = request->HTTPBody()) {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
        set(CURLOPT_COPYPOSTFIELDS, body->text().data());
        set(CURLOPT_CUSTOMREQUEST, method.c_str());
    } else if (method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (method != "GET") {
        set(CURLOPT_CUSTOMREQUEST, method.c_str());
    }

    const auto fields = request->allHTTPHeaderFields();
    const auto& additional = configuration_->HTTPAdditionalHeaders();
    const auto setFields = [&](const Ref<NSDictionary>& all, const Ref<NSDictionary>& unless) {
        if (all) {
            for (const auto& [boxedName, value] : *all) {
                const auto name = unbox<std::string>(boxedName).value_or("");
                if (!unless || !nameOfField(*unless, name)) {
                    setHeader(name, descriptionOf(value));
                }
            }
        }
    };
    setFields(fields, nullptr);
    setFields(additional, fields);
    const auto setDefault = [&](const char* name, const char* value) {
        if (!(fields && nameOfField(*fields, name)) && !(additional && nameOfField(*additional, name))) {
            setHeader(name, value);
        }
    };
    setDefault("Accept-Encoding", "identity");
    setDefault("User-Agent", "QZUtils");
    if (request->cachePolicy() == NSURLRequestReloadIgnoringLocalCacheData) {
        setDefault("Cache-Control", "no-cache");
    }
    set(CURLOPT_HTTPHEADER, headers_);
}

void Transfer::start(CURLM* multi) {
    lastActivity_ = Clock::now();
    // Both not from inside: the caller is at work with the host's transfers.
    if (!easy_) {
        NetworkThread::shared().perform([self = shared_from_this()] { self->openSource(); });
    } else if (curl_multi_add_handle(multi, easy_) == CURLM_OK) {
        multi_ = multi;
    } else {
        NetworkThread::shared().perform([self = shared_from_this()] { self->ended(CURLE_OUT_OF_MEMORY); });
    }
}

}  // namespace qz::internal
