#include "Platform/Foundation/NSURL.h"

#include <uriparser/Uri.h>

#include <charconv>
#include <filesystem>
#include <memory>
#include <vector>

#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

/// A parsed URL, which refers to the text that it was parsed from.
class ParsedURL {
public:
    ParsedURL() = default;
    ParsedURL(const ParsedURL&) = delete;
    ParsedURL& operator=(const ParsedURL&) = delete;
    ~ParsedURL() {
        if (filled_) {
            uriFreeUriMembersA(&uri_);
        }
    }

    /// False when the text is no URL.
    [[nodiscard]] bool parse(std::string_view text) {
        const char* error = nullptr;
        filled_ = uriParseSingleUriExA(&uri_, text.data(), text.data() + text.size(), &error) == URI_SUCCESS;
        return filled_;
    }
    [[nodiscard]] bool resolve(const ParsedURL& relative, const ParsedURL& base) {
        filled_ = uriAddBaseUriExA(&uri_, &relative.uri_, &base.uri_, URI_RESOLVE_STRICTLY) == URI_SUCCESS;
        return filled_;
    }
    [[nodiscard]] std::optional<std::string> text() const {
        int size = 0;
        if (uriToStringCharsRequiredA(&uri_, &size) != URI_SUCCESS) {
            return std::nullopt;
        }
        std::string text(static_cast<std::size_t>(size) + 1, '\0');
        int written = 0;
        if (uriToStringA(text.data(), &uri_, size + 1, &written) != URI_SUCCESS) {
            return std::nullopt;
        }
        text.resize(static_cast<std::size_t>(written) - 1);
        return text;
    }
    [[nodiscard]] const UriUriA& operator*() const noexcept { return uri_; }

private:
    UriUriA uri_{};
    bool filled_ = false;
};

std::optional<std::string> textOf(const UriTextRangeA& range) {
    return range.first ? std::optional(std::string(range.first, range.afterLast)) : std::nullopt;
}

std::string unescaped(std::string text) {
    if (text.find('%') == std::string::npos) {
        return text;
    }
    const char* end = uriUnescapeInPlaceA(text.data());
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

std::optional<std::string> unescaped(std::optional<std::string> text) {
    return text ? std::optional(unescaped(std::move(*text))) : std::nullopt;
}

std::string pathOf(const UriUriA& uri) {
    std::string path;
    const bool startsWithSlash = uri.absolutePath || (uri.hostText.first && uri.pathHead);
    for (const auto* segment = uri.pathHead; segment; segment = segment->next) {
        if (segment != uri.pathHead || startsWithSlash) {
            path += '/';
        }
        path.append(segment->text.first, segment->text.afterLast);
    }
    if (!uri.pathHead && uri.absolutePath) {
        path = "/";
    }
    return unescaped(std::move(path));
}

std::optional<std::int64_t> portOf(const UriTextRangeA& range) {
    std::uint16_t port = 0;
    if (!range.first || range.first == range.afterLast) {
        return std::nullopt;
    }
    const auto [end, error] = std::from_chars(range.first, range.afterLast, port);
    return error == std::errc() && end == range.afterLast ? std::optional<std::int64_t>(port) : std::nullopt;
}

}  // namespace

QZ_DEFINE_CLASS(NSURL, cls) {
    cls.classMethod("URLWithString:", [](Class&, Text string) { return URLWithString(string); });
    cls.classMethod("URLWithString:relativeToURL:",
                    [](Class&, Text string, const Ref<NSURL>& base) { return URLWithString(string, base); });
    cls.classMethod("fileURLWithPath:", [](Class&, std::string_view path) { return fileURLWithPath(path); });
    cls.property("absoluteString", &NSURL::absoluteString);
    cls.property("scheme", [](const NSURL& self) { return id(Text(self.scheme())); });
    cls.property("host", [](const NSURL& self) { return id(Text(self.host())); });
    cls.property("path", &NSURL::path);
    cls.property("query", [](const NSURL& self) { return id(Text(self.query())); });
    cls.property("lastPathComponent", &NSURL::lastPathComponent);
    cls.method("description", &NSURL::absoluteString);
    cls.method("isEqual:", [](const NSURL& self, const id& other) {
        const auto url = other.as<NSURL>();
        return url && url->absoluteString() == self.absoluteString();
    });
    cls.method("hash", [](const NSURL& self) { return std::hash<std::string>()(self.absoluteString()); });
}

std::optional<NSURL::Parts> NSURL::parse(Text string, const NSURL* base) {
    // An embedded zero would hide the rest from the parser's callers.
    if (!string || string.view().find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    Parts parts;
    parts.given = string.view();
    parts.text = parts.given;
    ParsedURL parsed;
    if (!parsed.parse(parts.given)) {
        return std::nullopt;
    }
    if (base && !(*parsed).scheme.first) {
        ParsedURL parsedBase;
        ParsedURL resolved;
        const auto text = parsedBase.parse(base->absoluteString()) && resolved.resolve(parsed, parsedBase)
                              ? resolved.text()
                              : std::nullopt;
        if (!text) {
            return std::nullopt;
        }
        parts.text = *text;
    }
    ParsedURL whole;
    if (!whole.parse(parts.text)) {
        return std::nullopt;
    }
    const auto& uri = *whole;
    parts.scheme = textOf(uri.scheme);
    if (const auto userInfo = textOf(uri.userInfo)) {
        const auto colon = userInfo->find(':');
        parts.user = unescaped(userInfo->substr(0, colon));
        if (colon != std::string::npos) {
            parts.password = unescaped(userInfo->substr(colon + 1));
        }
    }
    parts.host = unescaped(textOf(uri.hostText));
    parts.port = portOf(uri.portText);
    parts.path = pathOf(uri);
    parts.query = textOf(uri.query);
    parts.fragment = textOf(uri.fragment);
    return parts;
}

Ref<NSURL> NSURL::fileURLWithPath(std::string_view path) {
    std::error_code error;
    const std::string absolute = std::filesystem::absolute(path, error).string();
    const auto& source = error ? std::string(path) : absolute;
    // Every byte may become an escape of three; the prefix and the final zero come on top.
    std::string text(source.size() * 3 + sizeof "file://", '\0');
    if (uriUnixFilenameToUriStringA(source.c_str(), text.data()) != URI_SUCCESS) {
        return nullptr;
    }
    return URLWithString(text.c_str());
}

std::string NSURL::lastPathComponent() const {
    return qz::lastPathComponent(path());
}

bool NSURL::isFileURL() const {
    return scheme() == "file";
}

}  // namespace qz
