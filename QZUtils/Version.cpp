#include "QZUtils/Version.h"

namespace qz {

std::string_view libraryVersion() noexcept {
    return QZ_VERSION;
}

}  // namespace qz
