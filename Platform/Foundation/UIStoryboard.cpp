#include "Platform/Foundation/UIStoryboard.h"

#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(UIStoryboard, cls) {
    cls.classMethod("storyboardWithName:bundle:", [](Class&, Text name, const Ref<NSBundle>& bundle) {
        return storyboardWithName(name, bundle);
    });
}

Ref<UIStoryboard> UIStoryboard::storyboardWithName(Text name, const Ref<NSBundle>& bundle) {
    const auto holder = bundle ? bundle : NSBundle::mainBundle();
    auto path = name ? holder->pathForResource(name, "storyboardc") : std::nullopt;
    return path ? qz::make<UIStoryboard>(holder, *std::move(path)) : nullptr;
}

std::optional<NSData> UIStoryboard::data() const {
    return dataWithContentsOfFile(path_, nullptr);
}

}  // namespace qz
