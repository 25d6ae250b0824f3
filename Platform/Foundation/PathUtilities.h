// Paths as texts: components and extensions. Nothing here looks at the disk.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"

namespace qz {

/// The parts between slashes, "/" first for an absolute path; empty parts are left out.
[[nodiscard]] QZ_EXPORT std::vector<std::string> pathComponents(std::string_view path);
/// "b.zip" of "/a/b.zip" and of "/a/b.zip/"; "/" of the root; empty of the empty path.
[[nodiscard]] QZ_EXPORT std::string lastPathComponent(std::string_view path);
/// "/a" of "/a/b.zip"; "/" of "/a"; empty where there is one component.
[[nodiscard]] QZ_EXPORT std::string stringByDeletingLastPathComponent(std::string_view path);
/// Joined with exactly one slash.
[[nodiscard]] QZ_EXPORT std::string stringByAppendingPathComponent(std::string_view path,
                                                                   std::string_view component);
/// "zip" of "/a/b.zip"; empty where the last component has no dot, or only one in front.
[[nodiscard]] QZ_EXPORT std::string pathExtension(std::string_view path);
/// A dot and the extension after the path, whose trailing slashes go.
[[nodiscard]] QZ_EXPORT std::string stringByAppendingPathExtension(std::string_view path,
                                                                   std::string_view extension);
/// "/a/b" of "/a/b.zip".
[[nodiscard]] QZ_EXPORT std::string stringByDeletingPathExtension(std::string_view path);

}  // namespace qz
