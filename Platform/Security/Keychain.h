// Keychain: small secrets of the user that outlive the application's files: generic passwords, each with an
// account, a service and a value.
//
//     SecItemAdd(NSDictionary::dictionary({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount,
//     "reader"},
//                                          {kSecAttrService, "org.example"}, {kSecValueData, data}}),
//                                          nullptr);
//     id item;
//     if (SecItemCopyMatching(query, &item) == errSecSuccess) { … }
//
// Where the user's session has a Secret Service with a default collection (GNOME Keyring, KWallet), items are
// in that collection. Otherwise they are in XDG_DATA_HOME/QZUtils/Keychain/items.sqlite, which only the user
// may read, and which is not enciphered. What a process finds first serves it to its end; items do not move
// from one to the other.
//
// A query names the class, perhaps an account and a service, and what is wanted. Without a limit it means one
// item. Account and service together are unique. Of items that a user keeps locked nothing is read or
// changed: errSecInteractionNotAllowed. Nobody is ever asked to unlock, and no operation takes longer than
// some seconds.
//
// COST. Some milliseconds with a Secret Service, 0.2 to 10 ms (a flush to disk) without. Safe from any thread
// and from several processes.
#pragma once

#include <cstdint>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;

using OSStatus = std::int32_t;

inline constexpr OSStatus errSecSuccess = 0;
/// A query that makes no sense: without the class, of another class, or with a value of the wrong kind.
inline constexpr OSStatus errSecParam = -50;
/// The keychain cannot be reached or written.
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
/// The item is locked, and the user would have to be asked.
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;

// Keys of queries and attributes.
inline constexpr std::string_view kSecClass = "kSecClass";
/// Texts.
inline constexpr std::string_view kSecAttrAccount = "kSecAttrAccount";
inline constexpr std::string_view kSecAttrService = "kSecAttrService";
/// When an item can be read: kept with it, for the host's information. On Linux it is whenever it is not
/// locked.
inline constexpr std::string_view kSecAttrAccessible = "kSecAttrAccessible";
/// A truth value, kept with the item in the same way. Nothing here carries items to other machines.
inline constexpr std::string_view kSecAttrSynchronizable = "kSecAttrSynchronizable";
/// NSData.
inline constexpr std::string_view kSecValueData = "kSecValueData";
inline constexpr std::string_view kSecMatchLimit = "kSecMatchLimit";
/// Truth values: what a look-up gives. Nothing without either.
inline constexpr std::string_view kSecReturnData = "kSecReturnData";
inline constexpr std::string_view kSecReturnAttributes = "kSecReturnAttributes";
/// What to do when the user would have to be asked. He is not, whatever it says.
inline constexpr std::string_view kSecUseAuthenticationUI = "kSecUseAuthenticationUI";

// Their values.
inline constexpr std::string_view kSecClassGenericPassword = "kSecClassGenericPassword";
inline constexpr std::string_view kSecAttrAccessibleAfterFirstUnlock = "kSecAttrAccessibleAfterFirstUnlock";
inline constexpr std::string_view kSecMatchLimitOne = "kSecMatchLimitOne";
inline constexpr std::string_view kSecMatchLimitAll = "kSecMatchLimitAll";
inline constexpr std::string_view kSecUseAuthenticationUISkip = "kSecUseAuthenticationUISkip";

/// Looks items up. `result`, which may be null, becomes what was asked for: the value (NSData), or with
/// attributes a dictionary, which has it under kSecValueData if that was asked for too; with
/// kSecMatchLimitAll an array of such. Nil when nothing was asked for or there is no such item.
[[nodiscard]] QZ_EXPORT OSStatus SecItemCopyMatching(const Ref<NSDictionary>& query, id* result);
/// Adds an item. Without account, service or value these are empty. `result`, which may be null, becomes what
/// was asked for, as above.
[[nodiscard]] QZ_EXPORT OSStatus SecItemAdd(const Ref<NSDictionary>& attributes, id* result);
/// Changes value and attributes, other than account and service, of all items that match.
[[nodiscard]] QZ_EXPORT OSStatus SecItemUpdate(const Ref<NSDictionary>& query,
                                               const Ref<NSDictionary>& attributesToUpdate);
/// Deletes all items that match.
[[nodiscard]] QZ_EXPORT OSStatus SecItemDelete(const Ref<NSDictionary>& query);

}  // namespace qz
