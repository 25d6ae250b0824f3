// One delegate that is many: who receives which message, and what becomes of those that are gone.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Forwarding/QZForwarder.h"
#include "QZUtils/Forwarding/QZWeakReference.h"
#include "Siblings/QZLog.h"

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
    }
};

class Page : public NSObject {
    QZ_OBJECT(Page, NSObject)
protected:
    Page() = default;
};
QZ_DEFINE_CLASS(Page, cls) {}

/// What the recipients saw, in order.
std::vector<std::string> seen;

/// A delegate that is equal to those of the same name.
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
    cls.method("note:", [](Reader&, const Ref<NSString>& text) { seen.push_back(text->string()); });
}

/// Takes the same messages with wider types, and adopts nothing.
class Statistics : public NSObject {
    QZ_OBJECT(Statistics, NSObject)
protected:
    Statistics() = default;
};
QZ_DEFINE_CLASS(Statistics, cls) {
    cls.method("pageDidTurn:to:", [](Statistics&, const Ref<Object>& page, long number) {
        seen.push_back("counted " + page->isa().name());
        return 100 * number;
    });
    cls.method("note:",
               [](Statistics&, const id& note) { seen.push_back("counted " + descriptionOf(note)); });
}

class Forwarder : public testing::Test {
protected:
    void SetUp() override { seen.clear(); }
    int turn(Receiver delegate, int number) {
        return send<int>(delegate, "pageDidTurn:to:"_sel, make<Page>(), number);
    }

    Ref<Reader> anna = make<Reader>("Anna");
    Ref<Reader> ben = make<Reader>("Ben");
    Ref<Statistics> statistics = make<Statistics>();
    Ref<QZForwarder> forwarder = QZForwarder::initWithRecipients(anna, statistics, ben);
};

TEST_F(Forwarder, DeliversInOrderToThoseWhoAreLeft) {
    EXPECT_EQ(turn(forwarder, 7), 7);  // the last recipient's result
    EXPECT_THAT(seen, ElementsAre("Anna turned to 7", "counted Page", "Ben turned to 7"));
    forwarder->removeForwarderRecipient(ben);
    EXPECT_EQ(turn(forwarder, 8), 800);

    forwarder->addForwarderRecipient(ben);
    seen.clear();
    statistics.reset();
    EXPECT_EQ(forwarder->recipients()->count(), 3U);
    EXPECT_EQ(turn(forwarder, 9), 9);
    EXPECT_THAT(seen, ElementsAre("Anna turned to 9", "Ben turned to 9"));
    EXPECT_EQ(forwarder->recipients()->count(), 2U);
    anna->leavesWhenDying = forwarder;
    anna.reset();
    EXPECT_EQ(forwarder->recipients()->count(), 1U);
    EXPECT_EQ(forwarder->allRecipients()->firstObject().get(), ben.get());
}

TEST_F(Forwarder, AddsAndRemovesByEquality) {
    const auto otherAnna = make<Reader>("Anna");
    forwarder->addForwarderRecipient(otherAnna);
    EXPECT_EQ(forwarder->recipients()->count(), 3U);
    forwarder->removeForwarderRecipient(nullptr);
    forwarder->removeForwarderRecipient(otherAnna);
    EXPECT_EQ(forwarder->allRecipients()->firstObject().get(), statistics.get());
    // A nil ends the list.
    EXPECT_EQ(QZForwarder::initWithRecipients(anna, nullptr, ben)->recipients()->count(), 1U);

    forwarder->setRecipients(nullptr);
    forwarder->addForwarderRecipient(ben);
    EXPECT_EQ(turn(forwarder, 1), 1);
    forwarder->recipients()->addObject("no box");
    EXPECT_THROW(static_cast<void>(forwarder->allRecipients()), NSException);
}

TEST_F(Forwarder, MayChangeWhileItEnumerates) {
    std::vector<std::size_t> visited;
    const auto clara = make<Reader>("Clara");
    forwarder->enumerateRecipientsUsingBlock(
        [&](const Ref<Object>& recipient, std::size_t index, bool* stop) {
            visited.push_back(index);
            if (recipient == anna) {
                forwarder->removeForwarderRecipient(ben);
                forwarder->addForwarderRecipient(clara);
                forwarder->addForwarderRecipient(ben);
            }
            *stop = recipient == clara;
        });
    EXPECT_THAT(visited, ElementsAre(0U, 1U, 2U));

    // A recipient may give up the forwarder that is calling it.
    anna->onTurn = [&] { forwarder.reset(); };
    EXPECT_EQ(turn(forwarder.get(), 3), 3);
    EXPECT_THAT(seen,
                ElementsAre("Anna turned to 3", "counted Page", "Clara turned to 3", "Ben turned to 3"));
}

TEST_F(Forwarder, AnExceptionKeepsNobodyFromReceiving) {
    // A number is no NSString: the readers cannot take it.
    EXPECT_THROW(send(forwarder, "note:"_sel, 5), NSException);
    EXPECT_THAT(seen, ElementsAre("counted 5"));
    seen.clear();
    anna->onTurn = [] { throw std::runtime_error("first"); };
    ben->onTurn = [] { throw std::logic_error("second"); };
    EXPECT_THROW(turn(forwarder, 1), std::runtime_error);
    EXPECT_THAT(seen, ElementsAre("Anna turned to 1", "counted Page", "Ben turned to 1"));
}

TEST_F(Forwarder, PassesForADelegateOfEveryKind) {
    const auto counting = QZForwarder::initWithRecipients(statistics);
    EXPECT_FALSE(counting->conformsToProtocol(PageDelegate::protocol()));
    EXPECT_TRUE(forwarder->conformsToProtocol(PageDelegate::protocol()));
    EXPECT_TRUE(forwarder->respondsToSelector("note:"_sel));
    EXPECT_TRUE(forwarder->respondsToSelector("allRecipients"_sel));
    EXPECT_FALSE(forwarder->respondsToSelector("fold:into:"_sel));
    EXPECT_FALSE(forwarder->isKindOfClass(Reader::cls()));  // it cannot be cast to one
    EXPECT_EQ(forwarder->methodSignatureForSelector("pageDidTurn:to:"_sel)->types(), "i@:@i");
    EXPECT_EQ(turn(QZForwarder::initWithRecipients(forwarder, counting), 2), 200);
    EXPECT_EQ(seen.size(), 4U);
    EXPECT_EQ(send<Ref<NSArray>>(forwarder, "allRecipients"_sel)->count(), 3U);  // answered, not forwarded
}

TEST_F(Forwarder, SwallowsWhatNobodyUnderstands) {
    const auto empty = QZForwarder::initWithRecipients(nullptr);
    const auto deserted = QZForwarder::initWithRecipients(make<Page>());
    const auto& log = QZLog::sharedLog()->ddSyncLog();
    const auto sink = log->addSink([](const LogMessage& line) {
        EXPECT_EQ(line.flag, LogFlag::Warning);
        seen.emplace_back(line.text);
    });
    for (const auto& receiver : {forwarder, empty, deserted}) {
        EXPECT_EQ(receiver->methodSignatureForSelector("fold:into:"_sel)->types(), "v@:");
        EXPECT_EQ(send<std::string>(receiver, "fold:into:"_sel, std::vector<int>{1}, "x"), "");
        EXPECT_EQ(send<Ref<Page>>(receiver, "page"_sel), nullptr);
    }
    log->removeSink(sink);
    // Who has no recipients, or none any more, says nothing.
    EXPECT_THAT(seen, ElementsAre("Forwarder: unknown message received: fold:into:.",
                                  "Forwarder: unknown message received: page."));
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
    const auto sent = send<Ref<QZWeakReference>>(box->isa(), "weakReferenceWithObject:"_sel, page);
    EXPECT_EQ(&sent->isa(), &NamedReference::cls());
    EXPECT_EQ(sent->object(), page);
    page.reset();
    EXPECT_FALSE(sent->object());
    EXPECT_FALSE(send<id>(box, "object"_sel));

    std::atomic<bool> stop{false};
    std::jthread reader([&] {
        while (!stop) {
            const auto object = box->object();
            EXPECT_TRUE(!object || &object->isa() == &Page::cls());
        }
    });
    for (int round = 0; round < 1000; ++round) {
        const auto dying = make<Page>();
        box->setObject(dying);
        EXPECT_EQ(box->object(), dying);
    }
    stop = true;
}

}  // namespace qz::test
