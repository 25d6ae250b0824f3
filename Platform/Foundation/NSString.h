// NSString: an immutable UTF-8 text as an object. `id` boxes texts into it; unbox<std::string>() goes back.
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

private:
    std::string text_;
};

}  // namespace qz
