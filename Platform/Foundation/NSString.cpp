#include "Platform/Foundation/NSString.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSString, cls) {
    cls.method("description", [](const NSString& self) { return self.text_; });
    cls.method("isEqual:", [](const NSString& self, const id& other) {
        const auto* string = dynamic_cast<const NSString*>(other.get());
        return string && string->text_ == self.text_;
    });
    cls.method("hash", [](const NSString& self) { return std::hash<std::string>()(self.text_); });
    cls.method("length", &NSString::length);
    cls.method("copy", [](NSString& self) { return id(self.ref()); });
}

Ref<NSString> NSString::string(std::string text) {
    return make<NSString>(std::move(text));
}

QZ_DEFINE_CLASS(NSMutableString, cls) {
    cls.method("appendString:", &NSMutableString::appendString);
    cls.method("copy", [](const NSMutableString& self) { return id(NSString::string(self.text_)); });
}

Ref<NSMutableString> NSMutableString::string(std::string text) {
    return make<NSMutableString>(std::move(text));
}

namespace internal {

Ref<Object> boxText(std::string text) {
    return NSString::string(std::move(text));
}

std::optional<std::string> unboxText(const Object& object) {
    const auto* string = dynamic_cast<const NSString*>(&object);
    return string ? std::optional(string->string()) : std::nullopt;
}

}  // namespace internal

}  // namespace qz
