#include "Platform/Foundation/internal/DefaultsSuite.h"

#include <cerrno>
#include <map>
#include <utility>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/SearchPaths.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz::internal {

namespace {

/// A name that stays in its directory, a different one for each suite: what is not a letter, a digit, "-",
/// "_" or an inner "." becomes "%" and its code.
std::string fileNameOf(std::string_view suite) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    std::string name;
    for (const char c : suite) {
        if (plain.find(c) == std::string_view::npos || (c == '.' && name.empty())) {
            name += stringWithFormat("%%%02X", static_cast<unsigned char>(c));
        } else {
            name += c;
        }
    }
    return name + ".sqlite";
}

std::string pathOf(std::string_view suite) {
    const auto base = userBaseDirectory(UserBaseDirectory::Config);
    return base.empty() ? ""
                        : stringByAppendingPathComponent(
                              stringByAppendingPathComponent(base, "QZUtils/Defaults"), fileNameOf(suite));
}

id decoded(const NSData& value) {
    return NSPropertyListSerialization::propertyListWithData(value, NSPropertyListReadOptions::Immutable,
                                                             nullptr, nullptr);
}

}  // namespace

std::shared_ptr<DefaultsSuite> DefaultsSuite::suiteNamed(Text name) {
    struct Registry {
        std::mutex mutex;
        std::map<std::string, std::weak_ptr<DefaultsSuite>> suites;
    };
    static auto& registry = *new Registry;  // threads may ask until the process is gone
    auto path = pathOf(name.valueOr(program_invocation_short_name));
    const std::lock_guard lock(registry.mutex);
    auto& known = registry.suites[path];
    auto suite = known.lock();
    if (!suite) {
        suite = std::make_shared<DefaultsSuite>(std::move(path));
        known = suite;
    }
    return suite;
}

DefaultsSuite::DefaultsSuite(std::string path)
    : store_(std::move(path)), registered_(NSDictionary::dictionary()) {}

void DefaultsSuite::addAnnouncer(const Ref<Object>& object) {
    const std::lock_guard lock(mutex_);
    std::erase_if(announcers_, [](const std::weak_ptr<Object>& other) { return other.expired(); });
    announcers_.push_back(object);
}

id DefaultsSuite::objectForKey(std::string_view key) {
    const auto stored = store_.read(key);
    auto value = stored ? decoded(*stored) : id();
    return value ? value : registered()->objectForKey(key);
}

void DefaultsSuite::setValueForKey(const std::optional<NSData>& value, std::string_view key) {
    // Observers are called without the store's lock, before and after, so they may wait for other threads.
    std::optional<Change> change = announce(key);
    store_.performTransaction([&] {
        store_.write(key, value);
        if (changes_) {
            changes_->push_back(*std::exchange(change, std::nullopt));
        }
    });
    if (change) {
        change->confirm();
    }
}

Ref<NSDictionary> DefaultsSuite::dictionaryRepresentation() {
    const auto values = registered()->mutableCopy();
    for (const auto& [key, stored] : store_.readAll()) {
        if (const auto value = decoded(stored)) {
            values->setObjectForKey(value, key);
        }
    }
    return values->copy();
}

void DefaultsSuite::registerDefaults(const NSDictionary& values) {
    const std::lock_guard lock(mutex_);
    const auto all = registered_->mutableCopy();
    for (const auto& [key, value] : values) {
        all->setObjectForKey(value, key);
    }
    registered_ = all->copy();
}

Ref<NSDictionary> DefaultsSuite::registered() const {
    const std::lock_guard lock(mutex_);
    return registered_;
}

bool DefaultsSuite::performTransaction(const std::function<void()>& block) {
    struct Confirmation {
        Changes changes;
        ~Confirmation() noexcept(false) {
            for (const auto& change : changes) {
                change.confirm();
            }
        }
    } confirmation;
    struct Collecting {
        Changes*& place;
        Changes* const before;
        ~Collecting() { place = before; }
    };
    return store_.performTransaction([&] {
        const Collecting collecting{changes_, changes_};
        changes_ = changes_ ? changes_ : &confirmation.changes;
        block();
    });
}

DefaultsSuite::Change DefaultsSuite::announce(std::string_view key) {
    Change change{std::string(key), {}};
    {
        const std::lock_guard lock(mutex_);
        for (const auto& weak : announcers_) {
            if (auto object = weak.lock(); object && isObserved(*object)) {
                change.announcers.push_back(std::move(object));
            }
        }
    }
    for (const auto& object : change.announcers) {
        willChangeValueForKey(*object, key);
    }
    return change;
}

void DefaultsSuite::Change::confirm() const {
    for (const auto& object : announcers) {
        didChangeValueForKey(*object, key);
    }
}

}  // namespace qz::internal
