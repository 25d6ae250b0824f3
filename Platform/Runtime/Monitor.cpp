#include "Platform/Runtime/Monitor.h"

#include <unordered_map>

#include "Platform/Runtime/ObjectExtras.h"

namespace qz {

Monitor monitorOf(Receiver object) {
    if (!object) {
        return nullptr;
    }
    auto& extras = internal::ObjectExtras::of(*object);
    const std::lock_guard lock(extras.mutex);
    if (!extras.monitor) {
        extras.monitor = std::make_shared<std::recursive_mutex>();
    }
    return extras.monitor;
}

Monitor monitorOf(const Class& cls) {
    static auto* const mutex = new std::mutex;  // classes last as long as the process
    static auto* const monitors = new std::unordered_map<const Class*, Monitor>;
    const std::lock_guard lock(*mutex);
    auto& monitor = (*monitors)[&cls];
    if (!monitor) {
        monitor = std::make_shared<std::recursive_mutex>();
    }
    return monitor;
}

}  // namespace qz
