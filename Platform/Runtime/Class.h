// Class: the run-time side of a C++ class, or a class made at run time.
//
// A class has a name, a superclass, methods by selector on the instance and on the class side, adopted
// protocols and declared properties. C++ classes define themselves with QZ_DEFINE_CLASS (ClassBuilder.h).
// Classes made at run time start with allocate(), may be given instance variables, and join the others with
// registerClass().
//
// Classes live until the process ends. Every operation is safe from any thread. Sends look methods up in a
// table of the class without a lock; adding a method takes the lock of the runtime and empties the tables of
// the class and its subclasses, so that a send which began before may still run what was found before.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Method.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Protocol.h"
#include "Platform/Runtime/Selector.h"

namespace qz {

/// A declared property, as key-value coding and observing know it.
struct Property {
    std::string name;
    std::string typeEncoding;
    Selector getter;
    Selector setter;                     // null for a read-only property
    std::vector<std::string> dependsOn;  // keys whose change changes this one
};

namespace internal {

/// Links a C++ class into the list of classes that can be found by name before their first use.
struct ClassNode {
    const char* name = nullptr;
    Class& (*cls)() = nullptr;
    ClassNode* next = nullptr;
};
QZ_EXPORT bool linkClass(ClassNode& node) noexcept;

/// Links what a category adds to a C++ class into the list that is read when that class is made.
struct CategoryNode {
    Class& (*cls)();
    void (*define)(void* builder);  // the ClassBuilder of the class's C++ type
    CategoryNode* next = nullptr;
};
QZ_EXPORT bool linkCategory(CategoryNode& node) noexcept;
QZ_EXPORT void defineCategories(const ClassNode& node, void* builder);

/// A lock-free table from selector to method. A slot goes from null to a method once; a flush makes it null
/// again.
struct MethodTable {
    std::size_t mask;
    std::unique_ptr<std::atomic<const Method*>[]> slots;
    explicit MethodTable(std::size_t size);

    [[nodiscard]] const Method* find(Selector selector) const noexcept {
        for (std::size_t index = selector.hash();; ++index) {
            const auto* method = slots[index & mask].load(std::memory_order_acquire);
            if (!method || method->selector == selector) {
                return method;
            }
        }
    }
};

/// One side (instance or class) of a class: its own methods, and a table of all that were looked up.
class QZ_EXPORT MethodSide {
public:
    MethodSide();
    ~MethodSide();

    /// The method that a message runs, a superclass's if need be; null when there is none.
    [[nodiscard]] const Method* lookUp(Selector selector) {
        if (const auto* cached = table_.load(std::memory_order_acquire)->find(selector)) [[likely]] {
            return cached->body ? cached : nullptr;
        }
        return lookUpSlowly(selector);
    }

private:
    friend class qz::Class;

    const Method* lookUpSlowly(Selector selector);
    const Method* search(Selector selector) const;
    void remember(const Method* method);
    void flush();

    MethodSide* parent_ = nullptr;
    std::atomic<MethodTable*> table_;
    std::size_t remembered_ = 0;
    std::vector<std::unique_ptr<MethodTable>> tables_;  // the current one last; older ones may still be read
    std::unordered_map<Selector, std::unique_ptr<const Method>> own_;
};

}  // namespace internal

class QZ_EXPORT Class {
public:
    Class(const Class&) = delete;
    Class& operator=(const Class&) = delete;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    [[nodiscard]] Class* superclass() const noexcept { return superclass_; }
    /// True for the class itself too.
    [[nodiscard]] bool isSubclassOf(const Class& other) const noexcept;
    /// True for a class made by allocate().
    [[nodiscard]] bool isMadeAtRunTime() const noexcept { return madeAtRunTime_; }

    // Making classes.

    /// A new class below `superclass`, unknown by name until registerClass(). Raises
    /// NSInvalidArgumentException when the name is taken, by a C++ class that was not used yet too.
    [[nodiscard]] static Class& allocate(Class& superclass, std::string name);
    /// Adds a zeroed instance variable of plain data; only between allocate() and registerClass(). False when
    /// the class or a superclass has one of that name, when the class is registered, or when `alignment` is
    /// no power of two.
    bool addInstanceVariable(std::string_view name, std::size_t size, std::size_t alignment);
    template <class T>
    bool addInstanceVariable(std::string_view name) {
        static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
                      "instance variables added at run time are plain data");
        return addInstanceVariable(name, sizeof(T), alignof(T));
    }
    /// Raises NSInvalidArgumentException when the name was taken meanwhile. Registering twice does nothing.
    void registerClass();

    // Methods.

    /// Adds a method, for subclasses and existing instances too. It never replaces: false when the class
    /// itself (not a superclass) has one already. `encoding` defaults to the implementation's own. Raises
    /// NSInvalidArgumentException when the implementation wants receivers of a class that this one does not
    /// derive from.
    bool addMethod(Selector selector, const Implementation& implementation,
                   std::optional<std::string> encoding = std::nullopt);
    /// The same on the class side; the block's receiver is a Class&.
    bool addClassMethod(Selector selector, const Implementation& implementation,
                        std::optional<std::string> encoding = std::nullopt);
    /// The method that instances run for a message, inherited ones included; null when there is none.
    [[nodiscard]] const Method* instanceMethod(Selector selector) { return instances_.lookUp(selector); }
    [[nodiscard]] const Method* classMethod(Selector selector) { return class_.lookUp(selector); }
    /// The implementation that instances run: the forwarding one when there is no method.
    [[nodiscard]] Implementation implementation(Selector selector);
    [[nodiscard]] bool instancesRespondToSelector(Selector selector) {
        return instanceMethod(selector) != nullptr;
    }
    [[nodiscard]] bool respondsToSelector(Selector selector) { return classMethod(selector) != nullptr; }
    /// Whether the class itself, not a superclass, has the method.
    [[nodiscard]] bool hasOwnMethod(Selector selector) const;

    // Protocols and properties.

    void addProtocol(const Protocol& protocol);
    /// Inherited adoptions count.
    [[nodiscard]] bool conformsToProtocol(const Protocol& protocol) const;
    /// False when the class itself has a property of that name.
    bool addProperty(Property property);
    /// Inherited ones included; null when there is none. Lives as long as the class.
    [[nodiscard]] const Property* property(std::string_view name) const;
    /// Own ones first, in order of declaration, then the superclass's.
    [[nodiscard]] std::vector<const Property*> properties() const;

    // Instances.

    /// A new object as by the C++ class's parameterless constructor. Raises NSInvalidArgumentException when
    /// there is none.
    [[nodiscard]] Ref<Object> makeInstance();

private:
    friend class Object;
    friend Class& setClass(Object& object, Class& cls);
    friend void* instanceVariable(Object& object, std::string_view name);
    template <class T>
    friend class ClassBuilder;
    friend struct ClassRealizer;
    friend class internal::MethodSide;

    struct InstanceVariable {
        std::string name;
        std::size_t offset;
    };

    Class(Class* superclass, std::string name);
    bool addMethod(internal::MethodSide& side, Selector selector, const Implementation& implementation,
                   std::optional<std::string> encoding);
    void flush(bool classSide);

    std::string name_;
    Class* superclass_;
    Class* native_;  // the nearest class with a C++ type: itself unless made at run time
    bool madeAtRunTime_ = false;
    std::atomic<bool> registered_{false};
    std::size_t instanceSize_ = 0;  // of the C++ type
    Ref<Object> (*factory_)() = nullptr;
    internal::MethodSide instances_;
    internal::MethodSide class_;
    std::vector<Class*> subclasses_;
    std::vector<const Protocol*> protocols_;
    std::vector<std::unique_ptr<const Property>> properties_;
    std::vector<InstanceVariable> variables_;
    std::size_t variablesSize_ = 0;
};

[[nodiscard]] inline const std::string& NSStringFromClass(const Class& cls) {
    return cls.name();
}
/// The class of that name, used before or not; null when there is none.
[[nodiscard]] QZ_EXPORT Class* NSClassFromString(std::string_view name);

/// Moves an object into another class and returns the one it had. The class must be, or derive from, the
/// declared class of the object's C++ type, and a class defined in C++ must not add data members over it,
/// since an object cannot grow: NSInvalidArgumentException otherwise.
QZ_EXPORT Class& setClass(Object& object, Class& cls);

/// The address of an instance variable that was added to the object's class at run time, zero at first; null
/// when there is none. It stays valid while the object lives, whatever class it is moved into.
[[nodiscard]] QZ_EXPORT void* instanceVariable(Object& object, std::string_view name);

}  // namespace qz
