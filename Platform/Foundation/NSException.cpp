#include "Platform/Foundation/NSException.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace internal {

class ExceptionStorage : public NSObject {
    QZ_OBJECT(ExceptionStorage, NSObject)
public:
    std::string name;
    std::string reason;
    Ref<NSDictionary> userInfo;
    std::string what;

protected:
    ExceptionStorage(std::string exceptionName, std::string exceptionReason, Ref<NSDictionary> info)
        : name(std::move(exceptionName)),
          reason(std::move(exceptionReason)),
          userInfo(std::move(info)),
          what(name.empty() ? reason : name + ": " + reason) {}
};

QZ_DEFINE_CLASS_NAMED(ExceptionStorage, "NSException", cls) {
    cls.method("description", [](const ExceptionStorage& self) { return self.reason; });
    cls.method("name", [](const ExceptionStorage& self) { return self.name; });
    cls.method("reason", [](const ExceptionStorage& self) { return self.reason; });
    cls.method("userInfo", [](const ExceptionStorage& self) { return self.userInfo; });
}

}  // namespace internal

using internal::ExceptionStorage;

NSException::NSException(std::string name, std::string reason, Ref<NSDictionary> userInfo)
    : storage_(make<ExceptionStorage>(std::move(name), std::move(reason), std::move(userInfo))) {}

const std::string& NSException::name() const noexcept {
    return storage_->name;
}
const std::string& NSException::reason() const noexcept {
    return storage_->reason;
}
const Ref<NSDictionary>& NSException::userInfo() const noexcept {
    return storage_->userInfo;
}
const char* NSException::what() const noexcept {
    return storage_->what.c_str();
}
Class& NSException::cls() {
    return ExceptionStorage::cls();
}

Ref<Object> Boxing<NSException>::box(const NSException& exception) {
    return exception.storage_;
}

std::optional<NSException> Boxing<NSException>::unbox(const Object& object) {
    const auto* storage = dynamic_cast<const ExceptionStorage*>(&object);
    return storage ? std::optional(NSException(refTo(*storage))) : std::nullopt;
}

void raise(std::string_view name, const std::string& reason) {
    throw NSException(std::string(name), reason);
}

}  // namespace qz
