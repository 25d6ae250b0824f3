// Objects moved into the subclasses of contexts, and what overrides do to them.
#include <gmock/gmock.h>

#include <barrier>
#include <mutex>
#include <set>
#include <thread>

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSObject/NSObject+QZDynamicSubclassing.h"

namespace qz::test {

using testing::MatchesRegex;
using testing::StartsWith;

constexpr auto uuid = "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";

class Label : public NSObject {
    QZ_OBJECT(Label, NSObject)
public:
    std::string title = "title";

protected:
    Label() = default;
};
QZ_DEFINE_CLASS(Label, cls) {
    cls.method("description", [](Label& self) { return self.title; });
    cls.method("scale:by:", [](Label&, int size, double factor) { return size * factor; });
}

class SmallLabel : public Label {
    QZ_OBJECT(SmallLabel, Label)
protected:
    SmallLabel() = default;
};
QZ_DEFINE_CLASS(SmallLabel, cls) {}

/// Serves as the subclass of Label in the context of its name.
class FancyLabel : public Label {
    QZ_OBJECT(FancyLabel, Label)
protected:
    FancyLabel() = default;
};
QZ_DEFINE_CLASS(FancyLabel, cls) {
    cls.method("description", [](FancyLabel& self) { return "fancy " + self.title; });
}

/// Cannot serve so: labels have no room for its member.
class BoxedLabel : public Label {
    QZ_OBJECT(BoxedLabel, Label)
protected:
    BoxedLabel() = default;
    [[maybe_unused]] std::array<char, 64> box_{};
};
QZ_DEFINE_CLASS(BoxedLabel, cls) {}

ImplementationProvider framing(const std::string& mark) {
    return [mark](Selector, const Implementation& inherited) -> Implementation {
        return [mark, inherited](Label& self) { return mark + inherited.call<std::string>(self) + mark; };
    };
}

TEST(DynamicSubclassing, CustomisesOneObject) {
    const auto label = make<Label>();
    const auto other = make<Label>();
    overrideSelectorIpmlementationProvider(label, "description"_sel, "Highlight", framing("*"));
    label->title = "news";
    EXPECT_EQ(label->description(), "*news*");
    EXPECT_EQ(other->description(), "title");
    EXPECT_THAT(label->isa().name(), MatchesRegex(std::string("Label_Highlight_") + uuid));
    EXPECT_EQ(NSClassFromString(label->isa().name()), &label->isa());

    // The class is shared, and with it the first override, whatever comes later.
    overrideSelectorImplementation(other, "description"_sel, "Highlight",
                                   [](Label&) { return std::string("later"); });
    EXPECT_EQ(&other->isa(), &label->isa());
    EXPECT_EQ(other->description(), "*title*");

    overrideSelectorIpmlementationProvider(nullptr, "description"_sel, "Highlight", framing("#"));
    EXPECT_FALSE(isSubclassedWihtContext(nullptr, "Highlight"));
}

TEST(DynamicSubclassing, ContextsStackAndAreKeptApart) {
    const auto label = make<Label>();
    overrideSelectorIpmlementationProvider(label, "description"_sel, "Bold", framing("*"));
    auto& bold = label->isa();
    subsclassWithContext(label, "Bold");
    EXPECT_EQ(&label->isa(), &bold);
    EXPECT_TRUE(isSubclassedWihtContext(label, "Bold"));
    EXPECT_FALSE(isSubclassedWihtContext(label, "Italic"));
    EXPECT_FALSE(isSubclassedWihtContext(make<Label>(), "Bold"));

    overrideSelectorIpmlementationProvider(label, "description"_sel, "Italic", framing("/"));
    EXPECT_THAT(label->isa().name(), MatchesRegex(bold.name() + "_Italic_" + uuid));
    EXPECT_EQ(label->description(), "/*title*/");
    EXPECT_TRUE(isSubclassedWihtContext(label, "Bold"));
    EXPECT_TRUE(isSubclassedWihtContext(label, "Italic"));

    const auto small = make<SmallLabel>();
    subsclassWithContext(small, "Bold");
    EXPECT_THAT(small->isa().name(), StartsWith("SmallLabel_Bold_"));
}

TEST(DynamicSubclassing, AdoptsTheClassNamedLikeTheContext) {
    const auto label = make<Label>();
    EXPECT_FALSE(isSubclassedWihtContext(make<FancyLabel>(), "FancyLabel"));  // not before its first use
    // What the class defines counts as its first override.
    overrideSelectorIpmlementationProvider(label, "description"_sel, "FancyLabel", framing("*"));
    EXPECT_EQ(&label->isa(), &FancyLabel::cls());
    EXPECT_EQ(label->description(), "fancy title");
    const auto born = make<FancyLabel>();  // is there already
    subsclassWithContext(born, "FancyLabel");
    EXPECT_EQ(&born->isa(), &FancyLabel::cls());
    EXPECT_TRUE(isSubclassedWihtContext(born, "FancyLabel"));
    const auto small = make<SmallLabel>();  // Label's subclass is not that of Label's subclasses
    subsclassWithContext(small, "FancyLabel");
    EXPECT_THAT(small->isa().name(), StartsWith("SmallLabel_FancyLabel_"));
    // A root stands for nothing; the context is one like any other.
    subsclassWithContext(small, "NSObject");
    EXPECT_THAT(small->isa().name(), StartsWith("SmallLabel_FancyLabel_"));
}

TEST(DynamicSubclassing, RefusesAnAdoptedClassWithMembers) {
    const auto label = make<Label>();
    EXPECT_THROW(overrideSelectorIpmlementationProvider(label, "title"_sel, "BoxedLabel", framing("*")),
                 NSException);
    EXPECT_THROW(subsclassWithContext(label, "BoxedLabel"), NSException);
    EXPECT_EQ(&label->isa(), &Label::cls());
    EXPECT_FALSE(BoxedLabel::cls().hasOwnMethod("title"_sel));
    EXPECT_FALSE(isSubclassedWihtContext(label, "BoxedLabel"));
    // The lock is free, and the context open to other classes.
    const auto small = make<SmallLabel>();
    std::thread([&] { subsclassWithContext(small, "BoxedLabel"); }).join();
    EXPECT_TRUE(isSubclassedWihtContext(small, "BoxedLabel"));
}

TEST(DynamicSubclassing, SetsInstanceVariablesUpOnce) {
    const auto first = make<Label>();
    const auto second = make<Label>();
    const auto fail = [](Class&) { throw std::runtime_error("no variables"); };
    EXPECT_THROW(subsclassWithContext(first, "Counting", fail), std::runtime_error);
    EXPECT_FALSE(isSubclassedWihtContext(first, "Counting"));

    int setUps = 0;
    for (const auto& label : {first, second}) {
        subsclassWithContext(label, "Counting", [&](Class& subclass) {
            ++setUps;
            EXPECT_TRUE(subclass.addInstanceVariable<int>("taps"));
            EXPECT_FALSE(isSubclassedWihtContext(first, "Counting"));  // does not wait
            EXPECT_THROW(subsclassWithContext(second, "Nested"), NSException);
        });
    }
    EXPECT_EQ(setUps, 1);
    overrideSelectorImplementation(first, "tap"_sel, "Counting", [](Label& self) {
        return ++*static_cast<int*>(instanceVariable(self, "taps"));
    });
    send(first, "tap"_sel);
    EXPECT_EQ(send<int>(first, "tap"_sel), 2);
    EXPECT_EQ(send<int>(second, "tap"_sel), 1);
}

TEST(DynamicSubclassing, OverridesWhatIsInherited) {
    const auto label = make<SmallLabel>();
    const auto doubling = [](Selector, const Implementation& inherited) -> Implementation {
        return [inherited](Label& self, long size, float factor) {
            return 2 * inherited.call<double>(self, size, factor);
        };
    };
    overrideSelectorIpmlementationProvider(label, "scale:by:"_sel, "Doubling", doubling);
    EXPECT_EQ(send<double>(label, "scale:by:"_sel, 3, 1.5), 9.0);
    EXPECT_EQ(label->isa().instanceMethod("scale:by:"_sel)->typeEncoding, "d@:id");  // the inherited one
    // Nothing to inherit: what is called instead forwards the message, here to nobody.
    overrideSelectorIpmlementationProvider(label, "fold:by:"_sel, "Doubling", doubling);
    EXPECT_EQ(label->isa().instanceMethod("fold:by:"_sel)->typeEncoding, "");
    EXPECT_THROW(send(label, "fold:by:"_sel, 3L, 1.5F), NSException);
    // Receivers of another class, and no provider.
    EXPECT_THROW(overrideSelectorImplementation(label, "length"_sel, "Doubling", [](NSString&) { return 0; }),
                 NSException);
    EXPECT_THROW(overrideSelectorIpmlementationProvider(label, "length"_sel, "Doubling", nullptr),
                 NSException);
}

TEST(DynamicSubclassing, WithoutContextTheWholeClassChanges) {
    const auto label = make<SmallLabel>();
    const auto other = make<SmallLabel>();
    overrideSelectorIpmlementationProvider(label, "description"_sel, framing("~"));
    overrideSelectorIpmlementationProvider(label, "description"_sel, framing("later "));
    EXPECT_EQ(&label->isa(), &SmallLabel::cls());
    EXPECT_EQ(other->description(), "~title~");
    EXPECT_EQ(superClassPerformSelector(other, Label::cls(), "description"_sel), id("title"));
    EXPECT_EQ(superClassPerformSelector(other, SmallLabel::cls(), "description"_sel), id("~title~"));
    EXPECT_THROW(superClassPerformSelector(other, NSObject::cls(), "scale:by:"_sel), NSException);
}

TEST(DynamicSubclassing, ThreadsShareOneClass) {
    constexpr int rounds = 50;
    constexpr int threadCount = 4;
    std::barrier barrier(threadCount);
    std::mutex mutex;
    std::vector<std::set<const Class*>> classes(rounds);
    std::vector<Ref<Label>> shared(rounds);
    std::ranges::generate(shared, [] { return make<Label>(); });
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::size_t round = 0; round < rounds; ++round) {
                const auto context = "Race" + std::to_string(round);
                const auto own = make<Label>();
                barrier.arrive_and_wait();
                // All move one object, in two contexts, while they move and change objects of their own.
                subsclassWithContext(shared[round], thread % 2 ? context : context + "B");
                overrideSelectorIpmlementationProvider(own, "description"_sel, context, framing("*"));
                EXPECT_TRUE(isSubclassedWihtContext(own, context));
                EXPECT_EQ(own->description(), "*title*");
                const std::lock_guard lock(mutex);
                classes[round].insert(&own->isa());
            }
        });
    }
    threads.clear();
    for (std::size_t round = 0; round < rounds; ++round) {
        const auto context = "Race" + std::to_string(round);
        ASSERT_EQ(classes[round].size(), 1U);
        EXPECT_EQ((*classes[round].begin())->superclass(), &Label::cls());
        for (const auto& either : {context, context + "B"}) {
            EXPECT_TRUE(isSubclassedWihtContext(shared[round], either));
            // Whichever came first, labels still have a subclass in both.
            const auto later = make<Label>();
            subsclassWithContext(later, either);
            EXPECT_TRUE(isSubclassedWihtContext(later, either));
        }
    }
}

}  // namespace qz::test
