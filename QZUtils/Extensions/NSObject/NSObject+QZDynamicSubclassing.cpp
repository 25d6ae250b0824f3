#include <array>
#include <atomic>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>

#include "Platform/Runtime/Raise.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSObject/NSObject+QZDynamicSubclassing.h"

namespace qz {

namespace {

/// A map by name that only grows: entries are added by one thread at a time, and read by any other meanwhile
/// without a lock. Entries stay where they are and are enumerated in the order in which they were added. It
/// is for few entries, and never freed.
template <class T>
class GrowingMap {
public:
    struct Entry {
        const std::string name;
        const T value;
        std::atomic<const Entry*> next{nullptr};
    };

    void add(std::string name, T value) {
        auto* entry = new Entry{std::move(name), std::move(value)};
        (last_ ? last_->next : first_).store(entry, std::memory_order_release);
        last_ = entry;
    }

    template <class Predicate>
    [[nodiscard]] const Entry* findIf(Predicate predicate) const {
        const auto* entry = first_.load(std::memory_order_acquire);
        while (entry && !predicate(*entry)) {
            entry = entry->next.load(std::memory_order_acquire);
        }
        return entry;
    }
    [[nodiscard]] const Entry* find(std::string_view name) const {
        return findIf([&](const Entry& entry) { return entry.name == name; });
    }

private:
    std::atomic<const Entry*> first_{nullptr};
    Entry* last_ = nullptr;
};

/// The subclasses of one context, by the name of the class that their instances had before.
using ContextSubclasses = GrowingMap<Class*>;

/// A lock that says so when the thread that holds it wants it again.
class SubclassingLock {
public:
    void lock() {
        if (owner_.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
            raise(NSInternalInconsistencyException,
                  "objects cannot be subclassed while instance variables are being set up");
        }
        mutex_.lock();
        owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    void unlock() {
        owner_.store(std::thread::id(), std::memory_order_relaxed);
        mutex_.unlock();
    }

private:
    std::mutex mutex_;
    std::atomic<std::thread::id> owner_;
};

struct Subclasses {
    SubclassingLock lock;  // held while the maps grow and while an object is moved
    GrowingMap<ContextSubclasses*> subclassesByCategoryName;
};

Subclasses& subclasses() {
    static auto& instance = *new Subclasses;
    return instance;
}

/// A random UUID (RFC 4122, version 4) in upper case.
std::string randomUUID() {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::random_device random;
    std::string text = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
    std::random_device::result_type bits = 0;
    int left = 0;
    for (auto& character : text) {
        if (character != 'x' && character != 'y') {
            continue;
        }
        if (left == 0) {
            bits = random();
            left = 8;
        }
        const auto nibble = bits & 0xF;
        character = digits[character == 'y' ? (nibble & 0x3) | 0x8 : nibble];  // y holds the variant
        bits >>= 4;
        --left;
    }
    return text;
}

/// The context's subclass for objects of a class: the one under its name, or else one that the class is or
/// derives from; null when there is none.
Class* findSubclass(const ContextSubclasses& context, const Class& current) {
    const auto* entry = context.find(current.name());
    if (!entry) {
        entry = context.findIf([&](const auto& other) { return current.isSubclassOf(*other.value); });
    }
    return entry ? entry->value : nullptr;
}

/// The map of a context, made when it is used for the first time. A class named like the context is adopted
/// then; a root class has no superclass that it could stand for.
ContextSubclasses& contextNamed(Subclasses& all, std::string_view name) {
    if (const auto* known = all.subclassesByCategoryName.find(name)) {
        return *known->value;
    }
    auto* adopted = NSClassFromString(name);
    auto* context = new ContextSubclasses;
    if (adopted && adopted->superclass()) {
        context->add(adopted->superclass()->name(), adopted);
    }
    all.subclassesByCategoryName.add(std::string(name), context);
    return *context;
}

Class& makeSubclass(Class& superclass, std::string_view context, const ValueTypeIvarsSetup& setup) {
    auto& made =
        Class::allocate(superclass, superclass.name() + "_" + std::string(context) + "_" + randomUUID());
    if (setup) {
        setup(made);
    }
    made.registerClass();
    return made;
}

/// Moves the object into the subclass of the context and returns that.
Class& moveIntoSubclass(Object& self, std::string_view contextName, const ValueTypeIvarsSetup& setup) {
    auto& all = subclasses();
    const std::lock_guard lock(all.lock);
    // Read with the lock held: another thread may have just moved the object.
    auto& current = self.isa();
    auto& context = contextNamed(all, contextName);
    auto* subclass = findSubclass(context, current);
    if (!subclass) {
        subclass = &makeSubclass(current, contextName, setup);
        context.add(current.name(), subclass);
    }
    if (subclass->superclass() == &current) {
        setClass(self, *subclass);
    }
    return *subclass;
}

/// The implementation and the type encoding that a class inherits for a selector.
Implementation inheritedImplementation(const Class& cls, Selector selector) {
    return cls.superclass() ? cls.superclass()->implementation(selector)
                            : Implementation::forwarding(selector);
}
std::string inheritedEncoding(const Class& cls, Selector selector) {
    const auto* method = cls.superclass() ? cls.superclass()->instanceMethod(selector) : nullptr;
    return method ? method->typeEncoding : std::string();
}

/// Never replaces: the first override of a selector stays.
void addOverride(Class& cls, Selector selector, const Implementation& implementation) {
    cls.addMethod(selector, implementation, inheritedEncoding(cls, selector));
}

Implementation implementationFrom(const ImplementationProvider& provider, const Class& cls,
                                  Selector selector) {
    return provider(selector, inheritedImplementation(cls, selector));
}

void checkProvider(const ImplementationProvider& provider, Selector selector) {
    if (!provider) {
        raise(NSInvalidArgumentException,
              "overriding " + std::string(selector.name()) + " needs a provider of its implementation");
    }
}

}  // namespace

void subsclassWithContext(Receiver self, std::string_view context) {
    subsclassWithContext(self, context, nullptr);
}

void subsclassWithContext(Receiver self, std::string_view context,
                          const ValueTypeIvarsSetup& valueTypeIvarsSetup) {
    if (self) {
        moveIntoSubclass(*self, context, valueTypeIvarsSetup);
    }
}

bool isSubclassedWihtContext(Receiver self, std::string_view context) {
    if (!self) {
        return false;
    }
    const auto* known = subclasses().subclassesByCategoryName.find(context);
    const auto& current = self->isa();
    const auto* subclass = known ? findSubclass(*known->value, current) : nullptr;
    return subclass && current.isSubclassOf(*subclass);
}

void overrideSelectorImplementation(Receiver self, Selector selector, std::string_view context,
                                    const Implementation& implementation) {
    if (self) {
        addOverride(moveIntoSubclass(*self, context, nullptr), selector, implementation);
    }
}

void overrideSelectorIpmlementationProvider(Receiver self, Selector selector, std::string_view context,
                                            const ImplementationProvider& provider) {
    if (self) {
        checkProvider(provider, selector);
        auto& subclass = moveIntoSubclass(*self, context, nullptr);
        addOverride(subclass, selector, implementationFrom(provider, subclass, selector));
    }
}

void overrideSelectorIpmlementationProvider(Receiver self, Selector selector,
                                            const ImplementationProvider& provider) {
    if (self) {
        checkProvider(provider, selector);
        auto& current = self->isa();
        addOverride(current, selector, implementationFrom(provider, current, selector));
    }
}

id superClassPerformSelector(Receiver self, Class& superClass, Selector selector) {
    return sendSuper<id>(self, superClass, selector);
}

}  // namespace qz
