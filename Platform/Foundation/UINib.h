// UINib and UIStoryboard: interface resources of a bundle. What they hold is the business of the toolkit that
// a host draws its interface with; the platform finds them and hands them over.
//
// A nib of the platform's own is a property list that describes objects:
//
//     { objects = ( { class = Reader; values = { title = "Monday"; }; } ); }
//
// They are made through the runtime, by their class's name, and get their values by key-value coding. A host
// that has another format registers a loader.
//
// May be used from several threads at once.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSArray;
class NSBundle;
class NSDictionary;

class QZ_EXPORT UINib : public NSObject {
    QZ_OBJECT(UINib, NSObject)
public:
    /// What makes the objects of a nib: null when it cannot.
    using Loader = std::function<Ref<NSArray>(const UINib& nib, const Ref<Object>& owner)>;

    /// The resource of type "nib"; null when the bundle, the main bundle for null, has none.
    [[nodiscard]] static Ref<UINib> nibWithNibName(Text name, const Ref<NSBundle>& bundle);
    /// Takes the place of the platform's own loader; an empty one gives it back.
    static void setLoader(Loader loader);

    [[nodiscard]] const Ref<NSBundle>& bundle() const noexcept { return bundle_; }
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// Nullopt when it cannot be read.
    [[nodiscard]] std::optional<NSData> data() const;

    /// New objects each time. The owner is for loaders of hosts; the options are not used and may be null.
    /// Null, and a line in the log, when the nib cannot be read, names a class that there is not, or gives a
    /// value that its object does not take.
    [[nodiscard]] Ref<NSArray> instantiateWithOwner(Receiver owner, const Ref<NSDictionary>& options) const;

protected:
    UINib(Ref<NSBundle> bundle, std::string path) : bundle_(std::move(bundle)), path_(std::move(path)) {}

private:
    const Ref<NSBundle> bundle_;
    const std::string path_;
};

}  // namespace qz
