#include "Platform/Network/NSURLSessionDataTask.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLSessionDataTask, cls) {
    static_cast<void>(cls);
}

}  // namespace qz
