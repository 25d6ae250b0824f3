// Where the keychain's items are: what Keychain.h asks of a place that keeps them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Security/Keychain.h"

namespace qz::internal {

struct KeychainItem {
    std::string account;
    std::string service;
    std::string accessible;
    bool isSynchronizable = false;
    NSData value;
};

/// Which items are meant: all those that have what is given.
struct KeychainQuery {
    std::optional<std::string> account;
    std::optional<std::string> service;
};

/// What is to become of them.
struct KeychainChange {
    std::optional<NSData> value;
    std::optional<std::string> accessible;
    std::optional<bool> isSynchronizable;

    void applyTo(KeychainItem& item) const;
};

/// Safe from any thread.
class KeychainService {
public:
    KeychainService() = default;
    KeychainService(const KeychainService&) = delete;
    KeychainService& operator=(const KeychainService&) = delete;
    virtual ~KeychainService() = default;

    /// Sets `items` to those that match, in the order of their services and accounts: errSecItemNotFound when
    /// there is none.
    [[nodiscard]] virtual OSStatus find(const KeychainQuery& query, std::vector<KeychainItem>& items) = 0;
    /// errSecDuplicateItem when there is one of that account and service.
    [[nodiscard]] virtual OSStatus add(const KeychainItem& item) = 0;
    // Both: all that match or none, as far as the place allows; errSecItemNotFound when there is none.
    [[nodiscard]] virtual OSStatus update(const KeychainQuery& query, const KeychainChange& change) = 0;
    [[nodiscard]] virtual OSStatus remove(const KeychainQuery& query) = 0;
};

/// In a file of the user's own. Nothing is made before the first item is added.
[[nodiscard]] QZ_EXPORT std::unique_ptr<KeychainService> makeFileKeychain(std::string path);
/// In the default collection of the session's Secret Service; null when there is none.
[[nodiscard]] QZ_EXPORT std::unique_ptr<KeychainService> makeSecretServiceKeychain();

}  // namespace qz::internal
