#include "Platform/Foundation/internal/KeyCopy.h"

#include "Platform/Runtime/Send.h"

namespace qz::internal {

id copyOfKey(const id& key) {
    return key->respondsToSelector("copy"_sel) ? send<id>(key, "copy"_sel) : key;
}

}  // namespace qz::internal
