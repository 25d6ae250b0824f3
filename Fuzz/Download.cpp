// What a download reads of others' making: resume data, which lie on disk, and URLs, which come from
// anywhere.
#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/internal/ResumeRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = qz::NSData(std::as_bytes(std::span(data, size)));
    if (const auto record = qz::internal::ResumeRecord::read(bytes)) {
        const auto again = qz::internal::ResumeRecord::read(record->data());
        if (record->isContinuable() && (!again || again->validator != record->validator)) {
            std::abort();
        }
    }
    if (const auto url = qz::NSURL::URLWithString(bytes.text())) {
        const auto again = qz::NSURL::URLWithString(url->absoluteString());
        if (!again || again->path() != url->path() || again->host() != url->host()) {
            std::abort();
        }
        static_cast<void>(qz::NSURL::URLWithString("../a?b", url));
    }
    return 0;
}
