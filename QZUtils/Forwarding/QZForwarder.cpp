#include "QZUtils/Forwarding/QZForwarder.h"

#include <exception>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Forwarding/QZWeakReference.h"

namespace qz {

QZ_DEFINE_CLASS(QZForwarder, cls) {
    cls.property("recipients", &QZForwarder::recipients, &QZForwarder::setRecipients);
    cls.method("enumerateRecipientsUsingBlock:", &QZForwarder::enumerateRecipientsUsingBlock);
    cls.method("allRecipients", &QZForwarder::allRecipients);
    cls.method("addForwarderRecipient:", [](QZForwarder& self, const Ref<Object>& recipient) {
        self.addForwarderRecipient(recipient);
    });
    cls.method("removeForwarderRecipient:", [](QZForwarder& self, const Ref<Object>& recipient) {
        self.removeForwarderRecipient(recipient);
    });
}

QZForwarder::QZForwarder() : recipients_(NSMutableArray::array()) {}

void QZForwarder::takeRecipients(std::initializer_list<Receiver> recipients) {
    for (const auto& recipient : recipients) {
        if (!recipient) {
            return;
        }
        recipients_->addObject(QZWeakReference::weakReferenceWithObject(recipient));
    }
}

void QZForwarder::setRecipients(Ref<NSMutableArray> recipients) {
    recipients_ = recipients ? std::move(recipients) : NSMutableArray::array();
}

template <class Block>
void QZForwarder::enumerate(Block&& block) const {
    // A recipient may well give up the last reference to the forwarder that it is called by.
    const auto alive = weak_from_this().lock();
    std::vector<id> gone;
    bool stop = false;
    for (std::size_t index = 0; !stop && index < recipients_->count(); ++index) {
        const auto box = recipients_->objectAtIndex(index).as<QZWeakReference>();
        if (!box) {
            raise(NSInvalidArgumentException, "the recipients of a forwarder are boxed weakly, and " +
                                                  descriptionOf(recipients_->objectAtIndex(index)) +
                                                  " is no QZWeakReference");
        }
        if (const auto recipient = box->object()) {
            block(recipient, index, &stop);
        } else {
            gone.emplace_back(box);
        }
    }
    for (const auto& box : gone) {
        recipients_->removeObject(box);
    }
}

void QZForwarder::enumerateRecipientsUsingBlock(const RecipientBlock& block) const {
    enumerate(block);
}

Ref<NSArray> QZForwarder::allRecipients() const {
    std::vector<id> all;
    enumerate([&](const Ref<Object>& recipient, std::size_t, bool*) { all.emplace_back(recipient); });
    return NSArray::arrayWithObjects(std::move(all));
}

void QZForwarder::addForwarderRecipient(Receiver recipient) {
    auto box = QZWeakReference::weakReferenceWithObject(recipient);
    if (!allRecipients()->containsObject(box->object())) {
        recipients_->addObject(std::move(box));
    }
}

void QZForwarder::removeForwarderRecipient(Receiver recipient) {
    // An object in its dealloc() is gone from its box already: then there is nothing to compare with, and the
    // enumeration removes the box.
    const id removed = recipient ? recipient->weak_from_this().lock() : nullptr;
    enumerate([&](const Ref<Object>& candidate, std::size_t index, bool* stop) {
        if (id(candidate) == removed) {
            recipients_->removeObjectAtIndex(index);
            *stop = true;
        }
    });
}

bool QZForwarder::respondsToSelector(Selector selector) const {
    bool responds = false;
    enumerate([&](const Ref<Object>& recipient, std::size_t, bool* stop) {
        *stop = responds = recipient->respondsToSelector(selector);
    });
    return responds || Super::respondsToSelector(selector);
}

bool QZForwarder::conformsToProtocol(const Protocol& protocol) const {
    bool conforms = false;
    enumerate([&](const Ref<Object>& recipient, std::size_t, bool* stop) {
        *stop = conforms = recipient->conformsToProtocol(protocol);
    });
    return conforms || Super::conformsToProtocol(protocol);
}

Ref<NSMethodSignature> QZForwarder::methodSignatureForSelector(Selector selector) const {
    Ref<NSMethodSignature> signature;
    enumerate([&](const Ref<Object>& recipient, std::size_t, bool* stop) {
        signature = recipient->methodSignatureForSelector(selector);
        *stop = signature != nullptr;
    });
    return signature ? signature : NSMethodSignature::signatureWithObjCTypes("v@:");
}

void QZForwarder::forwardInvocation(NSInvocation& invocation) {
    const auto alive = weak_from_this().lock();
    bool received = false;
    std::exception_ptr thrown;
    enumerate([&](const Ref<Object>& recipient, std::size_t, bool*) {
        if (!recipient->respondsToSelector(invocation.selector())) {
            return;
        }
        received = true;
        try {
            invocation.invokeWithTarget(recipient);
        } catch (...) {
            thrown = thrown ? thrown : std::current_exception();
        }
    });
    if (!received && recipients_->count() > 0) {
        logWarning("Forwarder: unknown message received: %@.", invocation.selector().name());
    }
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

}  // namespace qz
