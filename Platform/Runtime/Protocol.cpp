#include "Platform/Runtime/Protocol.h"

#include <deque>
#include <mutex>

namespace qz {

namespace {

struct ProtocolTable {
    std::mutex mutex;
    std::deque<Protocol> protocols;  // a deque never moves its elements
};

ProtocolTable& protocolTable() {
    static auto& table = *new ProtocolTable;
    return table;
}

Protocol* find(ProtocolTable& table, std::string_view name) {
    for (auto& protocol : table.protocols) {
        if (protocol.name() == name) {
            return &protocol;
        }
    }
    return nullptr;
}

}  // namespace

Protocol& Protocol::named(std::string_view name) {
    auto& table = protocolTable();
    const std::lock_guard lock(table.mutex);
    auto* known = find(table, name);
    return known ? *known : table.protocols.emplace_back(std::string(name));
}

Protocol* NSProtocolFromString(std::string_view name) {
    auto& table = protocolTable();
    const std::lock_guard lock(table.mutex);
    return find(table, name);
}

}  // namespace qz
