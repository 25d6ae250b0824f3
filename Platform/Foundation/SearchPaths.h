// Where a user's files belong, by the XDG Base Directory Specification (0.8).
//
//     const auto paths = NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::Documents,
//                                                            NSSearchPathDomainMask::User, true);
//
// A program's own directories carry the name that it was started by, so that two programs do not meet in one.
// Nothing here looks at the disk: a directory that is answered need not exist. The environment is read at
// every call; changing it while another thread calls is a race, as always.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/Export.h"

namespace qz {

enum class NSSearchPathDirectory : std::uint64_t {
    Documents = 9,            // XDG_DATA_HOME/<program>/Documents
    Caches = 13,              // XDG_CACHE_HOME/<program>
    ApplicationSupport = 14,  // XDG_DATA_HOME/<program>
};

/// The user's directories are the only ones that are known.
enum class NSSearchPathDomainMask : std::uint64_t { User = 1 };

/// The directories, most important first; none when nobody says where the user's home is. Without
/// `expandTilde` the home directory in front of a path is written "~".
[[nodiscard]] QZ_EXPORT std::vector<std::string> NSSearchPathForDirectoriesInDomains(
    NSSearchPathDirectory directory, NSSearchPathDomainMask domainMask, bool expandTilde);

/// What the directories of all programs stand in: XDG_CACHE_HOME, XDG_CONFIG_HOME, XDG_DATA_HOME.
enum class UserBaseDirectory { Cache, Config, Data };

/// The variable's value if it is an absolute path, for others are invalid; otherwise the default below the
/// home directory, which is HOME's or else the password file's. Empty when there is none.
[[nodiscard]] QZ_EXPORT std::string userBaseDirectory(UserBaseDirectory directory);

}  // namespace qz
