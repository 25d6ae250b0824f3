#include "Siblings/QZTuple.h"

#include <cstdint>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZTuple, cls) {
    cls.property("count", [](const QZTuple& self) { return std::uint64_t{self.count()}; });
    cls.method("objectAtIndex:",
               [](const QZTuple& self, std::uint64_t index) { return self.objectAtIndex(index); });
}

Ref<QZTuple> QZTuple::tupleWithCount(std::size_t count, std::vector<id> values) {
    values.resize(count);
    return make<QZTuple>(std::move(values));
}

}  // namespace qz
