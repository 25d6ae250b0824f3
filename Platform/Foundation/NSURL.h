// NSURL: a URL by RFC 3986, immutable. Its text is kept as it was given; components are read from it.
//
//     const auto url = NSURL::URLWithString("https://example.org/a%20b.zip?x=1");
//     url->path();    // "/a b.zip"
//
// Text that is no URL (blanks, control characters, letters outside of ASCII, broken escapes) gives null. A
// relative text may be resolved against another URL when it is made. Equality is equality of the whole text.
// May be used from several threads at once.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT NSURL : public NSObject {
    QZ_OBJECT(NSURL, NSObject)
public:
    /// Null for nil and for what is no URL. A relative reference is a URL without a scheme.
    template <class Self = NSURL>
    [[nodiscard]] static Ref<Self> URLWithString(Text string) {
        return URLWithString<Self>(string, nullptr);
    }
    /// Resolved against the other URL (RFC 3986, section 5.2), which may be null.
    template <class Self = NSURL>
    [[nodiscard]] static Ref<Self> URLWithString(Text string, const Ref<NSURL>& relativeToURL) {
        auto parts = parse(string, relativeToURL.get());
        return parts ? make<Self>(std::move(*parts)) : nullptr;
    }
    /// A file: URL of a path, which is made absolute by the working directory.
    [[nodiscard]] static Ref<NSURL> fileURLWithPath(std::string_view path);

    /// The whole text, resolved.
    [[nodiscard]] const std::string& absoluteString() const noexcept { return parts_.text; }
    /// The text that the URL was made of.
    [[nodiscard]] const std::string& relativeString() const noexcept { return parts_.given; }

    // Components; nullopt where the text has none. Escapes are resolved but in the query and the fragment.

    [[nodiscard]] const std::optional<std::string>& scheme() const noexcept { return parts_.scheme; }
    [[nodiscard]] const std::optional<std::string>& user() const noexcept { return parts_.user; }
    [[nodiscard]] const std::optional<std::string>& password() const noexcept { return parts_.password; }
    /// An IPv6 address stands without its brackets.
    [[nodiscard]] const std::optional<std::string>& host() const noexcept { return parts_.host; }
    /// Nullopt also for a number that is no port (0 to 65535).
    [[nodiscard]] std::optional<std::int64_t> port() const noexcept { return parts_.port; }
    /// Empty when there is none.
    [[nodiscard]] const std::string& path() const noexcept { return parts_.path; }
    [[nodiscard]] const std::optional<std::string>& query() const noexcept { return parts_.query; }
    [[nodiscard]] const std::optional<std::string>& fragment() const noexcept { return parts_.fragment; }

    [[nodiscard]] std::string lastPathComponent() const;
    [[nodiscard]] bool isFileURL() const;

protected:
    struct Parts {
        std::string given;
        std::string text;
        std::optional<std::string> scheme;
        std::optional<std::string> user;
        std::optional<std::string> password;
        std::optional<std::string> host;
        std::optional<std::int64_t> port;
        std::string path;
        std::optional<std::string> query;
        std::optional<std::string> fragment;
    };
    explicit NSURL(Parts parts) : parts_(std::move(parts)) {}

private:
    [[nodiscard]] static std::optional<Parts> parse(Text string, const NSURL* base);

    const Parts parts_;
};

}  // namespace qz
