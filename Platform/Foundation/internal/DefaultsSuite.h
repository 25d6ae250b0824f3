// What all defaults objects of one suite in a process share: the store, the registered values, and who is to
// hear of changes. Safe from any thread.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/internal/DefaultsStore.h"
#include "Platform/Runtime/Id.h"

namespace qz {
class NSDictionary;
}

namespace qz::internal {

class DefaultsSuite {
public:
    /// The one of that name, made when nobody has it. Nil is the program's own.
    [[nodiscard]] static std::shared_ptr<DefaultsSuite> suiteNamed(Text name);

    explicit DefaultsSuite(std::string path);

    /// Changes are announced by this object too, as long as it lives.
    void addAnnouncer(const Ref<Object>& object);

    [[nodiscard]] id objectForKey(std::string_view key);
    /// Nullopt removes.
    void setValueForKey(const std::optional<NSData>& value, std::string_view key);
    [[nodiscard]] Ref<NSDictionary> dictionaryRepresentation();
    void registerDefaults(const NSDictionary& values);
    bool performTransaction(const std::function<void()>& block);

private:
    /// A change that was announced by some objects and is to be confirmed by them.
    struct Change {
        std::string key;
        std::vector<Ref<Object>> announcers;

        void confirm() const;
    };
    using Changes = std::vector<Change>;

    [[nodiscard]] Change announce(std::string_view key);
    [[nodiscard]] Ref<NSDictionary> registered() const;

    DefaultsStore store_;
    Changes* changes_ = nullptr;  // those of the running transaction; used inside it only
    mutable std::mutex mutex_;    // guards the rest
    std::vector<std::weak_ptr<Object>> announcers_;
    Ref<NSDictionary> registered_;
};

}  // namespace qz::internal
