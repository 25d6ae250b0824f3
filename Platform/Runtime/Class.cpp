#include "Platform/Runtime/Class.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <mutex>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/ObjectExtras.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

namespace {

/// The one lock of the runtime and what it guards: names, and the tables of every class.
struct Runtime {
    std::mutex mutex;
    std::vector<Class*> all;  // the unregistered ones too: a class lives until the process ends
    std::map<std::string, Class*, std::less<>> classes;
    std::unordered_map<Selector, std::unique_ptr<const Method>> missing;  // entries for "no such method"
};

Runtime& runtime() {
    static auto& instance = *new Runtime;
    return instance;
}

/// The classes of C++ types and the categories on them, the last one loaded first. Guarded by nothing: the
/// lists only grow, at load time.
constinit std::atomic<internal::ClassNode*> linkedClasses{nullptr};
constinit std::atomic<internal::CategoryNode*> linkedCategories{nullptr};

template <class Node>
void link(std::atomic<Node*>& list, Node& node) noexcept {
    node.next = list.load(std::memory_order_relaxed);
    while (!list.compare_exchange_weak(node.next, &node, std::memory_order_release)) {
    }
}

template <class Predicate>
internal::ClassNode* findLinked(Predicate predicate) {
    auto* node = linkedClasses.load(std::memory_order_acquire);
    while (node && !predicate(*node)) {
        node = node->next;
    }
    return node;
}

[[noreturn]] void raiseNameTaken(std::string_view name) {
    raise(NSInvalidArgumentException, "a class named " + std::string(name) + " is registered already");
}

}  // namespace

namespace internal {

bool linkClass(ClassNode& node) noexcept {
    link(linkedClasses, node);
    return true;
}

bool linkCategory(CategoryNode& node) noexcept {
    link(linkedCategories, node);
    return true;
}

void defineCategories(const ClassNode& node, void* builder) {
    for (auto* category = linkedCategories.load(std::memory_order_acquire); category;
         category = category->next) {
        if (category->cls == node.cls) {
            category->define(builder);
        }
    }
}

MethodTable::MethodTable(std::size_t size) : mask(size - 1), slots(new std::atomic<const Method*>[size]()) {}

MethodSide::MethodSide() {
    table_.store(tables_.emplace_back(std::make_unique<MethodTable>(16)).get());
}

MethodSide::~MethodSide() = default;

const Method* MethodSide::search(Selector selector) const {
    for (const auto* side = this; side; side = side->parent_) {
        if (const auto found = side->own_.find(selector); found != side->own_.end()) {
            return found->second.get();
        }
    }
    return nullptr;
}

const Method* MethodSide::lookUpSlowly(Selector selector) {
    auto& shared = runtime();
    const std::lock_guard lock(shared.mutex);
    const auto* method = search(selector);
    if (method) {
        remember(method);
        return method;
    }
    auto& missing = shared.missing[selector];
    if (!missing) {
        missing = std::make_unique<const Method>(selector);
    }
    remember(missing.get());
    return nullptr;
}

void MethodSide::remember(const Method* method) {
    const auto insert = [](MethodTable& table, const Method* entry) {
        auto index = entry->selector.hash();
        while (const auto* taken = table.slots[index & table.mask].load(std::memory_order_relaxed)) {
            if (taken->selector == entry->selector) {
                return false;  // another thread was quicker
            }
            ++index;
        }
        table.slots[index & table.mask].store(entry, std::memory_order_release);
        return true;
    };
    auto* table = table_.load(std::memory_order_relaxed);
    // Half of the slots stay empty, so that every search ends.
    if (2 * (remembered_ + 1) > table->mask + 1) {
        auto larger = std::make_unique<MethodTable>(2 * (table->mask + 1));
        for (std::size_t index = 0; index <= table->mask; ++index) {
            if (const auto* entry = table->slots[index].load(std::memory_order_relaxed)) {
                insert(*larger, entry);
            }
        }
        table = tables_.emplace_back(std::move(larger)).get();
        table_.store(table, std::memory_order_release);
    }
    remembered_ += insert(*table, method) ? 1 : 0;
}

void MethodSide::flush() {
    auto* table = table_.load(std::memory_order_relaxed);
    for (std::size_t index = 0; index <= table->mask; ++index) {
        table->slots[index].store(nullptr, std::memory_order_release);
    }
    remembered_ = 0;
}

}  // namespace internal

Class::Class(Class* superclass, std::string name)
    : name_(std::move(name)), superclass_(superclass), native_(superclass ? superclass->native_ : nullptr) {
    auto& shared = runtime();
    const std::lock_guard lock(shared.mutex);
    shared.all.push_back(this);
    if (superclass) {
        instances_.parent_ = &superclass->instances_;
        class_.parent_ = &superclass->class_;
        instanceSize_ = superclass->instanceSize_;
        factory_ = superclass->factory_;
    }
}

bool Class::isSubclassOf(const Class& other) const noexcept {
    const auto* cls = this;
    while (cls && cls != &other) {
        cls = cls->superclass_;
    }
    return cls != nullptr;
}

Class& ClassRealizer::allocate(internal::ClassNode& node, Class* superclass, std::size_t instanceSize,
                               Ref<Object> (*factory)()) {
    const auto sameName = [&](const internal::ClassNode& other) {
        return &other != &node && std::strcmp(other.name, node.name) == 0;
    };
    if (findLinked(sameName)) {
        raiseNameTaken(node.name);
    }
    auto& cls = *new Class(superclass, node.name);
    cls.native_ = &cls;
    cls.instanceSize_ = instanceSize;
    cls.factory_ = factory;
    return cls;
}

void ClassRealizer::publish(Class& cls) {
    cls.registerClass();
}

Class& Class::allocate(Class& superclass, std::string name) {
    if (NSClassFromString(name)) {
        raiseNameTaken(name);
    }
    auto& cls = *new Class(&superclass, std::move(name));
    cls.madeAtRunTime_ = true;
    return cls;
}

bool Class::addInstanceVariable(std::string_view name, std::size_t size, std::size_t alignment) {
    const std::lock_guard lock(runtime().mutex);
    if (!madeAtRunTime_ || registered_ || !std::has_single_bit(alignment) ||
        alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
        return false;
    }
    for (const auto* cls = this; cls; cls = cls->superclass_) {
        if (std::ranges::find(cls->variables_, name, &InstanceVariable::name) != cls->variables_.end()) {
            return false;
        }
    }
    const auto offset = (variablesSize_ + alignment - 1) & ~(alignment - 1);
    variables_.push_back({std::string(name), offset});
    variablesSize_ = offset + size;
    return true;
}

void Class::registerClass() {
    auto& shared = runtime();
    const std::lock_guard lock(shared.mutex);
    if (registered_) {
        return;
    }
    if (!shared.classes.emplace(name_, this).second) {
        raiseNameTaken(name_);
    }
    if (superclass_) {
        superclass_->subclasses_.push_back(this);
        // Methods may have been added to the superclass since this class was first sent a message.
        flush(false);
        flush(true);
    }
    registered_ = true;
}

void Class::flush(bool classSide) {
    (classSide ? class_ : instances_).flush();
    for (auto* subclass : subclasses_) {
        subclass->flush(classSide);
    }
}

bool Class::addMethod(internal::MethodSide& side, Selector selector, const Implementation& implementation,
                      std::optional<std::string> encoding) {
    const auto& body = implementation.body();
    const bool classSide = &side == &class_;
    if (body->forClasses != classSide && body->arguments) {
        raise(NSInvalidArgumentException, "the receiver of " + std::string(selector.name()) + " in " + name_ +
                                              " must be " + (classSide ? "a class" : "an object"));
    }
    // A class that is being defined compares itself by address alone: its cls() is not there yet.
    if (body->receiverClass && (registered_ || madeAtRunTime_) && !isSubclassOf(body->receiverClass())) {
        raise(NSInvalidArgumentException, "the implementation of " + std::string(selector.name()) +
                                              " wants receivers of " + body->receiverClass().name() +
                                              ", which " + name_ + " does not derive from");
    }
    auto method =
        std::make_unique<const Method>(selector, body, encoding ? *std::move(encoding) : body->encoding);
    const std::lock_guard lock(runtime().mutex);
    if (!side.own_.try_emplace(selector, std::move(method)).second) {
        return false;
    }
    flush(classSide);
    return true;
}

bool Class::addMethod(Selector selector, const Implementation& implementation,
                      std::optional<std::string> encoding) {
    return addMethod(instances_, selector, implementation, std::move(encoding));
}

bool Class::addClassMethod(Selector selector, const Implementation& implementation,
                           std::optional<std::string> encoding) {
    return addMethod(class_, selector, implementation, std::move(encoding));
}

Implementation Class::implementation(Selector selector) {
    const auto* method = instanceMethod(selector);
    return method ? method->implementation() : Implementation::forwarding(selector);
}

bool Class::hasOwnMethod(Selector selector) const {
    const std::lock_guard lock(runtime().mutex);
    return instances_.own_.contains(selector);
}

void Class::addProtocol(const Protocol& protocol) {
    const std::lock_guard lock(runtime().mutex);
    if (std::ranges::find(protocols_, &protocol) == protocols_.end()) {
        protocols_.push_back(&protocol);
    }
}

bool Class::conformsToProtocol(const Protocol& protocol) const {
    const std::lock_guard lock(runtime().mutex);
    for (const auto* cls = this; cls; cls = cls->superclass_) {
        if (std::ranges::find(cls->protocols_, &protocol) != cls->protocols_.end()) {
            return true;
        }
    }
    return false;
}

bool Class::addProperty(Property property) {
    const std::lock_guard lock(runtime().mutex);
    const auto sameName = [&](const auto& other) { return other->name == property.name; };
    if (std::ranges::any_of(properties_, sameName)) {
        return false;
    }
    properties_.push_back(std::make_unique<const Property>(std::move(property)));
    return true;
}

const Property* Class::property(std::string_view name) const {
    const std::lock_guard lock(runtime().mutex);
    for (const auto* cls = this; cls; cls = cls->superclass_) {
        for (const auto& property : cls->properties_) {
            if (property->name == name) {
                return property.get();
            }
        }
    }
    return nullptr;
}

std::vector<const Property*> Class::properties() const {
    const std::lock_guard lock(runtime().mutex);
    std::vector<const Property*> all;
    for (const auto* cls = this; cls; cls = cls->superclass_) {
        for (const auto& property : cls->properties_) {
            all.push_back(property.get());
        }
    }
    return all;
}

Ref<Object> Class::makeInstance() {
    if (!factory_) {
        raise(NSInvalidArgumentException, "class " + name_ + " has no parameterless initialiser");
    }
    auto object = factory_();
    if (madeAtRunTime_) {
        setClass(*object, *this);
    }
    return object;
}

Class* NSClassFromString(std::string_view name) {
    auto& shared = runtime();
    {
        const std::lock_guard lock(shared.mutex);
        if (const auto found = shared.classes.find(name); found != shared.classes.end()) {
            return found->second;
        }
    }
    auto* node = findLinked([&](const internal::ClassNode& other) { return other.name == name; });
    return node ? &node->cls() : nullptr;
}

Class& setClass(Object& object, Class& cls) {
    auto& declared = object.declaredClass();
    if (!cls.registered_) {
        raise(NSInvalidArgumentException, "class " + cls.name_ + " is not registered yet");
    }
    if (!cls.isSubclassOf(declared)) {
        raise(NSInvalidArgumentException,
              "an object of class " + declared.name_ + " cannot be moved into " + cls.name_);
    }
    if (cls.native_->instanceSize_ != declared.instanceSize_) {
        raise(NSInvalidArgumentException, "class " + cls.native_->name_ + " adds members over " +
                                              declared.name_ +
                                              ", so objects of that class cannot be moved into it");
    }
    auto* previous = object.isa_.exchange(&cls, std::memory_order_acq_rel);
    return previous ? *previous : declared;
}

void* instanceVariable(Object& object, std::string_view name) {
    for (const auto* cls = &object.isa(); cls; cls = cls->superclass_) {
        const auto variable = std::ranges::find(cls->variables_, name, &Class::InstanceVariable::name);
        if (variable == cls->variables_.end()) {
            continue;
        }
        auto& extras = internal::ObjectExtras::of(object);
        const std::lock_guard lock(extras.mutex);
        auto block = std::ranges::find(extras.variables, cls, &internal::ObjectExtras::Variables::cls);
        if (block == extras.variables.end()) {
            extras.variables.push_back({cls, std::make_unique<std::byte[]>(cls->variablesSize_)});
            block = std::prev(extras.variables.end());
        }
        return block->block.get() + variable->offset;
    }
    return nullptr;
}

}  // namespace qz
