#include "Platform/Foundation/NSError.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSError, cls) {
    cls.method("domain", &NSError::domain);
    cls.method("code", &NSError::code);
    cls.method("userInfo", &NSError::userInfo);
    cls.method("localizedDescription", &NSError::localizedDescription);
    cls.method("description", [](const NSError& self) {
        return "Error Domain=" + self.domain_ + " Code=" + std::to_string(self.code_) + " \"" +
               self.localizedDescription() + "\"";
    });
    cls.method("isEqual:", [](const NSError& self, const id& other) {
        const auto* error = dynamic_cast<const NSError*>(other.get());
        return error && error->domain_ == self.domain_ && error->code_ == self.code_ &&
               id(error->userInfo_) == id(self.userInfo_);
    });
    cls.method("hash", [](const NSError& self) {
        return std::hash<std::string>()(self.domain_) ^ std::hash<std::int64_t>()(self.code_);
    });
    cls.method("copy", [](NSError& self) { return id(self.ref()); });
}

Ref<NSError> NSError::errorWithDomain(std::string domain, std::int64_t code,
                                      const Ref<NSDictionary>& userInfo) {
    return make<NSError>(std::move(domain), code, userInfo ? userInfo->copy() : nullptr);
}

std::string NSError::localizedDescription() const {
    if (userInfo_) {
        if (auto text = unbox<std::string>(userInfo_->objectForKey(NSLocalizedDescriptionKey))) {
            return *std::move(text);
        }
    }
    return "The operation could not be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
}

}  // namespace qz
