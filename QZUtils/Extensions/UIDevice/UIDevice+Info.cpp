#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"

namespace qz {

namespace {

id boxed(const std::optional<std::string>& text) {
    return {Text(text)};
}

}  // namespace

QZ_DEFINE_CATEGORY(UIDevice, Info, cls) {
    // The model.
    cls.classMethod("rawSystemInfoString", [](Class&) { return UIDeviceClass::rawSystemInfoString(); });
    cls.classMethod("deviceVersion", [](Class&) { return UIDeviceClass::deviceVersion(); });
    cls.classMethod("isPhone", [](Class&) { return UIDeviceClass::isPhone(); });
    cls.method("platform", [](UIDevice& self) { return platform(refTo(self)); });
    cls.method("manualMarketingDeviceName",
               [](UIDevice& self) { return boxed(manualMarketingDeviceName(refTo(self))); });
    cls.method("marketingDeviceName", [](UIDevice& self) { return boxed(marketingDeviceName(refTo(self))); });
    cls.method("platformString", [](UIDevice& self) { return platformString(refTo(self)); });
}

}  // namespace qz
