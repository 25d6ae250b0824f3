// Observing with blocks, weak arrays and observables.
#include <gmock/gmock.h>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueCoding.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "QZUtils/Extensions/NSObject/NSObject+KVO.h"
#include "QZUtils/Observation/Observable.h"

namespace qz::test {

using testing::ElementsAre;
using testing::IsEmpty;

class Page : public NSObject {
    QZ_OBJECT(Page, NSObject)
public:
    int ab() const { return number_; }
    void setAb(int number) {
        changing(*this, "ab", [&] { number_ = number; });
    }

protected:
    Page() = default;

private:
    int number_ = 0;
};
QZ_DEFINE_CLASS(Page, cls) {
    cls.property("ab", &Page::ab, &Page::setAb);
    cls.property("a", &Page::ab);
    cls.dependsOn("a", {"ab"});
}

struct Notes {
    std::vector<std::string> lines;
    QZKeyPathBlockObserver::ObserverBlock block(std::string name) {
        return [this, name = std::move(name)](const id& object, const Ref<NSDictionary>& change) {
            EXPECT_TRUE(object.as<Page>());
            lines.push_back(name + " " + descriptionOf(change->objectForKey("old")) + "-" +
                            descriptionOf(change->objectForKey("new")));
        };
    }
};

TEST(BlockObserver, LastsAsLongAsItIsKept) {
    auto page = make<Page>();
    Notes notes;
    auto observer = observeKeyPath(page, "ab", notes.block("first"));
    EXPECT_EQ(observer->object().get(), page.get());
    EXPECT_EQ(valueForKey(observer, "keyPath"), id("ab"));
    page->setAb(1);
    observer->setObserverBlock(
        [&](const id&, const Ref<NSDictionary>&) { observer->setObserverBlock(notes.block("third")); });
    page->setAb(2);  // replaces the block that is running
    page->setAb(3);
    observer.reset();
    page->setAb(4);
    EXPECT_THAT(notes.lines, ElementsAre("first 0-1", "third 2-3"));
    EXPECT_FALSE(internal::isObserved(*page));

    // One whose fields were changed still goes with its registration; one that outlives its object reads nil.
    observer = observeKeyPath(page, "ab", notes.block("changed"));
    observer->setKeyPath("elsewhere");
    observer.reset();
    page->setAb(5);
    EXPECT_EQ(notes.lines.size(), 2U);
    observer = observeKeyPath(page, "ab", notes.block("orphan"));
    page.reset();
    EXPECT_FALSE(observer->object());
    EXPECT_FALSE(observeKeyPath(nullptr, "ab", notes.block("nil")));
}

TEST(BlockObserver, TableReplacesByConcatenatedKey) {
    const auto page = make<Page>();
    Notes notes;
    setBlockObserverForKeyPath(page, "ab", notes.block("one"));
    setBlockObserverForKeyPath(page, "ab", notes.block("two"));
    setBlockObserverForKeyPath(page, "a", "bc", notes.block("three"));
    page->setAb(1);
    EXPECT_THAT(notes.lines, ElementsAre("two 0-1", "three 0-1"));
    notes.lines.clear();

    setBlockObserverForKeyPath(page, "ab", "c", notes.block("four"));  // shares the key "abc"
    EXPECT_EQ(blockObservers(page)->count(), 2U);
    EXPECT_EQ(keyWithKeyPath(page, "ab", nullptr), "ab");
    page->setAb(2);
    EXPECT_THAT(notes.lines, ElementsAre("two 1-2", "four 1-2"));
    notes.lines.clear();

    removeBlockObserverForKeyPath(page, "ab");
    page->setAb(3);
    EXPECT_THAT(notes.lines, ElementsAre("four 2-3"));
    removeBlockObserverForKeyPath(page, "a", "bc");
    EXPECT_FALSE(internal::isObserved(*page));
    setBlockObserverForKeyPath(page, "a", [&](const id& object, const Ref<NSDictionary>&) {
        notes.lines.emplace_back("once");
        removeAllBlockObservers(object);  // a block that ends its own registration
    });
    page->setAb(4);
    page->setAb(5);
    EXPECT_THAT(notes.lines, ElementsAre("four 2-3", "once"));
    setBlockObserverForKeyPath(nullptr, "a", notes.block("nil"));
    EXPECT_FALSE(blockObservers(nullptr));
}

TEST(WeakArray, CountsEmptySlotsUntilAPass) {
    auto one = std::make_shared<int>(1);
    auto two = std::make_shared<int>(2);
    auto three = std::make_shared<int>(3);
    WeakArray<int> array(one, two);
    array.append(three);
    two.reset();
    EXPECT_EQ(array.count(), 3U);
    EXPECT_EQ(*array[2], 3);
    EXPECT_FALSE(array[1]);
    EXPECT_FALSE(array[3]);
    std::vector<int> seen;
    array.forEach(true, [&](const std::shared_ptr<int>& value) { seen.push_back(*value); });
    EXPECT_THAT(seen, ElementsAre(3, 1));
    EXPECT_EQ(array.count(), 2U);

    // A callback that releases, appends and walks the array itself: the pass around it goes on undisturbed.
    const auto four = std::make_shared<int>(4);
    seen.clear();
    array.forEach([&](const std::shared_ptr<int>& value) {
        seen.push_back(*value);
        if (*value == 1) {
            one.reset();
            array.append(four);
            array.forEach([](const auto&) {});
        }
    });
    EXPECT_THAT(seen, ElementsAre(1, 3));
    seen.clear();
    array.forEach([&](const std::shared_ptr<int>& value) { seen.push_back(*value); });
    EXPECT_THAT(seen, ElementsAre(3, 4));
}

/// A plain C++ value that publishes.
struct Clock : Observable<std::function<void(int)>> {
    void strike(int hour) {
        observers().forEach([&](const auto& observer) { observer->callback(hour); });
    }
};

TEST(Observable, SubscribersStayAsLongAsTheirToken) {
    Clock clock;
    std::vector<int> heard;
    auto token = clock.observe([&](int hour) { heard.push_back(hour); });
    const auto other = clock.observe([&](int hour) { heard.push_back(-hour); });
    Clock copy = clock;
    copy.strike(1);
    EXPECT_THAT(heard, IsEmpty());
    clock.strike(2);
    token.reset();
    clock.strike(3);
    EXPECT_THAT(heard, ElementsAre(2, -2, -3));
    EXPECT_EQ(clock.observers().count(), 1U);
}

}  // namespace qz::test
