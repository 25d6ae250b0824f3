// Key-value coding and observing.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueCoding.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz::test {

using testing::ElementsAre;
using enum NSKeyValueObservingOptions;

class Issue : public NSObject {
    QZ_OBJECT(Issue, NSObject)
public:
    std::string title() const { return title_; }
    void setTitle(std::string_view title) {
        changing(*this, "title", [&] { title_ = title; });
    }
    double read() const { return read_; }
    void setRead(double read) {
        changing(*this, "read", [&] { read_ = read; });
    }
    double total() const { return total_; }
    void setTotal(double total) {
        changing(*this, "total", [&] { total_ = total; });
    }
    double fraction() const { return total_ == 0 ? 0 : read_ / total_; }
    bool isFinished() const { return fraction() >= 1; }
    Ref<Issue> next() const { return next_; }
    void setNext(const Ref<Issue>& next) {
        changing(*this, "next", [&] { next_ = next; });
    }

protected:
    Issue() = default;

private:
    std::string title_;
    double read_ = 0;
    double total_ = 0;
    Ref<Issue> next_;
};
QZ_DEFINE_CLASS(Issue, cls) {
    cls.property("title", &Issue::title, &Issue::setTitle);
    cls.property("read", &Issue::read, &Issue::setRead);
    cls.property("total", &Issue::total, &Issue::setTotal);
    cls.property("fraction", &Issue::fraction);
    cls.propertyWithGetter("finished", "isFinished", &Issue::isFinished);
    cls.property("next", &Issue::next, &Issue::setNext);
    cls.dependsOn("fraction", {"read", "total"});
    cls.dependsOn("finished", {"fraction"});
}

/// Writes every notice down: "keyPath: old -> new".
class Diary : public NSObject {
    QZ_OBJECT(Diary, NSObject)
public:
    std::vector<std::string> entries;
    std::function<void()> also;
    void observeValueForKeyPath(std::string_view keyPath, const id&, const Ref<NSDictionary>& change, void*) {
        const auto shown = [&](std::string_view key) {
            const auto value = change->objectForKey(key);
            return value ? descriptionOf(value) : std::string("-");
        };
        const bool isPrior = unbox<bool>(change->objectForKey("notificationIsPrior")).value_or(false);
        entries.push_back(std::string(keyPath) + ": " + shown("old") + " -> " +
                          (isPrior ? "?" : shown("new")));
        if (also) {
            also();
        }
    }

protected:
    Diary() = default;
};
QZ_DEFINE_CLASS(Diary, cls) {
    cls.method("observeValueForKeyPath:ofObject:change:context:", &Diary::observeValueForKeyPath);
}

TEST(KeyValueCoding, ReadsAndWritesByName) {
    const auto issue = make<Issue>();
    setValueForKey(issue, "Monday", "title");
    setValueForKeyPath(issue, make<Issue>(), "next");
    setValueForKeyPath(issue, 8, "next.total");
    setValueForKeyPath(issue, 2.0, "next.read");
    EXPECT_EQ(valueForKey(issue, "title"), id("Monday"));
    EXPECT_EQ(valueForKeyPath(issue, "next.fraction"), id(0.25));
    EXPECT_EQ(valueForKey(issue, "finished"), id(false));
    EXPECT_EQ(valueForKey(issue, "isFinished"), id(false));
    EXPECT_FALSE(valueForKeyPath(issue, "next.next.title"));
    setValueForKeyPath(issue, "lost", "next.next.title");
    EXPECT_FALSE(valueForKey(nullptr, "title"));
    EXPECT_EQ(valueForKeyPath(NSDictionary::dictionary({{"issue", issue}}), "issue.title"), id("Monday"));

    EXPECT_THROW(static_cast<void>(valueForKey(issue, "pages")), NSException);
    EXPECT_THROW(static_cast<void>(valueForKey(issue, "isEqual:")), NSException);
    EXPECT_THROW(setValueForKey(issue, 1, "fraction"), NSException);
    EXPECT_THROW(setValueForKey(issue, nullptr, "read"), NSException);
    EXPECT_THROW(setValueForKey(issue, "much", "read"), NSException);
}

TEST(KeyValueObserving, TellsOldAndNewValues) {
    const auto issue = make<Issue>();
    const auto diary = make<Diary>();
    addObserver(issue, diary, "title", New | Old);
    addObserver(issue, diary, "next", New | Old | Prior);
    issue->setTitle("Monday");
    setValueForKey(issue, "Tuesday", "title");
    issue->setNext(nullptr);
    EXPECT_THAT(diary->entries, ElementsAre("title:  -> Monday", "title: Monday -> Tuesday",
                                            "next: <null> -> ?", "next: <null> -> <null>"));
    removeObserver(issue, diary, "title");
    removeObserver(issue, diary, "next");
    issue->setTitle("Wednesday");
    EXPECT_EQ(diary->entries.size(), 4U);
    removeObserver(issue, diary, "title");  // once more: nothing
    EXPECT_THROW(addObserver(issue, issue, "title"), NSException);
}

TEST(KeyValueObserving, AnnouncesWhatIsComputedFromAChange) {
    const auto issue = make<Issue>();
    const auto diary = make<Diary>();
    issue->setTotal(4);
    addObserver(issue, diary, "fraction", New | Old | Initial);
    addObserver(issue, diary, "finished", New);
    issue->setRead(1);
    issue->setRead(4);
    EXPECT_THAT(diary->entries, ElementsAre("fraction: - -> 0", "fraction: 0 -> 0.25", "finished: - -> 0",
                                            "fraction: 0.25 -> 1", "finished: - -> 1"));
}

TEST(KeyValueObserving, FollowsAKeyPathThroughExchangedObjects) {
    const auto issue = make<Issue>();
    const auto diary = make<Diary>();
    addObserver(issue, diary, "next.next.title", New | Old);
    const auto first = make<Issue>();
    const auto second = make<Issue>();
    second->setTitle("second");
    first->setNext(second);
    issue->setNext(first);
    second->setTitle("changed");
    const auto other = make<Issue>();
    other->setTitle("other");
    first->setNext(other);
    second->setTitle("unseen");
    issue->setNext(nullptr);
    other->setTitle("unseen");
    EXPECT_THAT(diary->entries,
                ElementsAre("next.next.title: <null> -> second", "next.next.title: second -> changed",
                            "next.next.title: changed -> other", "next.next.title: other -> <null>"));
    EXPECT_FALSE(internal::isObserved(*first));
    EXPECT_FALSE(internal::isObserved(*other));
}

TEST(KeyValueObserving, NestedAnnouncementsKeepTheirOldValues) {
    const auto issue = make<Issue>();
    const auto diary = make<Diary>();
    addObserver(issue, diary, "read", New | Old);
    addObserver(issue, diary, "total", New | Old);
    willChangeValueForKey(issue, "read");
    willChangeValueForKey(issue, "total");
    issue->setTotal(1);
    didChangeValueForKey(issue, "total");
    didChangeValueForKey(issue, "read");
    EXPECT_THAT(diary->entries, ElementsAre("total: 0 -> 1", "total: 0 -> 1", "read: 0 -> 0"));
}

TEST(KeyValueObserving, RegistrationsEndWithObserverAndObject) {
    auto issue = make<Issue>();
    const auto next = make<Issue>();
    issue->setNext(next);
    auto diary = make<Diary>();
    const auto kept = make<Diary>();
    addObserver(issue, diary, "title", New);
    addObserver(issue, kept, "title", New);
    addObserver(issue, kept, "next.title", New);
    // An observer that removes itself, and another, while it is being told.
    kept->also = [&] { removeObserver(issue, kept, "title"); };
    diary.reset();
    issue->setTitle("a");
    issue->setTitle("b");
    EXPECT_THAT(kept->entries, ElementsAre("title: - -> a"));
    kept->also = nullptr;
    issue.reset();
    EXPECT_FALSE(internal::isObserved(*next));
    next->setTitle("c");
    EXPECT_EQ(kept->entries.size(), 1U);
}

class Tally : public NSObject {
    QZ_OBJECT(Tally, NSObject)
public:
    std::atomic<int> count{0};

protected:
    Tally() = default;
};
QZ_DEFINE_CLASS(Tally, cls) {
    cls.method(
        "observeValueForKeyPath:ofObject:change:context:",
        [](Tally& self, std::string_view, const id&, const Ref<NSDictionary>&, void*) { ++self.count; });
}

TEST(KeyValueObserving, ObserversComeAndGoWhileAnotherThreadChanges) {
    const auto issue = make<Issue>();
    const auto steady = make<Tally>();
    addObserver(issue, steady, "title");
    std::atomic<bool> stop{false};
    int changes = 0;
    std::thread writer([&] {
        while (!stop) {
            issue->setTitle("x");
            ++changes;
        }
    });
    for (int round = 0; round < 500; ++round) {
        const auto passing = make<Tally>();
        addObserver(issue, passing, "title");
        if (round % 2 == 0) {
            removeObserver(issue, passing, "title");  // the others end by dying
        }
    }
    stop = true;
    writer.join();
    EXPECT_EQ(steady->count, changes);
}

}  // namespace qz::test
