#include "Platform/Foundation/UIDevice.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>

#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSUUID.h"
#include "Platform/Foundation/internal/SystemFiles.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(UIDevice, cls) {
    cls.classMethod("currentDevice", [](Class&) { return currentDevice(); });
    cls.property("identifierForVendor", &UIDevice::identifierForVendor);
    cls.property("userInterfaceIdiom", &UIDevice::userInterfaceIdiom);
}

Ref<UIDevice> UIDevice::currentDevice() {
    static const auto& device = *new Ref<UIDevice>(make<UIDevice>());
    return device;
}

Ref<NSUUID> UIDevice::identifierForVendor() const {
    const auto machine = internal::machineIdentifier();
    const auto program = NSBundle::mainBundle()->bundleIdentifier();
    if (!machine || !program) {
        return nullptr;
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    if (!::HMAC(::EVP_sha256(), machine->data(), static_cast<int>(machine->size()),
                reinterpret_cast<const unsigned char*>(program->data()), program->size(), digest.data(),
                nullptr)) {
        return nullptr;
    }
    NSUUID::Bytes bytes{};
    std::transform(digest.begin(), digest.begin() + bytes.size(), bytes.begin(),
                   [](unsigned char octet) { return std::byte(octet); });
    return NSUUID::initWithUUIDBytes(internal::asRandomUUID(bytes));
}

UIUserInterfaceIdiom UIDevice::userInterfaceIdiom() const {
    switch (internal::chassis()) {
        case internal::Chassis::Handset:
            return UIUserInterfaceIdiom::Phone;
        case internal::Chassis::Tablet:
            return UIUserInterfaceIdiom::Pad;
        case internal::Chassis::Other:
            break;
    }
    return UIUserInterfaceIdiom::Unspecified;
}

std::string UIDevice::hardwareProduct() const {
    return internal::firmwareProductName();
}

}  // namespace qz
