// NSString: an immutable UTF-8 text as an object. `id` boxes texts into it; unbox<std::string>() goes back.
// NSMutableString: one that grows, for texts inside containers; elsewhere a std::string does. Who holds the
// same one sees the same text. It must not be changed while another thread uses it, nor while it is a key.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT NSString : public NSObject {
    QZ_OBJECT(NSString, NSObject)
public:
    /// The bytes are kept as they are, valid UTF-8 or not.
    [[nodiscard]] static Ref<NSString> string(std::string text);

    [[nodiscard]] const std::string& string() const noexcept { return text_; }
    /// The number of bytes.
    [[nodiscard]] std::size_t length() const noexcept { return text_.size(); }

protected:
    explicit NSString(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

class QZ_EXPORT NSMutableString : public NSString {
    QZ_OBJECT(NSMutableString, NSString)
public:
    [[nodiscard]] static Ref<NSMutableString> string(std::string text = {});

    void appendString(std::string_view text) { text_ += text; }

protected:
    explicit NSMutableString(std::string text) : NSString(std::move(text)) {}
};

}  // namespace qz
