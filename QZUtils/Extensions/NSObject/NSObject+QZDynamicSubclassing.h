// Dynamic subclassing: changing the behaviour of one object without touching its class.
//
//     overrideSelectorIpmlementationProvider(label, "description"_sel, "Highlight",
//                                            [](Selector, Implementation inherited) -> Implementation {
//         return [inherited](Label& self) { return "*" + inherited.call<std::string>(self) + "*"; };
//     });
//
// The object is moved into a subclass of its class that is made for a context, a name that the caller
// chooses, one for each feature that customises objects. All objects of one class share the subclass of a
// context, so the first override of a selector in a context is the one that stays, for all of them. An object
// stays in the subclass as long as it lives; subclassing it in a second context makes a subclass of the first
// context's. Classes and contexts live until the process ends.
//
// If a class is named like the context when the context is first used, that class serves as the context's
// subclass of its superclass. It must add methods only, no data members: an object cannot grow.
//
// Overrides are seen by messages (send) and by description(), isEqual() and hash(), not by other direct C++
// calls. The selectors' misspellings are part of their names.
//
// Every function may be called from any thread, and does nothing for a nil object. One lock serialises the
// making of classes and the moving of objects.
#pragma once

#include <functional>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Method.h"
#include "Platform/Runtime/Object.h"

namespace qz {

/// Adds instance variables of plain data (Class::addInstanceVariable) to a subclass that is being made.
using ValueTypeIvarsSetup = std::function<void(Class& subclass)>;
/// Makes the implementation of a selector from the one that it overrides, which forwards the message when no
/// superclass has a method for it. What a superclass is given later is not seen through it.
using ImplementationProvider = std::function<Implementation(Selector selector, Implementation inherited)>;

/// Moves the object into the context's subclass of its class. Nothing happens when it is there already.
/// Raises NSInvalidArgumentException, and leaves the object as it is, when the class named like the context
/// adds data members.
QZ_EXPORT void subsclassWithContext(Receiver self, std::string_view context);
/// The same; when a subclass has to be made, the block (which may be null) is called with it before the
/// subclass is registered. It runs under the lock: subclassing from inside it raises
/// NSInternalInconsistencyException. When it throws, there is no subclass and the object stays as it is.
QZ_EXPORT void subsclassWithContext(Receiver self, std::string_view context,
                                    const ValueTypeIvarsSetup& valueTypeIvarsSetup);

/// Whether the object is an instance of a subclass that was made, or adopted, for the context. Waits for
/// nobody.
[[nodiscard]] QZ_EXPORT bool isSubclassedWihtContext(Receiver self, std::string_view context);

/// Subclasses the object and adds the method to the subclass, unless that has one for the selector. Raises
/// NSInvalidArgumentException when the implementation wants receivers of a class that the subclass does not
/// derive from.
QZ_EXPORT void overrideSelectorImplementation(Receiver self, Selector selector, std::string_view context,
                                              const Implementation& implementation);
/// The same with an implementation that can call the one it overrides. The provider is called once by each
/// call of this function, whether its result is needed or not, and without the lock.
QZ_EXPORT void overrideSelectorIpmlementationProvider(Receiver self, Selector selector,
                                                      std::string_view context,
                                                      const ImplementationProvider& provider);
/// Adds the method to the object's current class, and so to all instances of that class and its subclasses,
/// unless the class itself has one for the selector. Inherited is what the class's superclass has.
QZ_EXPORT void overrideSelectorIpmlementationProvider(Receiver self, Selector selector,
                                                      const ImplementationProvider& provider);

/// Sends the message, which takes no arguments, with the look-up of its method starting at the class instead
/// of the object's own. Nil when the method has no result; raises what send() raises.
QZ_EXPORT id superClassPerformSelector(Receiver self, Class& superClass, Selector selector);

}  // namespace qz
