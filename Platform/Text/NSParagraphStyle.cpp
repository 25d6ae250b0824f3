#include "Platform/Text/NSParagraphStyle.h"

#include <functional>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSParagraphStyle, cls) {
    cls.property("alignment", &NSParagraphStyle::alignment);
    cls.property("firstLineHeadIndent", &NSParagraphStyle::firstLineHeadIndent);
    cls.property("headIndent", &NSParagraphStyle::headIndent);
    cls.property("paragraphSpacing", &NSParagraphStyle::paragraphSpacing);
    cls.property("headerLevel", &NSParagraphStyle::headerLevel);
    cls.method("isEqual:", [](const NSParagraphStyle& self, const id& other) {
        const auto style = other.as<NSParagraphStyle>();
        return style && style->values() == self.values();
    });
    cls.method("hash", [](const NSParagraphStyle& self) {
        return std::hash<double>()(self.headIndent()) ^ static_cast<std::size_t>(self.alignment());
    });
}

Ref<NSParagraphStyle> NSParagraphStyle::paragraphStyle(const Values& values) {
    return make<NSParagraphStyle>(values);
}

}  // namespace qz
