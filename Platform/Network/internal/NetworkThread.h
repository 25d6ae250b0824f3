// The thread that moves the bytes of all sessions.
#pragma once

#include <curl/curl.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace qz::internal {

class Transfer;

class NetworkThread {
public:
    /// Started when it is first asked for; it lasts as long as the process.
    [[nodiscard]] static NetworkThread& shared();

    /// Has the thread call the command, after those that were given before. From any thread.
    void perform(std::function<void()> command);

    // What follows is for the thread itself.

    /// Starts the transfer when one of its host's connections is free.
    void admit(const std::shared_ptr<Transfer>& transfer);
    /// The transfer needs its connection no longer.
    void release(const std::shared_ptr<Transfer>& transfer);

private:
    struct Host {
        std::set<std::shared_ptr<Transfer>> running;
        std::deque<std::shared_ptr<Transfer>> waiting;
    };

    NetworkThread();
    [[noreturn]] void run();
    void runCommands();
    void takeResults();
    void checkTimes();
    void startWaiting(Host& host);

    CURLM* const multi_;
    std::mutex mutex_;  // guards the commands
    std::vector<std::function<void()>> commands_;
    std::map<std::string, Host> hosts_;  // by scheme, host and port; those with transfers
};

}  // namespace qz::internal
