// QZNotification: the base of objects that announce events, themselves being the sender, so that listeners
// register with the object and need not know the notification centre.
//
//     class Shelf : public QZNotification { … };
//     shelf->AddObserver(reader, "shelfDidChange:"_sel, "ShelfDidChange");
//     shelf->postNotificationName("ShelfDidChange");
//
// Posts are delivered before they return, on the calling thread; what is enqueued is posted by the calling
// thread's notification queue when its run loop has nothing else to do, once for equal names. The forms
// without a name post the empty one. Observers are held weakly. Safe from any thread.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Selector.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSDictionary;
class NSError;

class QZ_EXPORT QZNotification : public NSObject {
    QZ_OBJECT(QZNotification, NSObject)
public:
    template <class Self = QZNotification>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }

    /// Registers for notifications of that name from this object; any name for nil.
    void AddObserver(Receiver observer, Selector selector, Text name);
    /// Ends the observer's registrations with this object: all of them, or those for the name.
    void RemoveObserver(Receiver observer);
    void RemoveObserver(Receiver observer, Text name);

    void postNotificationName(std::string_view name);
    void postNotificationName(std::string_view name, const Ref<NSDictionary>& withUserInfo);
    /// With the exception under "exception" in the user information: in the dictionary itself if it is
    /// mutable, which changes it for the caller, in a copy otherwise. The information may be null.
    void postNotificationNameWithException(std::string_view name, const NSException& exception,
                                           const Ref<NSDictionary>& userInfo);
    /// The same with the error under "error" too, and an exception made of it: its name is the localised text
    /// of "QZ.iPad.ServiceError", its reason the error's text, and it has the error's code under "code".
    /// Without an error (null) the information is posted as it is.
    void postNotificationNameWithError(std::string_view name, const Ref<NSError>& error,
                                       const Ref<NSDictionary>& userInfo);
    void enqueueNotificationName(std::string_view name);
    void enqueueNotificationName(std::string_view name, const Ref<NSDictionary>& withUserInfo);

    // With the empty name.

    void postNotification();
    void postNotificationWithUserInfo(const Ref<NSDictionary>& userInfo);
    void enqueueNotification();
    void enqueueNotificationWithUserInfo(const Ref<NSDictionary>& userInfo);

protected:
    QZNotification() = default;
    void dealloc() override;
};

}  // namespace qz
