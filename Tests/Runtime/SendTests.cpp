// Messages: what is found, converted, forwarded and refused.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Send.h"

namespace qz::test {

struct ShelfDelegate {
    QZ_PROTOCOL(ShelfDelegate)
    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        if constexpr (requires { &T::shelfDidOpen; }) {
            cls.method("shelfDidOpen:", &T::shelfDidOpen);
        }
        if constexpr (requires { &T::shelfDidClose; }) {
            cls.method("shelfDidClose:", &T::shelfDidClose);
        }
    }
};

class Shelf : public NSObject {
    QZ_OBJECT(Shelf, NSObject)
public:
    int add(int left, int right) { return left + right; }
    std::string join(std::string_view left, const std::string& right) const {
        return std::string(left) + right;
    }
    id take(const Ref<Object>& object) { return object; }
    bool isNil(Text text) { return !text; }
    void keep(const Ref<Shelf>& other) { kept = other; }
    void shelfDidOpen(const Ref<Shelf>& shelf) { kept = shelf; }
    void fill(int* out) { *out = 7; }

    std::weak_ptr<Shelf> kept;

protected:
    Shelf() = default;
};

QZ_DEFINE_CLASS(Shelf, cls) {
    cls.method("add:to:", &Shelf::add);
    cls.method("join:with:", &Shelf::join);
    cls.method("take:", &Shelf::take);
    cls.method("isNil:", &Shelf::isNil);
    cls.method("keep:", &Shelf::keep);
    cls.method("fill:", &Shelf::fill);
    cls.method("list:", [](Shelf&, const std::vector<std::string>& list) { return list.size(); });
    cls.classMethod("name", [](Class& receiver) { return receiver.name(); });
    cls.adopts<ShelfDelegate>();
}

class TallShelf : public Shelf {
    QZ_OBJECT(TallShelf, Shelf)
protected:
    TallShelf() = default;
};
QZ_DEFINE_CLASS(TallShelf, cls) {
    cls.method("description", [](const TallShelf&) { return std::string("tall"); });
}

/// Hands every message to another object and counts them.
class Relay : public NSProxy {
    QZ_OBJECT(Relay, NSProxy)
public:
    Ref<Object> target;
    int count = 0;
    Ref<NSMethodSignature> methodSignatureForSelector(Selector selector) const override {
        return target->methodSignatureForSelector(selector);
    }
    void forwardInvocation(NSInvocation& invocation) override {
        ++count;
        invocation.invokeWithTarget(target);
    }

protected:
    Relay() = default;
};
QZ_DEFINE_CLASS(Relay, cls) {}

template <class F>
std::string exceptionName(F&& block) {
    try {
        block();
    } catch (const NSException& exception) {
        return exception.name();
    }
    return "none";
}

TEST(Send, MatchesConvertsAndYieldsDefaults) {
    const auto shelf = make<Shelf>();
    EXPECT_EQ(send<int>(shelf, "add:to:"_sel, 2, 3), 5);
    EXPECT_EQ(send<double>(shelf, "add:to:"_sel, 2L, id(3)), 5.0);  // widened, unboxed, result converted
    EXPECT_EQ(send<std::string>(shelf, "join:with:"_sel, "a", "b"), "ab");
    EXPECT_EQ(send<std::string>(shelf, "join:with:"_sel, id("a"), std::string("b")), "ab");
    EXPECT_EQ(send<id>(shelf, "take:"_sel, 5), id(5));
    EXPECT_EQ(send<id>(shelf, "take:"_sel, nullptr), id());
    EXPECT_TRUE(send<bool>(shelf, "isNil:"_sel, nullptr));
    EXPECT_FALSE(send<bool>(shelf, "isNil:"_sel, ""));
    EXPECT_EQ(send<std::size_t>(shelf, "list:"_sel, std::vector<std::string>{"a", "b"}), 2U);
    send(shelf, "add:to:"_sel, 1, 2);  // a result may be dropped
    int filled = 0;
    send(shelf, "fill:"_sel, &filled);
    EXPECT_EQ(filled, 7);
    const auto tall = make<TallShelf>();
    send(shelf, "keep:"_sel, tall);  // a derived reference where the base is taken
    EXPECT_EQ(shelf->kept.lock(), tall);
    EXPECT_EQ(send<int>(nullptr, "add:to:"_sel, 2, 3), 0);
    EXPECT_EQ(send<std::string>(TallShelf::cls(), "name"_sel), "TallShelf");
}

TEST(Send, RefusesWhatCannotBeTaken) {
    const auto shelf = make<Shelf>();
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"unknown selector", [&] { send(shelf, "fly"_sel); }},
        {"unknown class selector", [&] { send(Shelf::cls(), "fly"_sel); }},
        {"too few arguments", [&] { send<int>(shelf, "add:to:"_sel, 1); }},
        {"too many arguments", [&] { send<int>(shelf, "add:to:"_sel, 1, 2, 3); }},
        {"text for integer", [&] { send<int>(shelf, "add:to:"_sel, "1", 2); }},
        {"integer out of range", [&] { send<int>(shelf, "add:to:"_sel, 1LL << 40, 2); }},
        {"fraction for integer", [&] { send<int>(shelf, "add:to:"_sel, 1.5, 2); }},
        {"object of another class", [&] { send(shelf, "keep:"_sel, id("text")); }},
        {"another C++ value", [&] { send(shelf, "list:"_sel, std::vector<int>{1}); }},
        {"pointer to another type",
         [&] {
             double wrong = 0;
             send(shelf, "fill:"_sel, &wrong);
         }},
        {"result of another kind", [&] { send<std::vector<int>>(shelf, "add:to:"_sel, 1, 2); }},
    };
    for (const auto& [name, block] : cases) {
        EXPECT_EQ(exceptionName(block), NSInvalidArgumentException) << name;
    }
    try {
        send<int>(shelf, "add:to:"_sel, 1, "two");
        FAIL();
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.reason(), "argument 2 of add:to:: a text cannot be taken as int");
    }
}

TEST(Send, ForwardsWhatTheClassLacks) {
    const auto relay = make<Relay>();
    relay->target = make<Shelf>();
    EXPECT_EQ(send<int>(relay, "add:to:"_sel, 4, 5), 9);
    EXPECT_EQ(send<std::string>(relay, "join:with:"_sel, "x", "y"), "xy");
    EXPECT_EQ(relay->count, 2);
    EXPECT_EQ(exceptionName([&] { send(relay, "fly"_sel); }), NSInvalidArgumentException);
    // What a look-up that failed calls forwards too.
    EXPECT_EQ(NSProxy::cls().implementation("add:to:"_sel).call<int>(*relay, 1, 1), 2);
}

TEST(Invocation, ReplaysOnAnyTargetAndKeepsTheResult) {
    const auto shelf = make<Shelf>();
    const auto signature = shelf->methodSignatureForSelector("add:to:"_sel);
    ASSERT_TRUE(signature);
    EXPECT_EQ(signature->types(), "i@:ii");
    const auto invocation =
        NSInvocation::invocation(signature, "add:to:"_sel, {Value::of(20L), Value::of(id(22))});
    invocation->invoke();  // no target: nothing
    EXPECT_TRUE(invocation->returnValue().isEmpty());
    invocation->setTarget(shelf);
    invocation->invoke();
    EXPECT_EQ(invocation->returnValue().to<int>(), 42);
    invocation->setArgument(0, Value::of(1));
    invocation->invokeWithTarget(make<TallShelf>());
    EXPECT_EQ(invocation->returnValue().to<long>(), 23);
    EXPECT_THROW(invocation->setArgument(2, Value()), NSException);
    EXPECT_THROW(static_cast<void>(NSInvocation::invocation(signature, "add:to:"_sel)), NSException);
    EXPECT_EQ(NSMethodSignature::signatureWithObjCTypes("v@"), nullptr);
    EXPECT_EQ(NSMethodSignature::signatureWithObjCTypes("v@:%"), nullptr);
    EXPECT_EQ(NSMethodSignature::signatureWithObjCTypes("v@:d")->argumentTypeAtIndex(2), 'd');
}

TEST(Protocols, OperationsAreOptionalAndAdoptionIsInherited) {
    const auto tall = make<TallShelf>();
    EXPECT_TRUE(tall->respondsToSelector("shelfDidOpen:"_sel));
    EXPECT_FALSE(tall->respondsToSelector("shelfDidClose:"_sel));
    EXPECT_TRUE(tall->conformsToProtocol(ShelfDelegate::protocol()));
    EXPECT_FALSE(make<Relay>()->conformsToProtocol(ShelfDelegate::protocol()));
    EXPECT_EQ(NSProtocolFromString("ShelfDelegate"), &ShelfDelegate::protocol());
    EXPECT_EQ(NSProtocolFromString("NobodyAdoptsThis"), nullptr);
}

TEST(Methods, AreAddedWhileOthersSend) {
    // Each round adds a method to the superclass while other threads send it to instances of the subclass,
    // which they answer by forwarding until it is there.
    std::atomic<bool> stop{false};
    std::atomic<int> found{0};
    const auto shelf = make<TallShelf>();
    constexpr int rounds = 200;
    std::vector<Selector> selectors;
    for (int round = 0; round < rounds; ++round) {
        selectors.emplace_back("added" + std::to_string(round));
    }
    std::vector<std::jthread> senders;
    for (int thread = 0; thread < 2; ++thread) {
        senders.emplace_back([&] {
            while (!stop) {
                for (const auto selector : selectors) {
                    if (shelf->respondsToSelector(selector)) {
                        found += send<int>(shelf, selector);
                    }
                }
            }
        });
    }
    for (const auto selector : selectors) {
        EXPECT_TRUE(Shelf::cls().addMethod(selector, [](Shelf&) { return 1; }));
        EXPECT_EQ(send<int>(shelf, selector), 1);  // visible at once to the thread that added it
    }
    stop = true;
    senders.clear();
    EXPECT_FALSE(Shelf::cls().addMethod(selectors.front(), [](Shelf&) { return 2; }));
    EXPECT_EQ(send<int>(shelf, selectors.front()), 1);
}

}  // namespace qz::test
