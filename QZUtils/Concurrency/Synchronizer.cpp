#include "QZUtils/Concurrency/Synchronizer.h"

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

using Block = std::function<void()>;

QZ_DEFINE_CLASS_NAMED(Synchronizer, "QZUtils.Synchronizer", cls) {
    cls.method("sync:", [](Synchronizer& self, const Block& block) { self.sync(block); });
    cls.method("async:", [](Synchronizer& self, const Block& block) { self.async(block); });
}

Ref<Synchronizer> Synchronizer::init() {
    std::fprintf(stderr, "Fatal error: use of unimplemented initializer \"init()\" of \"%s\"\n",
                 cls().name().c_str());
    std::abort();
}

std::string Synchronizer::labelOrDefault(Text label) {
    return std::string(label.valueOr(cls().name()));
}

QZ_DEFINE_CLASS_NAMED(SerialSynchronizer, "QZUtils.SerialSynchronizer", cls) {}

QZ_DEFINE_CLASS_NAMED(ConcurrentSynchronizer, "QZUtils.ConcurrentSynchronizer", cls) {
    cls.method("barrierSync:",
               [](ConcurrentSynchronizer& self, const Block& block) { self.barrierSync(block); });
    cls.method("barrierAsync:",
               [](ConcurrentSynchronizer& self, const Block& block) { self.barrierAsync(block); });
}

}  // namespace qz
