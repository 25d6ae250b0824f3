#include "Platform/Runtime/Selector.h"

#include <deque>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

namespace qz::internal {

namespace {

struct SelectorTable {
    std::shared_mutex mutex;
    std::deque<std::string> names;  // a deque never moves its elements, so views into them stay valid
    std::deque<SelectorData> selectors;
    std::unordered_map<std::string_view, const SelectorData*> byName;
};

SelectorTable& selectorTable() {
    static auto& table = *new SelectorTable;  // outlives every object that may still send a message at exit
    return table;
}

}  // namespace

const SelectorData* internSelector(std::string_view name) {
    auto& table = selectorTable();
    {
        const std::shared_lock lock(table.mutex);
        if (const auto found = table.byName.find(name); found != table.byName.end()) {
            return found->second;
        }
    }
    const std::lock_guard lock(table.mutex);
    if (const auto found = table.byName.find(name); found != table.byName.end()) {
        return found->second;
    }
    const std::string_view kept = table.names.emplace_back(name);
    const auto* data = &table.selectors.emplace_back(SelectorData{kept, std::hash<std::string_view>()(kept)});
    table.byName.emplace(kept, data);
    return data;
}

}  // namespace qz::internal
