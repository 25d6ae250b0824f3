// A session bus of a test's own, and a keyring on it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Tests/Support/TemporaryDirectory.h"

namespace qz::test {

/// A program that runs until its object goes.
class Daemon {
public:
    Daemon(std::vector<std::string> command, const std::string& input) {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        EXPECT_EQ(::pipe2(in.data(), O_CLOEXEC) + ::pipe2(out.data(), O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions{};
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        std::vector<char*> arguments;
        for (auto& argument : command) {
            arguments.push_back(argument.data());
        }
        arguments.push_back(nullptr);
        EXPECT_EQ(::posix_spawnp(&process_, arguments[0], &actions, nullptr, arguments.data(), environ), 0)
            << command[0];
        ::posix_spawn_file_actions_destroy(&actions);
        EXPECT_EQ(::write(in[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
        for (const int descriptor : {in[0], in[1], out[1]}) {
            ::close(descriptor);
        }
        output_ = out[0];
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon() {
        if (process_ > 0) {
            ::kill(process_, SIGTERM);
            ::kill(process_, SIGCONT);
            wait();
        }
        ::close(output_);
    }

    /// The next line of its output, when it is there.
    [[nodiscard]] std::string line() const {
        std::string text;
        for (char one = 0; ::read(output_, &one, 1) == 1 && one != '\n';) {
            text += one;
        }
        return text;
    }
    /// It answers nothing any more.
    void stop() const { ::kill(process_, SIGSTOP); }
    /// Its status, when it has ended by itself.
    int wait() {
        int status = -1;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        return status;
    }

private:
    pid_t process_ = -1;
    int output_ = -1;
};

inline void expectSuccess(const std::vector<std::string>& command) {
    EXPECT_EQ(Daemon(command, "").wait(), 0) << command[0];
}

/// A bus on which nobody answers; the session's for as long as it lives. Child processes inherit it.
class PrivateBus {
public:
    PrivateBus()
        : bus_({"dbus-daemon", "--nofork", "--config-file=" + configuration(), "--print-address=1"}, "") {
        ::setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
        ::setenv("XDG_DATA_HOME", (directory_.path() / "data").c_str(), 1);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", bus_.line().c_str(), 1);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus() {
        for (const auto* name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"}) {
            ::unsetenv(name);
        }
    }

private:
    [[nodiscard]] std::string configuration() const {
        auto path = (directory_.path() / "bus.conf").string();
        std::ofstream(path)
            << "<busconfig><type>session</type><listen>unix:path=" << directory_.path().string()
            << "/bus</listen><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
               "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>";
        return path;
    }

    const TemporaryDirectory directory_;
    const Daemon bus_;
};

/// GNOME Keyring with an unlocked default collection.
class SecretService {
public:
    SecretService() {
        expectSuccess({"gdbus", "wait", "--session", "--timeout=30", "org.freedesktop.secrets"});
    }

    void lock() const {
        expectSuccess({"dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.secrets",
                       "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.Lock",
                       "array:objpath:/org/freedesktop/secrets/collection/login"});
    }

    void stop() const { keyring_.stop(); }

private:
    const PrivateBus bus_;
    const Daemon keyring_{{"gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"},
                          "password"};
};

}  // namespace qz::test
