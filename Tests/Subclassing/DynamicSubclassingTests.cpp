// Objects moved into the subclasses of contexts, and what overrides do to them.
#include <gmock/gmock.h>

#include <barrier>
#include <set>
#include <thread>

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSObject/NSObject+QZDynamicSubclassing.h"

namespace qz::test {

using testing::MatchesRegex;
using testing::StartsWith;

constexpr auto uuid = "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";

class Label : public NSObject {
    QZ_OBJECT(Label, NSObject)
public:
    void setTitle(std::string title) { title_ = std::move(title); }
    const std::string& title() const { return title_; }

protected:
    Label() = default;

private:
    std::string title_ = "title";
};
QZ_DEFINE_CLASS(Label, cls) {
    cls.property("title", &Label::title, &Label::setTitle);
    cls.method("description", &Label::title);
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
    cls.method("description", [](const FancyLabel& self) { return "fancy " + self.title(); });
}

/// Cannot serve so: labels have no room for its member.
class BoxedLabel : public Label {
    QZ_OBJECT(BoxedLabel, Label)
protected:
    BoxedLabel() = default;
    [[maybe_unused]] std::array<char, 64> box_{};
};
QZ_DEFINE_CLASS(BoxedLabel, cls) {}

Implementation saying(std::string text) {
    return [text](Label&) { return text; };
}

ImplementationProvider framing(std::string mark) {
    return [mark](Selector selector, Implementation inherited) -> Implementation {
        EXPECT_EQ(selector, "description"_sel);
        return [mark, inherited](Label& self) { return mark + inherited.call<std::string>(self) + mark; };
    };
}

TEST(DynamicSubclassing, CustomisesOneObject) {
    const auto label = make<Label>();
    const auto other = make<Label>();
    const Ref<Object> nobody;
    overrideSelectorIpmlementationProvider(label, "description"_sel, "Highlight", framing("*"));
    EXPECT_EQ(label->description(), "*title*");
    label->setTitle("news");
    EXPECT_EQ(send<std::string>(label, "description"_sel), "*news*");
    EXPECT_EQ(other->description(), "title");
    EXPECT_THAT(label->isa().name(), MatchesRegex(std::string("Label_Highlight_") + uuid));
    EXPECT_EQ(NSClassFromString(label->isa().name()), &label->isa());
    EXPECT_EQ(label->isa().superclass(), &Label::cls());

    // The class is shared, and with it the first override, whatever comes later.
    overrideSelectorImplementation(other, "description"_sel, "Highlight", saying("later"));
    EXPECT_EQ(&other->isa(), &label->isa());
    EXPECT_EQ(other->description(), "*title*");
    overrideSelectorIpmlementationProvider(label, "description"_sel, "Highlight", framing("#"));
    EXPECT_EQ(label->description(), "*news*");

    subsclassWithContext(nobody, "Highlight");
    overrideSelectorImplementation(nobody, "description"_sel, "Highlight", saying("nobody"));
    overrideSelectorIpmlementationProvider(nobody, "description"_sel, framing("#"));
    EXPECT_FALSE(isSubclassedWihtContext(nobody, "Highlight"));
    EXPECT_FALSE(superClassPerformSelector(nobody, Label::cls(), "description"_sel));
}

TEST(DynamicSubclassing, ContextsStackAndAreKeptApart) {
    const auto label = make<Label>();
    EXPECT_FALSE(isSubclassedWihtContext(label, "Bold"));
    subsclassWithContext(label, "Bold");
    auto& bold = label->isa();
    subsclassWithContext(label, "Bold");
    EXPECT_EQ(&label->isa(), &bold);
    EXPECT_TRUE(isSubclassedWihtContext(label, "Bold"));
    EXPECT_FALSE(isSubclassedWihtContext(label, "Italic"));
    EXPECT_FALSE(isSubclassedWihtContext(make<Label>(), "Bold"));

    overrideSelectorIpmlementationProvider(label, "description"_sel, "Bold", framing("*"));
    overrideSelectorIpmlementationProvider(label, "description"_sel, "Italic", framing("/"));
    EXPECT_THAT(label->isa().name(), MatchesRegex(bold.name() + "_Italic_" + uuid));
    EXPECT_EQ(label->description(), "/*title*/");
    EXPECT_TRUE(isSubclassedWihtContext(label, "Bold"));
    EXPECT_TRUE(isSubclassedWihtContext(label, "Italic"));

    // Another class has a subclass of its own in the same context, even a subclass of the first.
    const auto small = make<SmallLabel>();
    subsclassWithContext(small, "Bold");
    EXPECT_THAT(small->isa().name(), StartsWith("SmallLabel_Bold_"));
    EXPECT_EQ(small->description(), "title");
}

TEST(DynamicSubclassing, AdoptsTheClassNamedLikeTheContext) {
    const auto label = make<Label>();
    const auto small = make<SmallLabel>();
    EXPECT_FALSE(isSubclassedWihtContext(make<FancyLabel>(), "FancyLabel"));  // not before its first use
    subsclassWithContext(small, "FancyLabel");  // it is Label's subclass, not that of Label's subclasses
    EXPECT_THAT(small->isa().name(), StartsWith("SmallLabel_FancyLabel_"));
    subsclassWithContext(label, "FancyLabel");
    EXPECT_EQ(&label->isa(), &FancyLabel::cls());
    EXPECT_EQ(label->description(), "fancy title");
    EXPECT_TRUE(isSubclassedWihtContext(label, "FancyLabel"));
    EXPECT_TRUE(isSubclassedWihtContext(make<FancyLabel>(), "FancyLabel"));
    EXPECT_FALSE(isSubclassedWihtContext(make<Label>(), "FancyLabel"));
    // What the class defines counts as its first override.
    overrideSelectorImplementation(label, "description"_sel, "FancyLabel", saying("other"));
    EXPECT_EQ(label->description(), "fancy title");

    // An object that is in another class of the context's by itself stays there.
    const auto born = make<FancyLabel>();
    subsclassWithContext(born, "FancyLabel");
    EXPECT_EQ(&born->isa(), &FancyLabel::cls());

    // A root stands for nothing; the context is one like any other.
    const auto rooted = make<Label>();
    subsclassWithContext(rooted, "NSObject");
    EXPECT_THAT(rooted->isa().name(), StartsWith("Label_NSObject_"));
}

TEST(DynamicSubclassing, RefusesAnAdoptedClassWithMembers) {
    const auto label = make<Label>();
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_THROW(subsclassWithContext(label, "BoxedLabel"), NSException);
        EXPECT_THROW(overrideSelectorImplementation(label, "title"_sel, "BoxedLabel", saying("x")),
                     NSException);
    }
    EXPECT_EQ(&label->isa(), &Label::cls());
    EXPECT_FALSE(BoxedLabel::cls().hasOwnMethod("title"_sel));
    EXPECT_FALSE(isSubclassedWihtContext(label, "BoxedLabel"));
    // Other classes may use the context, and from any thread: the lock is free.
    const auto small = make<SmallLabel>();
    std::thread([&] { subsclassWithContext(small, "BoxedLabel"); }).join();
    EXPECT_TRUE(isSubclassedWihtContext(small, "BoxedLabel"));
}

TEST(DynamicSubclassing, SetsInstanceVariablesUpOnce) {
    const auto first = make<Label>();
    const auto second = make<Label>();
    EXPECT_THROW(
        subsclassWithContext(first, "Counting", [](Class&) { throw std::runtime_error("no variables"); }),
        std::runtime_error);
    EXPECT_EQ(&first->isa(), &Label::cls());
    EXPECT_FALSE(isSubclassedWihtContext(first, "Counting"));

    int setUps = 0;
    const auto setUp = [&](Class& subclass) {
        ++setUps;
        EXPECT_TRUE(subclass.addInstanceVariable<int>("taps"));
        EXPECT_EQ(NSClassFromString(subclass.name()), nullptr);  // registered afterwards
        EXPECT_FALSE(isSubclassedWihtContext(first, "Counting"));
        EXPECT_THROW(subsclassWithContext(second, "Nested"), NSException);
    };
    for (const auto& label : {first, second, first}) {
        subsclassWithContext(label, "Counting", setUp);
    }
    EXPECT_EQ(setUps, 1);
    EXPECT_FALSE(isSubclassedWihtContext(second, "Nested"));

    overrideSelectorImplementation(first, "tap"_sel, "Counting", [](Label& self) {
        return ++*static_cast<int*>(instanceVariable(self, "taps"));
    });
    send(first, "tap"_sel);
    EXPECT_EQ(send<int>(first, "tap"_sel), 2);
    EXPECT_EQ(send<int>(second, "tap"_sel), 1);
}

TEST(DynamicSubclassing, OverridesWhatIsInherited) {
    const auto label = make<SmallLabel>();
    // Arguments go through; the method keeps the type encoding of the one it overrides.
    overrideSelectorIpmlementationProvider(label, "scale:by:"_sel, "Doubling",
                                           [](Selector, Implementation inherited) -> Implementation {
                                               return [inherited](Label& self, int size, double factor) {
                                                   return 2 * inherited.call<double>(self, size, factor);
                                               };
                                           });
    EXPECT_EQ(send<double>(label, "scale:by:"_sel, 3, 1.5), 9.0);
    EXPECT_EQ(label->isa().instanceMethod("scale:by:"_sel)->typeEncoding, "d@:id");
    overrideSelectorImplementation(label, "fold:"_sel, "Doubling", [](Label&, int times) { return times; });
    EXPECT_EQ(send<int>(label, "fold:"_sel, 4), 4);
    EXPECT_EQ(label->isa().instanceMethod("fold:"_sel)->typeEncoding, "");

    // Nothing to inherit: what is called instead forwards the message, here to nobody.
    overrideSelectorIpmlementationProvider(label, "unfold"_sel, "Doubling",
                                           [](Selector, Implementation inherited) -> Implementation {
                                               return [inherited](Label& self) { inherited.call(self); };
                                           });
    EXPECT_TRUE(label->respondsToSelector("unfold"_sel));
    EXPECT_THROW(send(label, "unfold"_sel), NSException);

    EXPECT_THROW(overrideSelectorImplementation(label, "length"_sel, "Doubling",
                                                [](NSString& self) { return self.length(); }),
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
    EXPECT_EQ(make<Label>()->description(), "title");
    EXPECT_EQ(superClassPerformSelector(other, Label::cls(), "description"_sel), id("title"));
    EXPECT_EQ(superClassPerformSelector(other, SmallLabel::cls(), "description"_sel), id("~title~"));
    EXPECT_THROW(superClassPerformSelector(other, NSObject::cls(), "title"_sel), NSException);
}

TEST(DynamicSubclassing, ThreadsShareOneClass) {
    constexpr int rounds = 50;
    constexpr int threadCount = 4;
    std::barrier barrier(threadCount);
    std::vector<std::set<const Class*>> classes(rounds);
    std::mutex mutex;
    std::vector<Ref<Label>> shared;
    for (int round = 0; round < rounds; ++round) {
        shared.push_back(make<Label>());
    }
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < rounds; ++round) {
                const auto context = "Race" + std::to_string(round);
                const auto own = make<Label>();
                barrier.arrive_and_wait();
                // The same object is moved by all of them, in two contexts, while others look.
                const auto& object = shared[static_cast<std::size_t>(round)];
                subsclassWithContext(object, thread % 2 ? context : context + "B");
                overrideSelectorIpmlementationProvider(own, "description"_sel, context, framing("*"));
                EXPECT_TRUE(isSubclassedWihtContext(own, context));
                EXPECT_EQ(own->description(), "*title*");
                EXPECT_FALSE(isSubclassedWihtContext(own, context + "B"));
                const std::lock_guard lock(mutex);
                classes[static_cast<std::size_t>(round)].insert(&own->isa());
            }
        });
    }
    threads.clear();
    for (int round = 0; round < rounds; ++round) {
        const auto index = static_cast<std::size_t>(round);
        const auto context = "Race" + std::to_string(round);
        EXPECT_EQ(classes[index].size(), 1U);
        EXPECT_EQ((*classes[index].begin())->superclass(), &Label::cls());
        EXPECT_TRUE(isSubclassedWihtContext(shared[index], context));
        EXPECT_TRUE(isSubclassedWihtContext(shared[index], context + "B"));
    }
}

}  // namespace qz::test
