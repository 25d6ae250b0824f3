// UIDevice(Info): which device this is: one identifier for a family of applications, what its model is
// called, and where it is on the network.
//
//     const auto device = UIDevice::currentDevice();
//     UDID(device)            // 40 characters; the same for ever, as far as the system allows
//     platformString(device)  // "ThinkPad X1 Carbon Gen 9", or whatever the firmware says
//
// THE IDENTIFIER is 32 hexadecimal digits and eight more in lower case. It is kept in the program's settings
// (QZUserDefaults.h, under "zxUDID") and in the user's keychain (Keychain.h), where each application of the
// family has an item of its own, so that one that is installed later, or anew, finds what the others use.
//
// It is worked out once in a process, which takes some milliseconds, or some seconds where a Secret Service
// does not answer. Programs that start at once wait for each other meanwhile and end with one identifier.
// Nothing fails: what the keychain refuses is logged and done without.
//
// A null device stands for the current one. All functions are safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Export.h"
#include "Platform/Foundation/UIDevice.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSDictionary;
class NSMutableDictionary;

// The identifier.

/// The one of the device. Worked out once in a process: from the program's settings; or else its keychain
/// item; or else what most items of the family hold; or else a fresh one. The stores that lack it get it.
[[nodiscard]] QZ_EXPORT std::string UDID(const Ref<UIDevice>& self);
/// The one of this application on the device: what an older version left in the file "identity" of the caches
/// directory, or "<UDID>_<bundle identifier>". Worked out once in a process; nothing is written.
[[nodiscard]] QZ_EXPORT std::string appSpecificUDID(const Ref<UIDevice>& self);
/// A new one, different each time, which is stored nowhere: the advertising identifier of the host's class
/// ASIdentifierManager, where there is such a class and it does not answer zeros, or else the vendor
/// identifier; in upper case, without dashes, and a random number after it. 32 random digits, in lower case,
/// where there is neither.
[[nodiscard]] QZ_EXPORT std::string generateFreshOpenUDID(const Ref<UIDevice>& self);

// The keychain's items for it: generic passwords of the account "zxUDID", whose service is the main bundle's
// identifier. A value that begins with 32 zeros is no identifier.

/// What this application's item holds; nullopt where there is none, and when the keychain does not answer.
[[nodiscard]] QZ_EXPORT std::optional<std::string> kcThisAppUDID(const Ref<UIDevice>& self);
/// What most of the family's items hold; of several such the one that sorts first, so that all programs
/// agree.
[[nodiscard]] QZ_EXPORT std::optional<std::string> kcMostUsedUDID(const Ref<UIDevice>& self);
/// Whether it was stored in this application's item. The text is stored as it is; nil is not.
QZ_EXPORT bool setKcThisAppUDID(const Ref<UIDevice>& self, Text kcThisAppUDID);
/// A query for these items (Keychain.h), of this application or of all, that asks for content or only whether
/// there are any.
[[nodiscard]] QZ_EXPORT Ref<NSMutableDictionary> createKcQueryCheckingCurrentAppOnly(
    const Ref<UIDevice>& self, bool checkingCurrentAppOnly, bool needResult);
/// Deletes the items, of this application or of all. A warning is logged when there was none.
QZ_EXPORT void deleteUDIDForCurrentAppOnly(const Ref<UIDevice>& self, bool currentAppOnly);
QZ_EXPORT void deleteKcAppUDID(const Ref<UIDevice>& self);
QZ_EXPORT void deleteAllKcUDIDs(const Ref<UIDevice>& self);
/// Forgets the identifier in the settings and the whole family's keychain items, and the file "identity".
/// This process goes on with what it knows; the next one makes a fresh identifier.
QZ_EXPORT void resetUDIDPersistentCache(const Ref<UIDevice>& self);

// The network.

/// "A0:B1:C2:D3:E4:F5": the hardware address of the interface "en0", or, where none has that name, of the
/// first one of Ethernet type; empty where there is none.
[[nodiscard]] QZ_EXPORT std::string macAddr(const Ref<UIDevice>& self);
/// The same for an interface by name, into a buffer of at least 18 bytes, which is returned. It stays as it
/// was where no interface of Ethernet type has the name. Both pointers must not be null.
QZ_EXPORT char* getMacAddress(char* buffer, const char* interfaceName);

// The model.

/// What the firmware calls the machine, or else what uname(2) says of the processor.
[[nodiscard]] QZ_EXPORT std::string platform(const Ref<UIDevice>& self);
/// What the list of product codes has for platform().
[[nodiscard]] QZ_EXPORT std::optional<std::string> manualMarketingDeviceName(const Ref<UIDevice>& self);
/// "Simulator " and the value of SIMULATOR_DEVICE_NAME in the environment, where that is not empty; or else
/// what the device answers to `_deviceInfoForKey:` with "marketing-name", where a host has taught it that
/// message.
[[nodiscard]] QZ_EXPORT std::optional<std::string> marketingDeviceName(const Ref<UIDevice>& self);
/// The best name: of the two above, or else platform(). Worked out once in a process.
[[nodiscard]] QZ_EXPORT std::string platformString(const Ref<UIDevice>& self);

namespace UIDeviceClass {

/// The network that the first connected wireless interface is in (CaptiveNetwork.h); null where there is
/// none.
[[nodiscard]] QZ_EXPORT Ref<NSDictionary> currentWifiInfo();
/// Its name.
[[nodiscard]] QZ_EXPORT std::optional<std::string> currentWifiSSID();
/// Its access point: 0xA0B1C2D3E4F5 for "a0:b1:c2:d3:e4:f5"; 0 where there is none.
[[nodiscard]] QZ_EXPORT std::uint64_t currentWifiBSSID();

/// The machine field of uname(2), such as "x86_64".
[[nodiscard]] QZ_EXPORT std::string rawSystemInfoString();
/// Major and minor number of that: (10, 3) for "Name10,3", (0, 0) for a text without a comma.
[[nodiscard]] QZ_EXPORT std::pair<std::int64_t, std::int64_t> deviceVersion();
/// Whether the device is held in one hand.
[[nodiscard]] QZ_EXPORT bool isPhone();

}  // namespace UIDeviceClass

}  // namespace qz
