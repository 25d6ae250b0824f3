// NSParagraphStyle: how the lines of a paragraph stand. Lengths are points. Immutable; may be used from
// several threads at once.
#pragma once

#include <cstdint>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

enum class NSTextAlignment : std::int64_t { Left = 0, Center = 1, Right = 2, Justified = 3, Natural = 4 };

class QZ_EXPORT NSParagraphStyle : public NSObject {
    QZ_OBJECT(NSParagraphStyle, NSObject)
public:
    struct Values {
        NSTextAlignment alignment = NSTextAlignment::Natural;
        double firstLineHeadIndent = 0;
        double headIndent = 0;         // of the other lines
        double paragraphSpacing = 0;   // below the paragraph
        std::int64_t headerLevel = 0;  // 1 to 6 for headings
        [[nodiscard]] friend bool operator==(const Values&, const Values&) noexcept = default;
    };

    [[nodiscard]] static Ref<NSParagraphStyle> paragraphStyle(const Values& values);

    [[nodiscard]] const Values& values() const noexcept { return values_; }
    [[nodiscard]] NSTextAlignment alignment() const noexcept { return values_.alignment; }
    [[nodiscard]] double firstLineHeadIndent() const noexcept { return values_.firstLineHeadIndent; }
    [[nodiscard]] double headIndent() const noexcept { return values_.headIndent; }
    [[nodiscard]] double paragraphSpacing() const noexcept { return values_.paragraphSpacing; }
    [[nodiscard]] std::int64_t headerLevel() const noexcept { return values_.headerLevel; }

protected:
    explicit NSParagraphStyle(const Values& values) : values_(values) {}

private:
    const Values values_;
};

}  // namespace qz
