#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"

namespace qz {

namespace {

id boxed(const std::optional<std::string>& text) {
    return {Text(text)};
}

}  // namespace

QZ_DEFINE_CATEGORY(UIDevice, Info, cls) {
    // The identifier.
    cls.method("UDID", [](UIDevice& self) { return UDID(refTo(self)); });
    cls.method("appSpecificUDID", [](UIDevice& self) { return appSpecificUDID(refTo(self)); });
    cls.method("generateFreshOpenUDID", [](UIDevice& self) { return generateFreshOpenUDID(refTo(self)); });
    cls.method("kcThisAppUDID", [](UIDevice& self) { return boxed(kcThisAppUDID(refTo(self))); });
    cls.method("kcMostUsedUDID", [](UIDevice& self) { return boxed(kcMostUsedUDID(refTo(self))); });
    cls.method("setKcThisAppUDID:",
               [](UIDevice& self, Text identifier) { return setKcThisAppUDID(refTo(self), identifier); });
    cls.method(
        "createKcQueryCheckingCurrentAppOnly:needResult:",
        [](UIDevice& self, bool checkingCurrentAppOnly, bool needResult) {
            return id(createKcQueryCheckingCurrentAppOnly(refTo(self), checkingCurrentAppOnly, needResult));
        });
    cls.method("deleteUDIDForCurrentAppOnly:", [](UIDevice& self, bool currentAppOnly) {
        deleteUDIDForCurrentAppOnly(refTo(self), currentAppOnly);
    });
    cls.method("deleteKcAppUDID", [](UIDevice& self) { deleteKcAppUDID(refTo(self)); });
    cls.method("deleteAllKcUDIDs", [](UIDevice& self) { deleteAllKcUDIDs(refTo(self)); });
    cls.method("resetUDIDPersistentCache", [](UIDevice& self) { resetUDIDPersistentCache(refTo(self)); });

    // The network.
    cls.method("macAddr", [](UIDevice& self) { return macAddr(refTo(self)); });
    cls.classMethod("currentWifiInfo", [](Class&) { return id(UIDeviceClass::currentWifiInfo()); });
    cls.classMethod("currentWifiSSID", [](Class&) { return boxed(UIDeviceClass::currentWifiSSID()); });
    cls.classMethod("currentWifiBSSID", [](Class&) { return UIDeviceClass::currentWifiBSSID(); });

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
