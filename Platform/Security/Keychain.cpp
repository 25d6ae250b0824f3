#include "Platform/Security/Keychain.h"

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/SearchPaths.h"
#include "Platform/Security/internal/KeychainService.h"

namespace qz {

namespace internal {

void KeychainChange::applyTo(KeychainItem& item) const {
    item.value = value.value_or(item.value);
    item.accessible = accessible.value_or(item.accessible);
    item.isSynchronizable = isSynchronizable.value_or(item.isSynchronizable);
}

namespace {

/// Kept to the end of the process: an identifier may be asked for while it exits.
KeychainService& keychain() {
    static auto& service = *[] {
        auto found = makeSecretServiceKeychain();
        if (!found) {
            const auto base = userBaseDirectory(UserBaseDirectory::Data);
            found = makeFileKeychain(
                base.empty() ? "" : stringByAppendingPathComponent(base, "QZUtils/Keychain/items.sqlite"));
        }
        return found.release();
    }();
    return service;
}

/// The entries of a query, read with a check of their kinds.
class Entries {
public:
    explicit Entries(const Ref<NSDictionary>& dictionary) : dictionary_(dictionary) {
        areSound_ = dictionary_ != nullptr;
    }

    template <class T>
    [[nodiscard]] std::optional<T> get(std::string_view key) {
        const auto value = dictionary_ ? dictionary_->objectForKey(key) : id();
        auto content = unbox<T>(value);
        areSound_ = areSound_ && content.has_value() == static_cast<bool>(value);
        return content;
    }
    [[nodiscard]] bool is(std::string_view key, std::string_view value) {
        return get<std::string>(key) == value;
    }
    /// Whether everything so far was of its kind.
    [[nodiscard]] bool areSound() const noexcept { return areSound_; }

    [[nodiscard]] KeychainQuery query() {
        areSound_ = areSound_ && is(kSecClass, kSecClassGenericPassword);
        return {get<std::string>(kSecAttrAccount), get<std::string>(kSecAttrService)};
    }
    [[nodiscard]] KeychainChange change() {
        return {get<NSData>(kSecValueData), get<std::string>(kSecAttrAccessible),
                get<bool>(kSecAttrSynchronizable)};
    }

private:
    const Ref<NSDictionary>& dictionary_;
    bool areSound_ = false;
};

struct Wanted {
    explicit Wanted(Entries& entries)
        : data(entries.get<bool>(kSecReturnData).value_or(false)),
          attributes(entries.get<bool>(kSecReturnAttributes).value_or(false)) {}

    /// Nil when nothing is wanted.
    [[nodiscard]] id of(const KeychainItem& item) const {
        if (!attributes) {
            return data ? id(item.value) : id();
        }
        auto dictionary = NSMutableDictionary::dictionary({
            {kSecClass, kSecClassGenericPassword},
            {kSecAttrAccount, item.account},
            {kSecAttrService, item.service},
            {kSecAttrAccessible, item.accessible},
            {kSecAttrSynchronizable, item.isSynchronizable},
        });
        if (data) {
            dictionary->setObjectForKey(item.value, kSecValueData);
        }
        return dictionary->copy();
    }

    bool data;
    bool attributes;
};

}  // namespace

}  // namespace internal

OSStatus SecItemCopyMatching(const Ref<NSDictionary>& query, id* result) {
    internal::Entries entries(query);
    const auto meant = entries.query();
    const internal::Wanted wanted(entries);
    const bool wantsAll = entries.is(kSecMatchLimit, kSecMatchLimitAll);
    if (result) {
        *result = nullptr;
    }
    if (!entries.areSound()) {
        return errSecParam;
    }
    std::vector<internal::KeychainItem> items;
    const auto status = internal::keychain().find(meant, items);
    if (status != errSecSuccess || !result || !(wanted.data || wanted.attributes)) {
        return status;
    }
    if (!wantsAll) {
        *result = wanted.of(items.front());
        return status;
    }
    std::vector<id> objects;
    objects.reserve(items.size());
    for (const auto& item : items) {
        objects.push_back(wanted.of(item));
    }
    *result = NSArray::arrayWithObjects(std::move(objects));
    return status;
}

OSStatus SecItemAdd(const Ref<NSDictionary>& attributes, id* result) {
    internal::Entries entries(attributes);
    const auto names = entries.query();
    internal::KeychainItem item{names.account.value_or(""), names.service.value_or(""), "", false, {}};
    entries.change().applyTo(item);
    const internal::Wanted wanted(entries);
    if (result) {
        *result = nullptr;
    }
    if (!entries.areSound()) {
        return errSecParam;
    }
    const auto status = internal::keychain().add(item);
    if (status == errSecSuccess && result) {
        *result = wanted.of(item);
    }
    return status;
}

OSStatus SecItemUpdate(const Ref<NSDictionary>& query, const Ref<NSDictionary>& attributesToUpdate) {
    internal::Entries entries(query);
    const auto meant = entries.query();
    internal::Entries attributes(attributesToUpdate);
    const auto change = attributes.change();
    if (!entries.areSound() || !attributes.areSound()) {
        return errSecParam;
    }
    return internal::keychain().update(meant, change);
}

OSStatus SecItemDelete(const Ref<NSDictionary>& query) {
    internal::Entries entries(query);
    const auto meant = entries.query();
    return entries.areSound() ? internal::keychain().remove(meant) : errSecParam;
}

}  // namespace qz
