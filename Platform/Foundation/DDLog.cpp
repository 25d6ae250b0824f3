#include "Platform/Foundation/DDLog.h"

#include <pthread.h>
#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/sink.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(DDLog, cls) {
    cls.classMethod("sharedInstance", [](Class&) { return DDLog::sharedInstance(); });
}

constinit std::atomic<LogLevel> DDLog::sharedEnabled_{firstConsoleLevel};

/// The queue and its thread.
///
/// spdlog's own flush of an asynchronous logger only posts a request, so waiting goes by numbers: a line is
/// counted before it enters the queue, and again when it is delivered. The queue keeps its order, so when as
/// many lines are delivered as were counted when the wait began, all that were in the queue then are among
/// them.
struct DDLog::Background {
    using Deliver = std::function<void(const LogMessage&, bool nested)>;

    explicit Background(Deliver block) : deliver(std::move(block)) {}

    class Entrance;

    /// Starts the thread unless it runs.
    void start();
    [[nodiscard]] bool isStarted() const noexcept { return started.load(std::memory_order_acquire); }
    [[nodiscard]] bool isOwnThread() const noexcept { return std::this_thread::get_id() == thread.load(); }

    /// Puts a packed line into the queue. False when the queue is closed; what was in it is delivered then.
    [[nodiscard]] bool post(std::string_view line);
    /// Waits for the lines that were posted before.
    [[nodiscard]] bool wait(const std::stop_token& stop);
    void countDelivered();
    /// Delivers what is pending, ends the thread and closes the queue.
    void finish();
    /// In a forked child: the thread is not there, and the queue belongs to the parent.
    void abandon();

    const Deliver deliver;
    std::once_flag once;
    std::atomic<bool> started{false};
    std::atomic<std::thread::id> thread{};
    std::shared_ptr<spdlog::details::thread_pool> pool;
    std::shared_ptr<spdlog::async_logger> logger;

    std::atomic<bool> closing{false};
    std::shared_mutex posting;  // shared by those that put something into the queue
    std::mutex finishing;       // held until the queue is empty and the thread gone

    std::atomic<std::uint64_t> posted{0};
    std::atomic<std::uint64_t> delivered{0};
    std::atomic<int> waiters{0};
    std::mutex progressMutex;
    std::condition_variable_any progress;
};

/// Where spdlog hands over what comes out of its queue.
class DDLog::Background::Entrance : public spdlog::sinks::sink {
public:
    explicit Entrance(Background& owner) : owner_(owner) {}

    void log(const spdlog::details::log_msg& entry) override {
        bool nested = false;
        const auto message = internal::unpackLine({entry.payload.data(), entry.payload.size()}, nested);
        try {
            owner_.deliver(message, nested);
        } catch (...) {
            // Sinks are caught one by one: this is a lack of memory, and the queue must go on.
        }
        owner_.countDelivered();
    }
    void flush() override {}
    void set_pattern(const std::string&) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

private:
    Background& owner_;
};

void DDLog::Background::start() {
    std::call_once(once, [this] {
        pool = std::make_shared<spdlog::details::thread_pool>(
            queueCapacity, 1, [this] { thread = std::this_thread::get_id(); });
        logger = std::make_shared<spdlog::async_logger>("DDLog", std::make_shared<Entrance>(*this), pool,
                                                        spdlog::async_overflow_policy::block);
        std::atexit([] { DDLog::sharedInstance()->background_->finish(); });
        ::pthread_atfork([] { DDLog::sharedInstance()->lockForFork(); },
                         [] { DDLog::sharedInstance()->unlockAfterFork(); },
                         [] {
                             DDLog::sharedInstance()->unlockAfterFork();
                             DDLog::sharedInstance()->background_->abandon();
                         });
        started.store(true, std::memory_order_release);
    });
}

bool DDLog::Background::post(std::string_view line) {
    if (!closing) {
        const std::shared_lock lock(posting);
        if (!closing) {
            ++posted;
            try {
                // The line carries its own time; spdlog need not ask the clock.
                logger->log({}, {}, spdlog::level::info, spdlog::string_view_t(line.data(), line.size()));
            } catch (...) {
                countDelivered();  // it never will be
                throw;
            }
            return true;
        }
    }
    const std::lock_guard wait(finishing);
    return false;
}

bool DDLog::Background::wait(const std::stop_token& stop) {
    const auto wanted = posted.load();
    if (delivered >= wanted) {
        return true;
    }
    ++waiters;
    std::unique_lock lock(progressMutex);
    const bool done = progress.wait(lock, stop, [&] { return delivered >= wanted; });
    --waiters;
    return done;
}

void DDLog::Background::countDelivered() {
    ++delivered;
    // A waiter announces itself before it looks at the count, so one of the two sees the other.
    if (waiters > 0) {
        const std::lock_guard lock(progressMutex);
        progress.notify_all();
    }
}

void DDLog::Background::finish() {
    const std::lock_guard lock(finishing);
    if (closing.exchange(true)) {
        return;
    }
    { const std::unique_lock untilPosted(posting); }
    pool.reset();    // its destructor lets the thread work off the queue and joins it
    logger.reset();  // after the thread, which has held it too
}

void DDLog::Background::abandon() {
    closing = true;
    delivered = posted.load();
}

DDLog::DDLog(std::atomic<LogLevel>& enabled, LogLevel consoleLevel)
    : Logger(enabled, consoleLevel),
      background_(std::make_unique<Background>(
          [this](const LogMessage& message, bool nested) { deliver(message, nested); })) {}

DDLog::~DDLog() = default;

const Ref<DDLog>& DDLog::sharedInstance() {
    // Never destroyed: threads may log until the process is gone.
    static const auto& instance = *new Ref<DDLog>(make<DDLog>(sharedEnabled_, firstConsoleLevel));
    return instance;
}

void DDLog::submit(bool asynchronous, const LogMessage& message, bool nested) {
    auto& background = *background_;
    if (asynchronous) {
        background.start();
    }
    // The queue's own thread must not wait for room in the queue.
    if (!background.isStarted() || background.isOwnThread() ||
        !background.post(internal::packLine(message, nested))) {
        deliver(message, nested);
    } else if (!asynchronous && !nested) {
        static_cast<void>(background.wait({}));
    }
}

bool DDLog::waitUntilDelivered(const std::stop_token& stop) {
    return !background_->isStarted() || background_->wait(stop);
}

}  // namespace qz
