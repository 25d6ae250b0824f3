// QZForwarder: stands in for any number of weakly held recipients and re-sends every message to each of them
// that understands it, a delegate that is many delegates.
//
//     auto listeners = QZForwarder::initWithRecipients(toolbar, statistics);
//     download->setDelegate(listeners);
//     listeners->addForwarderRecipient(window);
//
// Neither the sender nor the recipients need to know. A message reaches the recipients in the order in which
// they were added, whatever its arguments; its result is the last recipient's. A message that none of them
// understands is swallowed, yields a default result, and is logged as a warning as long as there are
// recipients. Recipients that are gone drop out when the recipients are next enumerated, which every
// operation below and every forwarded message does.
//
// The forwarder answers itself what every proxy does (its description, equality and hash, which are its own)
// and the messages named like its operations.
//
// For use from one thread at a time; this includes the questions, since they drop recipients that are gone.
#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <type_traits>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSArray;
class NSMutableArray;

class QZ_EXPORT QZForwarder : public NSProxy {
    QZ_OBJECT(QZForwarder, NSProxy)
public:
    /// Takes a live recipient, its index in recipients(), and a flag that ends the enumeration when it is
    /// set.
    using RecipientBlock = std::function<void(const Ref<Object>& recipient, std::size_t index, bool* stop)>;

    /// A forwarder of class Self to the recipients in this order. The first nil ends the list: those after it
    /// are not taken.
    template <class Self = QZForwarder, class... More>
    requires(std::is_convertible_v<const More&, Receiver>&&...)
        [[nodiscard]] static Ref<Self> initWithRecipients(Receiver firstRecipient, const More&... more) {
        auto forwarder = make<Self>();
        forwarder->takeRecipients({firstRecipient, Receiver(more)...});
        return forwarder;
    }

    /// The QZWeakReference boxes in order, those of recipients that are gone included until the next
    /// enumeration. Changes to the array are changes to the forwarder. Null is set as an empty array.
    [[nodiscard]] const Ref<NSMutableArray>& recipients() const noexcept { return recipients_; }
    void setRecipients(Ref<NSMutableArray> recipients);

    /// Calls the block for each live recipient in order. The block may add and remove recipients: the count
    /// is read anew before each step. Boxes found empty are removed at the end, unless the block throws.
    /// Raises NSInvalidArgumentException when recipients() holds anything but boxes.
    void enumerateRecipientsUsingBlock(const RecipientBlock& block) const;
    /// The live recipients in order, held strongly by a new array.
    [[nodiscard]] Ref<NSArray> allRecipients() const;

    /// Appends a recipient unless an equal one (isEqual) is there.
    void addForwarderRecipient(Receiver recipient);
    /// Removes the first recipient that is equal (isEqual). A recipient may call this in its dealloc().
    void removeForwarderRecipient(Receiver recipient);

    /// Whether any recipient, or the forwarder itself, responds.
    [[nodiscard]] bool respondsToSelector(Selector selector) const override;
    /// Whether any recipient, or the forwarder's class, conforms: who asks wants to know whether the
    /// protocol's messages are welcome. isKindOfClass(), by contrast, is about what the object may be cast to
    /// and so tells of the forwarder's class alone.
    [[nodiscard]] bool conformsToProtocol(const Protocol& protocol) const override;
    /// The first recipient's that has one; otherwise "v@:", so that no message is refused.
    [[nodiscard]] Ref<NSMethodSignature> methodSignatureForSelector(Selector selector) const override;
    /// Every recipient that responds receives the message, even if one throws, as it does when its method
    /// cannot take the arguments; what was thrown first is thrown again afterwards.
    void forwardInvocation(NSInvocation& invocation) override;

protected:
    QZForwarder();

private:
    void takeRecipients(std::initializer_list<Receiver> recipients);
    template <class Block>
    void enumerate(Block&& block) const;

    Ref<NSMutableArray> recipients_;
};

}  // namespace qz
