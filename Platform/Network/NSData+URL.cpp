#include <future>
#include <string>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSData+URL.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSURLError.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDelegate.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace internal {

/// Collects one body, on the session's queue.
class ContentsOfURL : public NSObject {
    QZ_OBJECT(ContentsOfURL, NSObject)
public:
    void URLSessionDidReceiveData(const Ref<NSURLSession>&, const Ref<NSURLSessionDataTask>&,
                                  const NSData& data) {
        body_ += data.text();
    }
    void URLSessionDidCompleteWithError(const Ref<NSURLSession>&, const Ref<NSURLSessionTask>&,
                                        const Ref<NSError>& error) {
        error_ = error;
        completed_.set_value();
    }

    void wait() { completed_.get_future().wait(); }
    [[nodiscard]] const std::string& body() const noexcept { return body_; }
    [[nodiscard]] const Ref<NSError>& error() const noexcept { return error_; }

protected:
    ContentsOfURL() = default;

private:
    std::string body_;
    Ref<NSError> error_;
    std::promise<void> completed_;
};

QZ_DEFINE_CLASS(ContentsOfURL, cls) {
    cls.adopts<NSURLSessionDelegate>();
}

}  // namespace internal

namespace {

Ref<NSError> errorOfStatus(const Ref<NSURLResponse>& response) {
    const auto http = std::dynamic_pointer_cast<NSHTTPURLResponse>(response);
    if (!http || http->statusCode() < 400) {
        return nullptr;
    }
    return NSError::errorWithDomain(
        std::string(NSURLErrorDomain), NSURLErrorBadServerResponse,
        NSDictionary::dictionary({{NSLocalizedDescriptionKey, "the server answered with status " +
                                                                  std::to_string(http->statusCode())}}));
}

}  // namespace

std::optional<NSData> dataWithContentsOfURL(const Ref<NSURL>& url, Ref<NSError>* error) {
    const auto contents = make<internal::ContentsOfURL>();
    const auto session = NSURLSession::sessionWithConfiguration(
        NSURLSessionConfiguration::defaultSessionConfiguration(), contents, nullptr);
    const auto task = session->dataTaskWithURL(url);
    task->resume();
    session->finishTasksAndInvalidate();
    contents->wait();
    const auto failure = contents->error() ? contents->error() : errorOfStatus(task->response());
    if (!failure) {
        return NSData::dataWithText(contents->body());
    }
    if (error) {
        *error = failure;
    }
    return std::nullopt;
}

}  // namespace qz
