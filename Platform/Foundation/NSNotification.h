// NSNotification: a named announcement, who made it, and what there is to say about it. Immutable.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;

class QZ_EXPORT NSNotification : public NSObject {
    QZ_OBJECT(NSNotification, NSObject)
public:
    /// The sender may be nil.
    [[nodiscard]] static Ref<NSNotification> notificationWithName(std::string_view name, const id& object);
    /// The user information may be null. It is held as it is, so that its sender may go on with it.
    [[nodiscard]] static Ref<NSNotification> notificationWithName(std::string_view name, const id& object,
                                                                  const Ref<NSDictionary>& userInfo);

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    [[nodiscard]] const id& object() const noexcept { return object_; }
    [[nodiscard]] const Ref<NSDictionary>& userInfo() const noexcept { return userInfo_; }

protected:
    NSNotification(std::string_view name, id object, Ref<NSDictionary> userInfo)
        : name_(name), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

private:
    const std::string name_;
    const id object_;
    const Ref<NSDictionary> userInfo_;
};

}  // namespace qz
