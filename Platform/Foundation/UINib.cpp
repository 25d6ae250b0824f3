#include "Platform/Foundation/UINib.h"

#include <mutex>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueCoding.h"

namespace qz {

QZ_DEFINE_CLASS(UINib, cls) {
    cls.classMethod("nibWithNibName:bundle:", [](Class&, Text name, const Ref<NSBundle>& bundle) {
        return nibWithNibName(name, bundle);
    });
    cls.method("instantiateWithOwner:options:",
               [](const UINib& self, const Ref<Object>& owner, const Ref<NSDictionary>& options) {
                   return self.instantiateWithOwner(owner, options);
               });
}

namespace {

struct RegisteredLoader {
    std::mutex mutex;
    UINib::Loader loader;
};

RegisteredLoader& registeredLoader() {
    static RegisteredLoader loader;
    return loader;
}

/// Raises when the description does not describe an object.
id objectOf(const Ref<NSDictionary>& description) {
    const auto name =
        description ? unbox<std::string>(description->objectForKey("class")) : std::optional<std::string>();
    auto* cls = name ? NSClassFromString(*name) : nullptr;
    if (!cls) {
        raise(NSInvalidArgumentException, "there is no class " + name.value_or("for an object"));
    }
    const auto object = cls->makeInstance();
    if (const auto values = description->objectForKey("values").as<NSDictionary>()) {
        for (const auto& [key, value] : *values) {
            setValueForKey(object, value, unbox<std::string>(key).value_or(""));
        }
    }
    return object;
}

Ref<NSArray> objectsOf(const UINib& nib) {
    Ref<NSError> error;
    const auto data = dataWithContentsOfFile(nib.path(), &error);
    const auto list = data ? NSPropertyListSerialization::propertyListWithData(
                                 *data, NSPropertyListReadOptions::Immutable, nullptr, &error)
                                 .as<NSDictionary>()
                           : nullptr;
    const auto descriptions = list ? list->objectForKey("objects").as<NSArray>() : nullptr;
    if (!descriptions) {
        raise(NSInvalidArgumentException, error ? error->localizedDescription() : "it has no objects");
    }
    std::vector<id> objects;
    for (const auto& description : *descriptions) {
        objects.push_back(objectOf(description.as<NSDictionary>()));
    }
    return NSArray::arrayWithObjects(std::move(objects));
}

}  // namespace

Ref<UINib> UINib::nibWithNibName(Text name, const Ref<NSBundle>& bundle) {
    const auto holder = bundle ? bundle : NSBundle::mainBundle();
    auto path = name ? holder->pathForResource(name, "nib") : std::nullopt;
    return path ? qz::make<UINib>(holder, *std::move(path)) : nullptr;
}

void UINib::setLoader(Loader loader) {
    auto& registered = registeredLoader();
    const std::lock_guard lock(registered.mutex);
    registered.loader = std::move(loader);
}

std::optional<NSData> UINib::data() const {
    return dataWithContentsOfFile(path_, nullptr);
}

Ref<NSArray> UINib::instantiateWithOwner(Receiver owner, const Ref<NSDictionary>&) const {
    const auto loader = [] {
        auto& registered = registeredLoader();
        const std::lock_guard lock(registered.mutex);
        return registered.loader;
    }();
    try {
        return loader ? loader(*this, owner.ref()) : objectsOf(*this);
    } catch (const NSException& exception) {
        DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Error, 0, __FILE__, __func__, __LINE__,
                                     nullptr, "The nib \"%@\" cannot be loaded: %@", path_,
                                     exception.reason());
        return nullptr;
    }
}

}  // namespace qz
