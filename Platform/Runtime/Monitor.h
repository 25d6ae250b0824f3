// Monitors: a recursive lock that belongs to an object or a class, for those who serialise their work on it
// and share nothing else.
//
//     const std::lock_guard lock(*monitorOf(database));
//
// A monitor is made when it is first asked for, and costs an object that nobody asks nothing. It outlives the
// object as long as somebody holds it, so keep it where it is taken often. Safe from any thread.
#pragma once

#include <memory>
#include <mutex>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

using Monitor = std::shared_ptr<std::recursive_mutex>;

/// Null for a null object.
[[nodiscard]] QZ_EXPORT Monitor monitorOf(Receiver object);
[[nodiscard]] QZ_EXPORT Monitor monitorOf(const Class& cls);

}  // namespace qz
