#include "QZUtils/Forwarding/QZWeakReference.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZWeakReference, cls) {
    cls.property("object", &QZWeakReference::object,
                 [](QZWeakReference& self, const Ref<Object>& object) { self.setObject(object); });
    cls.classMethod("weakReferenceWithObject:", [](Class& receiver, const Ref<Object>& object) {
        auto reference = std::static_pointer_cast<QZWeakReference>(receiver.makeInstance());
        reference->setObject(object);
        return reference;
    });
}

Ref<Object> QZWeakReference::object() const {
    const std::lock_guard lock(mutex_);
    return object_.lock();
}

void QZWeakReference::setObject(Receiver object) {
    auto reference = object ? object->weak_from_this() : std::weak_ptr<Object>();
    const std::lock_guard lock(mutex_);
    object_.swap(reference);
}

}  // namespace qz
