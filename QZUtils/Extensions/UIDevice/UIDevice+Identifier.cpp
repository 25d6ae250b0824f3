// The part of UIDevice(Info) that makes, keeps and finds the identifier.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSStringEncoding.h"
#include "Platform/Foundation/NSUUID.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/SearchPaths.h"
#include "Platform/Runtime/Send.h"
#include "Platform/Security/Keychain.h"
#include "QZUtils/Crypto/RC4.h"
#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Extensions/NSData/NSData+Hash.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"
#include "Siblings/QZUserDefaults.h"

namespace qz {

namespace {

constexpr std::string_view identifierKey = "zxUDID";
constexpr std::string_view obsoleteKey = "zxUDID_appUID";
constexpr std::string_view account = "zxUDID";
constexpr std::string_view noIdentifier = "00000000000000000000000000000000";
constexpr std::string_view noAdvertisingIdentifier = "00000000-0000-0000-0000-000000000000";

std::string applicationIdentifier() {
    return NSBundle::mainBundle()->bundleIdentifier().value_or("");
}

// Identifiers of the system.

/// What the host's class of that name answers; nullopt without such a class. Linux has no such identifier.
std::optional<std::string> advertisingIdentifier() {
    auto* const managers = NSClassFromString("ASIdentifierManager");
    const auto manager = managers ? send<id>(*managers, Selector("sharedManager")) : id();
    const auto identifier = manager ? send<id>(manager, Selector("advertisingIdentifier")) : id();
    auto text = identifier ? unbox<std::string>(send<id>(identifier, Selector("UUIDString"))) : std::nullopt;
    return text == noAdvertisingIdentifier ? std::nullopt : text;
}

std::optional<std::string> vendorIdentifier() {
    const auto identifier = UIDevice::currentDevice()->identifierForVendor();
    return identifier ? std::optional(identifier->UUIDString()) : std::nullopt;
}

std::string randomDigits() {
    const auto uuid = NSUUID::UUID();
    const auto& bytes = uuid->getUUIDBytes();
    return hexEncodedString(
        MD5Hash(NSData::dataWithText({reinterpret_cast<const char*>(bytes.data()), bytes.size()})));
}

// The keychain.

/// The identifier that an item holds, if it is one.
std::optional<std::string> identifierOf(const id& item) {
    const auto attributes = item.as<NSDictionary>();
    const auto data = attributes ? unbox<NSData>(attributes->objectForKey(kSecValueData)) : std::nullopt;
    auto text = data ? stringWithDataEncoding(*data, NSStringEncoding::UTF8) : std::nullopt;
    return text && !text->empty() && !text->starts_with(noIdentifier) ? text : std::nullopt;
}

// The settings.

/// What the program's settings say. One that an older version kept in a dictionary is taken out of there, and
/// of the settings; `isMigrated` says so.
std::optional<std::string> storedIdentifier(QZUserDefaults& settings, bool& isMigrated) {
    settings.removeObjectForKey(obsoleteKey);
    const auto stored = settings.objectForKey(identifierKey);
    const auto dictionary = stored.as<NSDictionary>();
    isMigrated = dictionary != nullptr;
    if (!isMigrated) {
        return unbox<std::string>(stored);
    }
    logVerbose("open UDID migrating from %@", dictionary);
    settings.removeObjectForKey(identifierKey);
    return unbox<std::string>(dictionary->objectForKey(identifierKey));
}

/// Finds or makes the identifier, and gives it to the stores that lack it.
std::string settledIdentifier(const Ref<UIDevice>& device) {
    const auto settings = QZUserDefaults::standardUserDefaults();
    bool isMigrated = false;
    const auto stored = storedIdentifier(*settings, isMigrated);
    const auto kept = kcThisAppUDID(device);
    if (stored) {
        if (isMigrated) {
            settings->setObjectForKey(*stored, identifierKey);
        }
        if (stored != kept && !stored->starts_with(noIdentifier)) {
            setKcThisAppUDID(device, *stored);
        }
        return *stored;
    }
    if (kept) {
        settings->setObjectForKey(*kept, identifierKey);
        return *kept;
    }
    const auto shared = kcMostUsedUDID(device);
    auto identifier = shared ? *shared : generateFreshOpenUDID(device);
    settings->setObjectForKey(identifier, identifierKey);
    setKcThisAppUDID(device, identifier);
    return identifier;
}

/// The same, one program of the family after the other: of two that start at once on a new device, the second
/// finds what the first made. Where the lock cannot be had, better two identifiers than none.
std::string agreedIdentifier(const Ref<UIDevice>& device) {
    std::optional<std::string> identifier;
    const auto family = NSUserDefaults::initWithSuiteName("QZUtils.DeviceIdentifier");
    family->performTransaction([&] { identifier = settledIdentifier(device); });
    return identifier ? *identifier : settledIdentifier(device);
}

// The identity file.

/// Empty when the user has no home directory.
std::string identityPath() {
    const auto caches = NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::Caches,
                                                            NSSearchPathDomainMask::User, true);
    return caches.empty() ? "" : stringByAppendingPathComponent(caches.front(), "identity");
}

/// What an older version left; nullopt when it left nothing readable.
std::optional<std::string> identityOfFile() {
    const auto path = identityPath();
    const auto content = path.empty() ? std::nullopt : dataWithContentsOfFile(path, nullptr);
    if (!content || content->isEmpty()) {
        return std::nullopt;
    }
    // Scrambled rather than protected: every copy of the library has the key.
    constexpr std::string_view key = "vbnqa571kte63019xmLP4hw)#)&*qr";
    std::string text(content->text());
    RC4Crypt(reinterpret_cast<const unsigned char*>(key.data()), static_cast<std::int64_t>(key.size()),
             reinterpret_cast<unsigned char*>(text.data()), static_cast<std::int64_t>(text.size()));
    text.resize(std::min(text.find('\0'), text.size()));
    auto identity = stringWithDataEncoding(NSData::dataWithText(text), NSStringEncoding::ASCII);
    return identity && !identity->empty() ? identity : std::nullopt;
}

}  // namespace

std::string UDID(const Ref<UIDevice>& self) {
    static const auto& identifier = *new std::string(agreedIdentifier(self));
    return identifier;
}

std::string appSpecificUDID(const Ref<UIDevice>& self) {
    static const auto& identity = *new std::string([&] {
        auto left = identityOfFile();
        return left ? *std::move(left) : stringWithFormat("%@_%@", UDID(self), applicationIdentifier());
    }());
    return identity;
}

std::string generateFreshOpenUDID(const Ref<UIDevice>& /*self*/) {
    auto identifier = advertisingIdentifier();
    identifier = identifier ? identifier : vendorIdentifier();
    auto digits = identifier.value_or("");
    std::erase(digits, '-');
    if (digits.empty()) {
        digits = randomDigits();
    }
    return digits + stringWithFormat("%08lx", static_cast<unsigned long>(::arc4random()));
}

Ref<NSMutableDictionary> createKcQueryCheckingCurrentAppOnly(const Ref<UIDevice>& /*self*/,
                                                             bool checkingCurrentAppOnly, bool needResult) {
    auto query = NSMutableDictionary::dictionary({
        {kSecClass, kSecClassGenericPassword},
        {kSecUseAuthenticationUI, kSecUseAuthenticationUISkip},
        {kSecAttrAccount, account},
    });
    if (checkingCurrentAppOnly) {
        query->setObjectForKey(applicationIdentifier(), kSecAttrService);
    }
    query->setObjectForKey(checkingCurrentAppOnly ? kSecMatchLimitOne : kSecMatchLimitAll, kSecMatchLimit);
    if (needResult) {
        query->setObjectForKey(true, kSecReturnData);
        query->setObjectForKey(true, kSecReturnAttributes);
    }
    return query;
}

std::optional<std::string> kcThisAppUDID(const Ref<UIDevice>& self) {
    id item;
    if (SecItemCopyMatching(createKcQueryCheckingCurrentAppOnly(self, true, true), &item) != errSecSuccess) {
        return std::nullopt;
    }
    logVerbose("UDID keychain item for this app: %@", item);
    return identifierOf(item);
}

std::optional<std::string> kcMostUsedUDID(const Ref<UIDevice>& self) {
    id found;
    if (SecItemCopyMatching(createKcQueryCheckingCurrentAppOnly(self, false, true), &found) !=
        errSecSuccess) {
        return std::nullopt;
    }
    logVerbose("Key chain items with UDID: %@", found);
    std::map<std::string, std::size_t> votes;
    if (const auto items = found.as<NSArray>()) {
        for (const auto& item : *items) {
            if (const auto identifier = identifierOf(item)) {
                ++votes[*identifier];
            }
        }
    }
    // The first of the greatest: the same one in every program.
    const auto winner = std::max_element(votes.begin(), votes.end(), [](const auto& left, const auto& right) {
        return left.second < right.second;
    });
    return winner == votes.end() ? std::nullopt : std::optional(winner->first);
}

bool setKcThisAppUDID(const Ref<UIDevice>& self, Text kcThisAppUDID) {
    const auto query = createKcQueryCheckingCurrentAppOnly(self, true, false);
    const auto lookup = SecItemCopyMatching(query, nullptr);
    query->removeObjectForKey(kSecMatchLimit);
    query->removeObjectForKey(kSecUseAuthenticationUI);
    const bool exists = lookup == errSecSuccess || lookup == errSecInteractionNotAllowed;
    auto status = errSecParam;
    if (kcThisAppUDID) {
        const auto data = NSData::dataWithText(kcThisAppUDID.view());
        if (exists) {
            status = SecItemUpdate(query, NSDictionary::dictionary({{kSecValueData, data}}));
        } else {
            query->setObjectForKey(kSecAttrAccessibleAfterFirstUnlock, kSecAttrAccessible);
            query->setObjectForKey(false, kSecAttrSynchronizable);
            query->setObjectForKey(data, kSecValueData);
            status = SecItemAdd(query, nullptr);
        }
    }
    if (status != errSecSuccess) {
        logWarning("Unable to save UDID to key chain");
    }
    return status == errSecSuccess;
}

void deleteUDIDForCurrentAppOnly(const Ref<UIDevice>& /*self*/, bool currentAppOnly) {
    const auto query =
        NSMutableDictionary::dictionary({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, account}});
    if (currentAppOnly) {
        query->setObjectForKey(applicationIdentifier(), kSecAttrService);
    }
    if (SecItemDelete(query) != errSecSuccess) {
        logWarning("Unable delete UDID cache");
    }
}

void deleteKcAppUDID(const Ref<UIDevice>& self) {
    deleteUDIDForCurrentAppOnly(self, true);
}

void deleteAllKcUDIDs(const Ref<UIDevice>& self) {
    deleteUDIDForCurrentAppOnly(self, false);
}

void resetUDIDPersistentCache(const Ref<UIDevice>& self) {
    if (const auto path = identityPath(); !path.empty()) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    QZUserDefaults::standardUserDefaults()->removeObjectForKey(identifierKey);
    deleteAllKcUDIDs(self);
}

}  // namespace qz
