// Objects as whole files.
//
//     writeToFile(NSDictionary::dictionary({{"pages", 64}}), "/shelf/issue.plist", true);
//
// Arrays and dictionaries write a property list in XML, texts their UTF-8 and data their bytes. Each is the
// object's answer to the message "writeToFile:atomically:", so objects of other classes may give one too.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

/// False when the file cannot be written, for containers that XML cannot hold, of which nothing is written,
/// for nil and for objects that do not understand the message. `atomically` is as for data (NSData+Files.h).
/// Safe from any thread that may read the object.
QZ_EXPORT bool writeToFile(const id& self, std::string_view path, bool atomically);

}  // namespace qz
