// QZWeakReference: a box that holds one object weakly, for containers, which hold their elements strongly.
//
// object() answers nil once the object is gone. A box may be read and written from any thread.
#pragma once

#include <memory>
#include <mutex>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT QZWeakReference : public NSObject {
    QZ_OBJECT(QZWeakReference, NSObject)
public:
    /// A new box of class Self. The message "weakReferenceWithObject:" to a class makes one of that class.
    template <class Self = QZWeakReference>
    [[nodiscard]] static Ref<Self> weakReferenceWithObject(Receiver object) {
        auto reference = make<Self>();
        reference->setObject(object);
        return reference;
    }

    /// A strong reference to the object; null when there is none or it is gone.
    [[nodiscard]] Ref<Object> object() const;
    /// An object in its dealloc() counts as gone.
    void setObject(Receiver object);

protected:
    QZWeakReference() = default;

private:
    mutable std::mutex mutex_;
    std::weak_ptr<Object> object_;
};

}  // namespace qz
