#include "Platform/Foundation/NSThread.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSThread, cls) {
    cls.classMethod("currentThread", [](Class&) { return currentThread(); });
    cls.property("threadDictionary", &NSThread::threadDictionary);
}

NSThread::NSThread() : dictionary_(NSMutableDictionary::dictionary()) {}

Ref<NSThread> NSThread::currentThread() {
    thread_local const Ref<NSThread> thread = make<NSThread>();
    return thread;
}

}  // namespace qz
