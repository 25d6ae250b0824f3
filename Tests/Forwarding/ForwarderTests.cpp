// One delegate that is many: who receives which message, and what becomes of those that are gone.
#include <gmock/gmock.h>

#include <thread>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Forwarding/QZForwarder.h"
#include "QZUtils/Forwarding/QZWeakReference.h"

namespace qz::test {

using testing::ElementsAre;

struct PageDelegate {
    QZ_PROTOCOL(PageDelegate)
    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        if constexpr (requires { &T::pageDidTurn; }) {
            cls.method("pageDidTurn:to:", &T::pageDidTurn);
        }
        if constexpr (requires { &T::pageDidClose; }) {
            cls.method("pageDidClose", &T::pageDidClose);
        }
    }
};

/// What the recipients saw, in order.
std::vector<std::string> seen;

class Page : public NSObject {
    QZ_OBJECT(Page, NSObject)
public:
    /// Tells the delegate, whoever that is.
    int turn(int number) {
        if (!qz::respondsToSelector(delegate, "pageDidTurn:to:"_sel)) {
            return -1;
        }
        return send<int>(delegate, "pageDidTurn:to:"_sel, std::static_pointer_cast<Page>(ref()), number);
    }
    Ref<Object> delegate;

protected:
    Page() = default;
};
QZ_DEFINE_CLASS(Page, cls) {}

/// Equal to readers of the same name. Takes the sender by its class.
class Reader : public NSObject {
    QZ_OBJECT(Reader, NSObject)
public:
    int pageDidTurn(const Ref<Page>&, int number) {
        seen.push_back(name + " turned to " + std::to_string(number));
        if (onTurn) {
            onTurn();
        }
        return number;
    }
    std::string name;
    std::function<void()> onTurn;
    Ref<QZForwarder> leavesWhenDying;

protected:
    explicit Reader(std::string given) : name(std::move(given)) {}
    void dealloc() override {
        if (leavesWhenDying) {
            leavesWhenDying->removeForwarderRecipient(*this);
        }
        Super::dealloc();
    }
};
QZ_DEFINE_CLASS(Reader, cls) {
    cls.adopts<PageDelegate>();
    cls.method("isEqual:", [](const Reader& self, const id& other) {
        const auto reader = other.as<Reader>();
        return reader && reader->name == self.name;
    });
    cls.method("hash", [](const Reader& self) { return std::hash<std::string>()(self.name); });
    cls.method("note:", [](Reader& self, const Ref<NSString>& text) {
        seen.push_back(self.name + " noted " + text->string());
    });
}

/// Takes the same messages with wider types, and adopts nothing.
class Statistics : public NSObject {
    QZ_OBJECT(Statistics, NSObject)
protected:
    Statistics() = default;
};
QZ_DEFINE_CLASS(Statistics, cls) {
    cls.method("pageDidTurn:to:", [](Statistics&, const Ref<Object>& page, long number) {
        seen.push_back("counted " + page->isa().name() + " " + std::to_string(number));
        return 100 * number;
    });
    cls.method("pageDidClose", [](Statistics&) { seen.push_back("counted close"); });
    cls.method("note:",
               [](Statistics&, const id& anything) { seen.push_back("counted " + anything->description()); });
}

class Forwarder : public testing::Test {
protected:
    void SetUp() override { seen.clear(); }

    Ref<Page> page = make<Page>();
    Ref<Reader> anna = make<Reader>("Anna");
    Ref<Reader> ben = make<Reader>("Ben");
    Ref<Statistics> statistics = make<Statistics>();
};

TEST_F(Forwarder, DeliversToEveryRecipientInOrder) {
    page->delegate = QZForwarder::initWithRecipients(anna, statistics, ben);
    EXPECT_EQ(page->turn(7), 7);  // the last recipient's result
    EXPECT_THAT(seen, ElementsAre("Anna turned to 7", "counted Page 7", "Ben turned to 7"));

    seen.clear();
    page->delegate = QZForwarder::initWithRecipients(anna, statistics);
    EXPECT_EQ(page->turn(8), 800);
    send(page->delegate, "pageDidClose"_sel);  // only one of them knows it
    send(page->delegate, "note:"_sel, "text");
    EXPECT_THAT(seen, ElementsAre("Anna turned to 8", "counted Page 8", "counted close", "Anna noted text",
                                  "counted text"));
}

TEST_F(Forwarder, ForgetsRecipientsThatAreGone) {
    const auto forwarder = QZForwarder::initWithRecipients(anna, statistics, ben);
    statistics.reset();
    EXPECT_EQ(forwarder->recipients()->count(), 3U);
    page->delegate = forwarder;
    EXPECT_EQ(page->turn(1), 1);
    EXPECT_THAT(seen, ElementsAre("Anna turned to 1", "Ben turned to 1"));
    EXPECT_EQ(forwarder->recipients()->count(), 2U);
    anna.reset();
    EXPECT_EQ(forwarder->allRecipients()->count(), 1U);
    EXPECT_EQ(forwarder->allRecipients()->objectAtIndex(0).get(), ben.get());

    ben->leavesWhenDying = forwarder;
    ben.reset();
    EXPECT_EQ(forwarder->recipients()->count(), 0U);
    EXPECT_EQ(page->turn(2), -1);
}

TEST_F(Forwarder, AddsAndRemovesByEquality) {
    const auto forwarder = QZForwarder::initWithRecipients(anna);
    const auto secondAnna = make<Reader>("Anna");
    forwarder->addForwarderRecipient(anna);
    forwarder->addForwarderRecipient(secondAnna);
    EXPECT_EQ(forwarder->recipients()->count(), 1U);
    forwarder->addForwarderRecipient(*ben);
    EXPECT_EQ(forwarder->allRecipients()->count(), 2U);
    forwarder->removeForwarderRecipient(statistics);
    forwarder->removeForwarderRecipient(nullptr);
    EXPECT_EQ(forwarder->allRecipients()->count(), 2U);
    forwarder->removeForwarderRecipient(secondAnna);
    EXPECT_EQ(forwarder->allRecipients()->firstObject().get(), ben.get());

    // A nil ends the list, as it does where lists of arguments have no length.
    EXPECT_EQ(QZForwarder::initWithRecipients(anna, nullptr, ben)->recipients()->count(), 1U);
    EXPECT_EQ(QZForwarder::initWithRecipients(nullptr)->recipients()->count(), 0U);

    forwarder->setRecipients(nullptr);
    forwarder->addForwarderRecipient(anna);
    const auto other = QZForwarder::initWithRecipients(nullptr);
    other->setRecipients(forwarder->recipients());
    EXPECT_EQ(other->allRecipients()->firstObject().get(), anna.get());
    other->recipients()->addObject("no box");
    EXPECT_THROW(static_cast<void>(other->respondsToSelector("note"_sel)), NSException);
}

TEST_F(Forwarder, MayChangeWhileItEnumerates) {
    const auto forwarder = QZForwarder::initWithRecipients(anna, ben);
    std::vector<std::string> visited;
    const auto clara = make<Reader>("Clara");
    forwarder->enumerateRecipientsUsingBlock(
        [&](const Ref<Object>& recipient, std::size_t index, bool* stop) {
            const auto reader = std::static_pointer_cast<Reader>(recipient);
            visited.push_back(std::to_string(index) + reader->name);
            if (reader == anna) {
                forwarder->addForwarderRecipient(clara);
                forwarder->removeForwarderRecipient(ben);
            }
            *stop = reader == clara;
            if (reader == clara) {
                forwarder->addForwarderRecipient(statistics);  // not reached any more
            }
        });
    EXPECT_THAT(visited, ElementsAre("0Anna", "1Clara"));

    // A recipient may leave, and give up the forwarder that is calling it.
    auto only = QZForwarder::initWithRecipients(anna, ben);
    page->delegate = only;
    anna->onTurn = [&] { page->delegate.reset(); };
    auto* raw = only.get();
    only.reset();
    EXPECT_EQ(send<int>(raw, "pageDidTurn:to:"_sel, page, 3), 3);
    EXPECT_THAT(seen, ElementsAre("Anna turned to 3", "Ben turned to 3"));
}

TEST_F(Forwarder, SwallowsWhatNobodyUnderstands) {
    for (const auto& forwarder :
         {QZForwarder::initWithRecipients(anna, statistics), QZForwarder::initWithRecipients(nullptr)}) {
        EXPECT_FALSE(forwarder->respondsToSelector("fold:into:"_sel));
        EXPECT_EQ(forwarder->methodSignatureForSelector("fold:into:"_sel)->types(), "v@:");
        EXPECT_EQ(send<std::string>(forwarder, "fold:into:"_sel, std::vector<int>{1}, "x"), "");
        EXPECT_EQ(send<double>(forwarder, "unfold"_sel), 0.0);
        EXPECT_EQ(send<Ref<Page>>(forwarder, "page"_sel), nullptr);
    }
    EXPECT_TRUE(seen.empty());
}

TEST_F(Forwarder, AnExceptionKeepsNobodyFromReceiving) {
    const auto forwarder = QZForwarder::initWithRecipients(anna, statistics, ben);
    // A number is no NSString: the readers cannot take it.
    EXPECT_THROW(send(forwarder, "note:"_sel, 5), NSException);
    EXPECT_THAT(seen, ElementsAre("counted 5"));

    seen.clear();
    anna->onTurn = [] { throw std::runtime_error("first"); };
    ben->onTurn = [] { throw std::logic_error("second"); };
    EXPECT_THROW(send(forwarder, "pageDidTurn:to:"_sel, page, 1), std::runtime_error);
    EXPECT_THAT(seen, ElementsAre("Anna turned to 1", "counted Page 1", "Ben turned to 1"));
}

TEST_F(Forwarder, PassesForADelegate) {
    const auto forwarder = QZForwarder::initWithRecipients(statistics);
    EXPECT_FALSE(forwarder->conformsToProtocol(PageDelegate::protocol()));
    EXPECT_FALSE(forwarder->respondsToSelector("isEqualToReader:"_sel));
    forwarder->addForwarderRecipient(anna);
    EXPECT_TRUE(forwarder->conformsToProtocol(PageDelegate::protocol()));
    EXPECT_TRUE(forwarder->respondsToSelector("pageDidClose"_sel));
    EXPECT_TRUE(forwarder->respondsToSelector("addForwarderRecipient:"_sel));
    EXPECT_EQ(forwarder->methodSignatureForSelector("pageDidTurn:to:"_sel)->types(), "q@:@q");
    // It cannot be cast to its recipients' class.
    EXPECT_FALSE(forwarder->isKindOfClass(Reader::cls()));
    EXPECT_TRUE(forwarder->isKindOfClass(NSProxy::cls()));

    // Forwarders nest.
    page->delegate = QZForwarder::initWithRecipients(forwarder, ben);
    EXPECT_EQ(page->turn(2), 2);
    EXPECT_THAT(seen, ElementsAre("counted Page 2", "Anna turned to 2", "Ben turned to 2"));
    EXPECT_FALSE(page->delegate->isEqual(forwarder));

    // By messages too, without being forwarded.
    send(forwarder, "removeForwarderRecipient:"_sel, anna);
    EXPECT_EQ(send<Ref<NSArray>>(forwarder, "allRecipients"_sel)->count(), 1U);
}

class NamedReference : public QZWeakReference {
    QZ_OBJECT(NamedReference, QZWeakReference)
protected:
    NamedReference() = default;
};
QZ_DEFINE_CLASS(NamedReference, cls) {}

TEST(WeakReference, ReadsNilOnceItsObjectIsGone) {
    auto page = make<Page>();
    const auto box = QZWeakReference::weakReferenceWithObject<NamedReference>(page);
    const auto other =
        send<Ref<QZWeakReference>>(NamedReference::cls(), "weakReferenceWithObject:"_sel, page);
    EXPECT_EQ(&other->isa(), &NamedReference::cls());
    EXPECT_EQ(other->object(), page);
    EXPECT_EQ(send<id>(box, "object"_sel).get(), page.get());
    page.reset();
    EXPECT_EQ(box->object(), nullptr);
    EXPECT_EQ(other->object(), nullptr);
    page = make<Page>();
    send(box, "setObject:"_sel, page);
    EXPECT_EQ(box->object(), page);
    box->setObject(nullptr);
    EXPECT_EQ(box->object(), nullptr);
}

TEST(WeakReference, IsReadWhileItsObjectDies) {
    const auto box = QZWeakReference::weakReferenceWithObject(nullptr);
    std::atomic<bool> stop{false};
    std::jthread reader([&] {
        while (!stop) {
            if (const auto object = box->object()) {
                EXPECT_EQ(&object->isa(), &Page::cls());
            }
        }
    });
    for (int round = 0; round < 2000; ++round) {
        const auto page = make<Page>();
        box->setObject(page);
        EXPECT_EQ(box->object(), page);
    }
    stop = true;
}

}  // namespace qz::test
