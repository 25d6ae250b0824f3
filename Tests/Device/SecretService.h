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

/// Runs a program to its end, or until it goes into the background: what it wrote. `input` is its standard input.
inline std::string outputOf(std::vector<std::string> command, const std::string& input = "") {
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
    pid_t child = -1;
    EXPECT_EQ(::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ), 0) << command[0];
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    EXPECT_EQ(::write(in[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
    ::close(in[1]);
    std::string output;
    std::array<char, 512> part{};
    for (ssize_t count = 0; (count = ::read(out[0], part.data(), part.size())) > 0;) {
        output.append(part.data(), static_cast<std::size_t>(count));
    }
    ::close(out[0]);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << command[0];
    return output;
}

/// A bus on which nobody answers; the session's for as long as it lives. Child processes inherit it.
class PrivateBus {
public:
    PrivateBus() {
        const auto configuration = directory_.path() / "bus.conf";
        std::ofstream(configuration) << "<busconfig><type>session</type><listen>unix:path="
                                     << (directory_.path() / "bus").string()
                                     << "</listen><policy context='default'><allow send_destination='*' "
                                        "eavesdrop='true'/><allow own='*'/></policy></busconfig>";
        ::setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
        ::setenv("XDG_DATA_HOME", (directory_.path() / "data").c_str(), 1);
        const auto words = outputOf({"dbus-daemon", "--fork", "--config-file=" + configuration.string(),
                                     "--print-address=1", "--print-pid=1"});
        const auto line = words.find('\n');
        process_ = std::atoi(words.substr(line + 1).c_str());
        ::setenv("DBUS_SESSION_BUS_ADDRESS", words.substr(0, line).c_str(), 1);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus() {
        for (const auto* name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "XDG_DATA_HOME"}) {
            ::unsetenv(name);
        }
        if (process_ > 0) {
            ::kill(process_, SIGTERM);
        }
    }

private:
    const TemporaryDirectory directory_;
    pid_t process_ = -1;
};

/// GNOME Keyring with an unlocked default collection. It ends with its bus.
class SecretService {
public:
    SecretService() {
        (void)outputOf({"gnome-keyring-daemon", "--unlock", "--components=secrets"}, "password");
    }

    void lock() const {
        (void)outputOf({"dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.secrets",
                        "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.Lock",
                        "array:objpath:/org/freedesktop/secrets/collection/login"});
    }

private:
    const PrivateBus bus_;
};

}  // namespace qz::test
