// UIStoryboard: a storyboard of a bundle. What it holds is the business of the toolkit that a host draws its
// interface with: the platform finds it and hands it over. May be used from several threads at once.
#pragma once

#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSBundle;

class QZ_EXPORT UIStoryboard : public NSObject {
    QZ_OBJECT(UIStoryboard, NSObject)
public:
    /// The resource of type "storyboardc", a file or a directory; null when the bundle, the main bundle for
    /// null, has none.
    [[nodiscard]] static Ref<UIStoryboard> storyboardWithName(Text name, const Ref<NSBundle>& bundle);

    [[nodiscard]] const Ref<NSBundle>& bundle() const noexcept { return bundle_; }
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// Nullopt when it is a directory or cannot be read.
    [[nodiscard]] std::optional<NSData> data() const;

protected:
    UIStoryboard(Ref<NSBundle> bundle, std::string path)
        : bundle_(std::move(bundle)), path_(std::move(path)) {}

private:
    const Ref<NSBundle> bundle_;
    const std::string path_;
};

}  // namespace qz
