#include "QZUtils/Storage/PlistUtil.h"

#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSObject+Files.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/SearchPaths.h"
#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(PlistUtil, cls) {
    cls.classMethod("documentsDirectoryPath", [](Class&) { return id(Text(documentsDirectoryPath())); });
    cls.classMethod("dataFromFile:", [](Class&, std::string_view name) {
        const auto data = dataFromFile(name);
        return data ? id(*data) : id();
    });
    cls.classMethod("writeData:toFile:",
                    [](Class&, const id& object, std::string_view name) { return writeData(object, name); });
    cls.classMethod("readPlistWithName:",
                    [](Class&, std::string_view name) { return readPlistWithName(name); });
    cls.classMethod("writePlist:toFileWithName:",
                    [](Class&, const id& list, std::string_view name) { return writePlist(list, name); });
}

std::optional<std::string> PlistUtil::documentsDirectoryPath() {
    const auto paths = NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::Documents,
                                                           NSSearchPathDomainMask::User, true);
    return paths.empty() ? std::nullopt : std::optional(paths.back());
}

std::optional<NSData> PlistUtil::dataFromFile(std::string_view name) {
    const auto directory = documentsDirectoryPath();
    return directory ? dataWithContentsOfFile(stringByAppendingPathComponent(*directory, name), nullptr)
                     : std::nullopt;
}

bool PlistUtil::writeData(const id& object, std::string_view toFile) {
    const auto directory = documentsDirectoryPath();
    return directory && internal::makePrivateDirectories(*directory) == 0 &&
           writeToFile(object, stringByAppendingPathComponent(*directory, toFile), true);
}

id PlistUtil::readPlistWithName(std::string_view name) {
    const auto data = dataFromFile(name);
    return data ? NSPropertyListSerialization::propertyListWithData(
                      *data, NSPropertyListReadOptions::Immutable, nullptr, nullptr)
                : id();
}

bool PlistUtil::writePlist(const id& propertyList, std::string_view toFileWithName) {
    return NSPropertyListSerialization::propertyListIsValidForFormat(propertyList,
                                                                     NSPropertyListFormat::Binary) &&
           writeData(propertyList, toFileWithName);
}

}  // namespace qz
