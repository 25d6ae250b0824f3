#include "Platform/Foundation/internal/StringsTable.h"

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"

namespace qz::internal {

std::shared_ptr<const StringsTable> StringsTable::read(const std::string& path) {
    auto table = std::make_shared<StringsTable>();
    Ref<NSError> error;
    const auto data = dataWithContentsOfFile(path, &error);
    if (data && data->isEmpty()) {
        return table;
    }
    const auto list = data ? NSPropertyListSerialization::propertyListWithData(
                                 *data, NSPropertyListReadOptions::Immutable, nullptr, &error)
                                 .as<NSDictionary>()
                           : nullptr;
    if (!list) {
        DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Error, 0, __FILE__, __func__, __LINE__,
                                     nullptr, "The table of texts \"%@\" cannot be read: %@", path,
                                     error ? error->localizedDescription() : "it is no dictionary");
        return table;
    }
    for (const auto& [key, value] : *list) {
        auto text = unbox<std::string>(value);
        if (auto name = unbox<std::string>(key); name && text) {
            table->texts_.insert_or_assign(*std::move(name), *std::move(text));
        }
    }
    return table;
}

}  // namespace qz::internal
