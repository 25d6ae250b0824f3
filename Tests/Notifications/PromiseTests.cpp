// Promises: settled once, chained, waited for, and awaited in coroutines.
#include <gmock/gmock.h>

#include <thread>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Siblings/QZPromise.h"

namespace qz::test {

using Resolver = QZPromise::Resolver;

Ref<NSError> failure(std::int64_t code) {
    return NSError::errorWithDomain("test", code, nullptr);
}

std::pair<Ref<QZPromise>, Resolver> pending() {
    Resolver resolver;
    auto promise = QZPromise::promiseWithIdRun("pending", [&](const Resolver& given) { resolver = given; });
    return {promise, resolver};
}

TEST(Promise, IsSettledOnce) {
    const auto [promise, resolver] = pending();
    int calls = 0;
    promise->whenSettled([&](const auto&) { ++calls; });
    resolver(true, 1, nullptr);
    resolver(false, nullptr, failure(2));
    promise->whenSettled([&](const auto&) { ++calls; });
    EXPECT_TRUE(promise->isFulfilled());
    EXPECT_EQ(promise->value(), id(1));
    EXPECT_FALSE(promise->error());
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(promise->identifier(), "pending");
}

TEST(Promise, ChainsPassValuesAndErrors) {
    const auto twice = [](const id& value) { return id(unbox<int>(value).value() * 2); };
    EXPECT_EQ(QZPromise::resolved(1)->then(twice)->then(twice)->value(), id(4));
    EXPECT_FALSE(QZPromise::resolved(1)->then([](const id&) {})->value());
    EXPECT_EQ(QZPromise::resolved(5)->recover([](const auto&) { return 0; })->value(), id(5));
    EXPECT_EQ(QZPromise::rejected(failure(3))
                  ->then([](const id&) { ADD_FAILURE(); })
                  ->recover([](const Ref<NSError>& error) { return error->code(); })
                  ->value(),
              id(3));
    const auto [inner, resolver] = pending();
    const auto outer = QZPromise::resolved(nullptr)->then([inner = inner](const id&) { return id(inner); });
    int calls = 0;
    outer->whenSettled([&](const auto&) { ++calls; });
    EXPECT_FALSE(outer->isSettled());
    resolver(false, nullptr, failure(4));
    EXPECT_EQ(outer->error()->code(), 4);
    EXPECT_EQ(calls, 1);

    const struct {
        std::function<void()> thrower;
        std::string domain;
        std::int64_t code;
    } cases[] = {
        {[] { throw failure(7); }, "test", 7},
        {[] { throw QZPromiseRejection(failure(8)); }, "test", 8},
        {[] { throw std::runtime_error("reason"); }, std::string(QZPromiseErrorDomain), 1},
        {[] { throw 5; }, std::string(QZPromiseErrorDomain), 1},
    };
    for (const auto& test : cases) {
        const auto chained = QZPromise::resolved(1)->then([&](const id&) { test.thrower(); });
        const auto body = QZPromise::promiseWithIdRun("body", [&](const Resolver&) { test.thrower(); });
        for (const auto& promise : {chained, body}) {
            ASSERT_TRUE(promise->error());
            EXPECT_EQ(promise->error()->domain(), test.domain);
            EXPECT_EQ(promise->error()->code(), test.code);
        }
    }
}

TEST(Promise, IsWaitedForOnTheRunLoop) {
    const auto [promise, resolver] = pending();
    const auto queue = DispatchQueue::serial("promises");
    const auto answer = promise->then(queue, [](const id& value) {
        EXPECT_FALSE(isMainThread());
        return value;
    });
    std::thread([&, resolver = resolver] { resolver(true, "later", nullptr); }).join();
    EXPECT_TRUE(answer->wait());
    EXPECT_EQ(answer->value(), id("later"));

    const auto [never, ignored] = pending();
    std::stop_source stop;
    std::thread([&] { stop.request_stop(); }).join();
    EXPECT_FALSE(never->wait(stop.get_token()));
    NSRunLoop::mainRunLoop()->perform([] { NSRunLoop::mainRunLoop()->stop(); });
    EXPECT_FALSE(never->wait());
}

Ref<QZPromise> sumOf(Ref<QZPromise> left, Ref<QZPromise> right) {
    const auto first = unbox<int>(co_await left).value();
    co_return first + unbox<int>(co_await right).value();
}

Ref<QZPromise> onQueue(Ref<QZPromise> promise, DispatchQueue queue, bool& wasMain) {
    co_await promise->on(queue);
    wasMain = isMainThread();
    co_return "done";
}

TEST(Promise, IsAwaitedInCoroutines) {
    const auto [left, resolveLeft] = pending();
    const auto [right, resolveRight] = pending();
    const auto sum = sumOf(left, right);
    resolveRight(true, 2, nullptr);
    EXPECT_FALSE(sum->isSettled());
    resolveLeft(true, 40, nullptr);
    EXPECT_EQ(sum->value(), id(42));
    EXPECT_EQ(sumOf(QZPromise::rejected(failure(9)), right)->error()->code(), 9);

    bool wasMain = true;
    const auto moved = onQueue(QZPromise::resolved(1), DispatchQueue::serial("promises"), wasMain);
    EXPECT_TRUE(moved->wait());
    EXPECT_FALSE(wasMain);

    auto abandoned = sumOf(pending().first, right);  // goes with the promise that nobody will settle
    const std::weak_ptr<QZPromise> life = abandoned;
    abandoned.reset();
    EXPECT_TRUE(life.expired());
}

}  // namespace qz::test
