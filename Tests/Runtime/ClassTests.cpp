// Classes: names, classes made at run time, objects moved between them, instance variables, lifetime.
#include <gmock/gmock.h>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"

namespace qz::test {

class Label : public NSObject {
    QZ_OBJECT(Label, NSObject)
public:
    static inline std::string log;
    ~Label() override { log += "destructor;"; }

protected:
    Label() = default;
    void dealloc() override {
        log += "dealloc of " + isa().name() + ";";
        Super::dealloc();
    }

private:
    [[maybe_unused]] int width_ = 0;
};
QZ_DEFINE_CLASS(Label, cls) {
    cls.method("description", [](const Label&) { return std::string("label"); });
}

/// Adds methods over Label and no members: instances of Label can be moved into it.
class LoudLabel : public Label {
    QZ_OBJECT(LoudLabel, Label)
protected:
    LoudLabel() = default;
};
QZ_DEFINE_CLASS(LoudLabel, cls) {
    cls.method("description", [](LoudLabel& self) {
        return "LOUD " + sendSuper<std::string>(self, Label::cls(), "description"_sel);
    });
}

QZ_DEFINE_CATEGORY(Label, Printing, cls) {
    cls.method("print", [](Label& self) { return "printed " + self.description(); });
}
QZ_DEFINE_CATEGORY(LoudLabel, Printing, cls) {
    cls.method("print",
               [](LoudLabel& self) { return sendSuper<std::string>(self, Label::cls(), "print"_sel) + "!"; });
}

/// A category that takes a name of the class itself, which cannot say which of the two is meant.
class Contested : public NSObject {
    QZ_OBJECT(Contested, NSObject)
protected:
    Contested() = default;
};
QZ_DEFINE_CLASS(Contested, cls) {
    cls.method("print", [](Contested&) {});
}
QZ_DEFINE_CATEGORY(Contested, Printing, cls) {
    cls.method("print", [](Contested&) {});
}

class WideLabel : public Label {
    QZ_OBJECT(WideLabel, Label)
protected:
    WideLabel() = default;
    [[maybe_unused]] std::array<char, 64> margin_{};
};
QZ_DEFINE_CLASS(WideLabel, cls) {}

/// A second class of that name, which must not get in.
class Impostor : public NSObject {
    QZ_OBJECT(Impostor, NSObject)
protected:
    Impostor() = default;
};
QZ_DEFINE_CLASS_NAMED(Impostor, "TakenTwice", cls) {}
class OtherImpostor : public NSObject {
    QZ_OBJECT(OtherImpostor, NSObject)
protected:
    OtherImpostor() = default;
};
QZ_DEFINE_CLASS_NAMED(OtherImpostor, "TakenTwice", cls) {}

TEST(Classes, AreFoundByNameBeforeTheirFirstUse) {
    auto* found = NSClassFromString("WideLabel");
    ASSERT_TRUE(found);
    EXPECT_EQ(found, &WideLabel::cls());
    EXPECT_EQ(NSStringFromClass(*found), "WideLabel");
    EXPECT_EQ(found->superclass(), &Label::cls());
    EXPECT_EQ(NSClassFromString("NoSuchClass"), nullptr);
    EXPECT_TRUE(found->isSubclassOf(NSObject::cls()));
    EXPECT_FALSE(Label::cls().isSubclassOf(*found));
    EXPECT_EQ(Label::cls().makeInstance()->description(), "label");
    EXPECT_THROW(static_cast<void>(NSString::cls().makeInstance()), NSException);
}

TEST(Classes, OneNameIsOneClass) {
    EXPECT_THROW(static_cast<void>(Impostor::cls()), NSException);
    EXPECT_THROW(static_cast<void>(OtherImpostor::cls()), NSException);
    EXPECT_THROW(static_cast<void>(Class::allocate(NSObject::cls(), "Label")), NSException);
    auto& first = Class::allocate(Label::cls(), "MadeTwice");
    auto& second = Class::allocate(Label::cls(), "MadeTwice");
    EXPECT_EQ(NSClassFromString("MadeTwice"), nullptr);
    first.registerClass();
    EXPECT_THROW(second.registerClass(), NSException);
    EXPECT_EQ(NSClassFromString("MadeTwice"), &first);
}

TEST(Classes, ObjectsMoveIntoClassesThatFitThem) {
    const auto label = make<Label>();
    EXPECT_EQ(&setClass(*label, LoudLabel::cls()), &Label::cls());
    EXPECT_EQ(label->description(), "LOUD label");
    EXPECT_TRUE(label->isKindOfClass(LoudLabel::cls()));
    EXPECT_EQ(&label->declaredClass(), &Label::cls());
    EXPECT_EQ(&setClass(*label, Label::cls()), &LoudLabel::cls());
    EXPECT_EQ(label->description(), "label");

    auto& unregistered = Class::allocate(Label::cls(), "UnregisteredLabel");
    auto& grown = Class::allocate(WideLabel::cls(), "GrownLabel");
    grown.registerClass();
    for (auto* refused : {&WideLabel::cls(), &grown, &NSString::cls(), &NSObject::cls(), &unregistered}) {
        EXPECT_THROW(setClass(*label, *refused), NSException) << refused->name();
        EXPECT_EQ(&label->isa(), &Label::cls());
    }
}

TEST(Classes, MethodsBelongToTheClassTheyWereAddedTo) {
    auto& quiet = Class::allocate(Label::cls(), "QuietLabel");
    EXPECT_TRUE(quiet.addMethod("description"_sel, [](Label& self) {
        return "quiet " + sendSuper<std::string>(self, *NSClassFromString("QuietLabel")->superclass(),
                                                 "description"_sel);
    }));
    EXPECT_TRUE(quiet.addMethod(
        "volume"_sel, [](Object&) { return 3; }, ""));
    quiet.registerClass();
    const auto plain = make<Label>();
    const auto moved = quiet.makeInstance();
    EXPECT_EQ(moved->description(), "quiet label");
    EXPECT_EQ(descriptionOf(id(moved)), "quiet label");
    EXPECT_EQ(plain->description(), "label");
    EXPECT_EQ(quiet.instanceMethod("volume"_sel)->typeEncoding, "");
    EXPECT_EQ(quiet.instanceMethod("description"_sel)->typeEncoding, "*@:");
    EXPECT_TRUE(quiet.hasOwnMethod("description"_sel));
    EXPECT_FALSE(quiet.hasOwnMethod("hash"_sel));

    // A block for receivers of another class would see the wrong type.
    EXPECT_THROW(quiet.addMethod("length"_sel, [](NSString& self) { return self.length(); }), NSException);
    EXPECT_THROW(quiet.addMethod("length"_sel, [](Class&) { return 1; }), NSException);
    EXPECT_THROW(quiet.addClassMethod("length"_sel, [](Label&) { return 1; }), NSException);
    const Implementation forStrings = [](NSString& self) { return self.length(); };
    EXPECT_THROW(forStrings.call<std::size_t>(*moved), NSException);

    // Hosts add to classes of the library, on both sides; subclasses inherit the class side too.
    EXPECT_TRUE(
        NSArray::cls().addClassMethod("shelfCount"_sel, [](Class& cls) { return cls.name().size(); }));
    EXPECT_EQ(send<std::size_t>(NSMutableArray::cls(), "shelfCount"_sel), 14U);
}

TEST(Classes, CategoriesBelongToTheClassFromItsFirstUse) {
    EXPECT_TRUE(Label::cls().hasOwnMethod("print"_sel));
    EXPECT_EQ(send<std::string>(make<Label>(), "print"_sel), "printed label");
    EXPECT_EQ(send<std::string>(make<LoudLabel>(), "print"_sel), "printed LOUD label!");
    EXPECT_THROW(static_cast<void>(Contested::cls()), NSException);
}

TEST(InstanceVariables, AreZeroedAndStayInPlace) {
    auto& first = Class::allocate(Label::cls(), "CountedLabel");
    EXPECT_TRUE(first.addInstanceVariable<char>("flag"));
    EXPECT_TRUE(first.addInstanceVariable<double>("count"));
    EXPECT_FALSE(first.addInstanceVariable<int>("flag"));
    EXPECT_FALSE(first.addInstanceVariable("odd", 4, 3));
    first.registerClass();
    EXPECT_FALSE(first.addInstanceVariable<int>("late"));
    EXPECT_FALSE(Label::cls().addInstanceVariable<int>("onNative"));
    auto& second = Class::allocate(first, "TwiceCountedLabel");
    EXPECT_FALSE(second.addInstanceVariable<char>("flag"));
    EXPECT_TRUE(second.addInstanceVariable<int>("more"));
    second.registerClass();

    const auto label = make<Label>();
    EXPECT_EQ(instanceVariable(*label, "count"), nullptr);
    setClass(*label, first);
    auto* count = static_cast<double*>(instanceVariable(*label, "count"));
    ASSERT_TRUE(count);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(count) % alignof(double), 0U);
    EXPECT_EQ(*count, 0.0);
    *count = 4.5;
    setClass(*label, second);
    EXPECT_EQ(instanceVariable(*label, "count"), count);
    EXPECT_EQ(*count, 4.5);
    EXPECT_EQ(*static_cast<int*>(instanceVariable(*label, "more")), 0);
}

TEST(Lifetime, DeallocRunsOnAWholeObject) {
    Label::log.clear();
    { const auto label = make<LoudLabel>(); }
    EXPECT_EQ(Label::log, "dealloc of LoudLabel;destructor;");

    Label::log.clear();
    auto& mortal = Class::allocate(Label::cls(), "MortalLabel");
    mortal.addMethod("dealloc"_sel,
                     [](Label& self) { Label::log += "override sees " + self.description() + ";"; });
    mortal.registerClass();
    { const auto label = mortal.makeInstance(); }
    EXPECT_EQ(Label::log, "override sees label;dealloc of MortalLabel;destructor;");
}

TEST(AssociatedValues, AreHeldAsAskedAndReleasedWithTheObject) {
    static constexpr char key = 0;
    static constexpr char other = 0;
    auto label = make<Label>();
    auto value = NSMutableArray::arrayWithObjects({1});
    const std::weak_ptr<Object> watched = value;
    EXPECT_FALSE(associatedValue(label, &key));
    setAssociatedValue(label, &key, value);
    setAssociatedValue(label, &other, value, AssociationPolicy::Copy);
    EXPECT_EQ(associatedValue(label, &key).get(), value.get());
    value->addObject(2);
    EXPECT_EQ(associatedValue(label, &other).as<NSArray>()->count(), 1U);
    value.reset();
    EXPECT_FALSE(watched.expired());
    label.reset();
    EXPECT_TRUE(watched.expired());

    label = make<Label>();
    auto held = make<Label>();
    setAssociatedValue(label, &key, held, AssociationPolicy::Weak);
    EXPECT_EQ(associatedValue(label, &key).get(), held.get());
    held.reset();
    EXPECT_FALSE(associatedValue(label, &key));
    setAssociatedValue(label, &key, nullptr);
    setAssociatedValue(nullptr, &key, 1);
    EXPECT_FALSE(associatedValue(nullptr, &key));
}

}  // namespace qz::test
