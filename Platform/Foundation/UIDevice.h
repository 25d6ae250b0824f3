// UIDevice: the machine that the program runs on.
//
//     UIDevice::currentDevice()->identifierForVendor()
//
// What the library makes of it is in the category UIDevice+Info.h. Safe from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSUUID;

enum class UIUserInterfaceIdiom : std::int64_t { Unspecified = -1, Phone = 0, Pad = 1 };

class QZ_EXPORT UIDevice : public NSObject {
    QZ_OBJECT(UIDevice, NSObject)
public:
    [[nodiscard]] static Ref<UIDevice> currentDevice();

    /// The same for a program, known by its main bundle's identifier, as long as the system is not installed
    /// anew: the machine's identifier, which must not leave the machine, hashed with the program's
    /// (machine-id(5)). Null where the machine has none.
    [[nodiscard]] Ref<NSUUID> identifierForVendor() const;

    /// Phone or Pad where the system or the firmware calls the machine a handset or a tablet.
    [[nodiscard]] UIUserInterfaceIdiom userInterfaceIdiom() const;

    /// What the firmware calls the machine; empty where it does not say.
    [[nodiscard]] std::string hardwareProduct() const;

protected:
    UIDevice() = default;
};

}  // namespace qz
