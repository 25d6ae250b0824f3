// What a download reads of others' making: resume data, which lie on disk, and URLs, which come from
// anywhere.
#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = qz::NSData(std::as_bytes(std::span(data, size)));
    const auto session = qz::NSURLSession::sessionWithConfiguration(nullptr, nullptr, nullptr);
    if (const auto request = session->downloadTaskWithResumeData(bytes)->currentRequest()) {
        // A condition goes into a header field as it is.
        const auto condition = request->valueForHTTPHeaderField("If-Range").value_or("\"\"");
        if (condition.size() < 2 || condition.find_first_of("\r\n") != std::string::npos) {
            std::abort();
        }
    }
    qz::NSURLSession::discardResumeData(bytes);
    if (const auto url = qz::NSURL::URLWithString(bytes.text())) {
        const auto again = qz::NSURL::URLWithString(url->absoluteString());
        if (!again || again->path() != url->path() || again->host() != url->host()) {
            std::abort();
        }
        static_cast<void>(qz::NSURL::URLWithString("../a?b", url));
    }
    return 0;
}
