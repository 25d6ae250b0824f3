// NSThread: what belongs to the thread that asks.
//
//     NSThread::currentThread()->threadDictionary()->setObjectForKey(formatter, "Formatter");
//
// The thread's object and its dictionary live as long as the thread, and longer only for those who hold them.
// The dictionary is for that thread alone.
#pragma once

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSMutableDictionary;

class QZ_EXPORT NSThread : public NSObject {
    QZ_OBJECT(NSThread, NSObject)
public:
    /// Must not be called while the thread destroys its thread-local variables.
    [[nodiscard]] static Ref<NSThread> currentThread();

    [[nodiscard]] const Ref<NSMutableDictionary>& threadDictionary() const noexcept { return dictionary_; }

protected:
    NSThread();

private:
    const Ref<NSMutableDictionary> dictionary_;
};

}  // namespace qz
