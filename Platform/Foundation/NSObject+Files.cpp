#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSObject+Files.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace {

bool writeAsXML(const Object& self, std::string_view path, bool atomically) {
    const auto data =
        NSPropertyListSerialization::dataWithPropertyList(refTo(self), NSPropertyListFormat::XML, nullptr);
    return data && writeToFile(*data, path, atomically, nullptr);
}

}  // namespace

QZ_DEFINE_CATEGORY(NSArray, Files, cls) {
    cls.method("writeToFile:atomically:", [](const NSArray& self, std::string_view path, bool atomically) {
        return writeAsXML(self, path, atomically);
    });
}

QZ_DEFINE_CATEGORY(NSDictionary, Files, cls) {
    cls.method("writeToFile:atomically:", [](const NSDictionary& self, std::string_view path,
                                             bool atomically) { return writeAsXML(self, path, atomically); });
}

QZ_DEFINE_CATEGORY(NSString, Files, cls) {
    cls.method("writeToFile:atomically:", [](const NSString& self, std::string_view path, bool atomically) {
        return writeToFile(NSData::dataWithText(self.string()), path, atomically, nullptr);
    });
}

bool writeToFile(const id& self, std::string_view path, bool atomically) {
    const auto message = "writeToFile:atomically:"_sel;
    return respondsToSelector(self, message) && send<bool>(self, message, path, atomically);
}

}  // namespace qz
