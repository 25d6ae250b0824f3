// QZSDKUtil: whether the library runs embedded in another application, whose bundle is not its own.
#pragma once

#include "Platform/Export.h"

namespace qz {

struct QZ_EXPORT QZSDKUtil {
    /// False unless a host says otherwise. Safe from any thread.
    [[nodiscard]] static bool isSDK() noexcept;
    /// For a host, before it uses anything else of the library.
    static void setSDK(bool isSDK) noexcept;
};

}  // namespace qz
