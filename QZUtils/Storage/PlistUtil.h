// PlistUtil: property-list files in the user's documents directory.
//
//     PlistUtil::writePlist(NSArray::arrayWithObjects({"a", "b"}), "shelf.plist");
//     const auto shelf = PlistUtil::readPlistWithName("shelf.plist").as<NSArray>();
//
// The directory belongs to the program and the user (SearchPaths.h) and is made when something is written.
// Files appear whole or not at all. Whatever fails answers nil or false. All operations are class messages
// too, and safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT PlistUtil : public NSObject {
    QZ_OBJECT(PlistUtil, NSObject)
public:
    /// Nullopt when nobody says where the user's home is.
    [[nodiscard]] static std::optional<std::string> documentsDirectoryPath();

    /// The bytes of a file of the directory; nullopt when it cannot be read.
    [[nodiscard]] static std::optional<NSData> dataFromFile(std::string_view name);
    /// Lets the object write itself as its class does (NSObject+Files.h).
    static bool writeData(const id& object, std::string_view toFile);

    /// In any of the forms that are read, with immutable containers; nil when the file cannot be read or is
    /// no property list.
    [[nodiscard]] static id readPlistWithName(std::string_view name);
    /// False, with nothing written, for what the binary form cannot hold. One would expect a file of that
    /// form; the list is only tried in it, and what is written is what writeData() writes: XML for arrays and
    /// dictionaries, while a text or data alone write themselves and do not come back from
    /// readPlistWithName(), and a number or date alone, which no class writes, gives false. Callers rely on
    /// the files being XML.
    static bool writePlist(const id& propertyList, std::string_view toFileWithName);

protected:
    PlistUtil() = default;
};

}  // namespace qz
