#include "Platform/Foundation/SearchPaths.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "Platform/Foundation/PathUtilities.h"

namespace qz {

namespace {

/// Empty unless it is an absolute path. A program with more rights than its user does not listen to him.
std::string pathInEnvironment(const char* variable) {
    const char* path = ::secure_getenv(variable);
    return path && path[0] == '/' ? path : "";
}

std::string homeDirectory() {
    if (auto home = pathInEnvironment("HOME"); !home.empty()) {
        return home;
    }
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const bool isKnown =
        ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found;
    return isKnown ? found->pw_dir : "";
}

struct Rule {
    const char* variable;
    const char* belowHome;
};

Rule ruleOf(UserBaseDirectory directory) {
    switch (directory) {
        case UserBaseDirectory::Cache:
            return {"XDG_CACHE_HOME", ".cache"};
        case UserBaseDirectory::Config:
            return {"XDG_CONFIG_HOME", ".config"};
        case UserBaseDirectory::Data:
            break;
    }
    return {"XDG_DATA_HOME", ".local/share"};
}

/// The program's directory among those of all programs; empty when there is none.
std::string programDirectory(UserBaseDirectory base) {
    const auto path = userBaseDirectory(base);
    return path.empty() ? "" : stringByAppendingPathComponent(path, program_invocation_short_name);
}

std::string pathOf(NSSearchPathDirectory directory) {
    switch (directory) {
        case NSSearchPathDirectory::Documents: {
            const auto data = programDirectory(UserBaseDirectory::Data);
            return data.empty() ? "" : stringByAppendingPathComponent(data, "Documents");
        }
        case NSSearchPathDirectory::Caches:
            return programDirectory(UserBaseDirectory::Cache);
        case NSSearchPathDirectory::ApplicationSupport:
            break;
    }
    return programDirectory(UserBaseDirectory::Data);
}

std::string withTilde(const std::string& path) {
    const auto home = stringByAppendingPathComponent(homeDirectory(), "");
    return home.size() > 1 && path.starts_with(home) ? "~/" + path.substr(home.size()) : path;
}

}  // namespace

std::string userBaseDirectory(UserBaseDirectory directory) {
    const auto rule = ruleOf(directory);
    if (auto path = pathInEnvironment(rule.variable); !path.empty()) {
        return path;
    }
    const auto home = homeDirectory();
    return home.empty() ? "" : stringByAppendingPathComponent(home, rule.belowHome);
}

std::vector<std::string> NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                             NSSearchPathDomainMask domainMask,
                                                             bool expandTilde) {
    const auto path = domainMask == NSSearchPathDomainMask::User ? pathOf(directory) : "";
    if (path.empty()) {
        return {};
    }
    return {expandTilde ? path : withTilde(path)};
}

}  // namespace qz
