#include "Platform/Foundation/PathUtilities.h"

namespace qz {

namespace {

constexpr auto npos = std::string_view::npos;

/// Without slashes at the end, but the root keeps its own.
std::string_view trimmed(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return path;
}

/// Where the dot of the extension stands in a trimmed path; npos without an extension.
std::size_t extensionDot(std::string_view path) {
    const auto slash = path.rfind('/');
    const auto name = slash == npos ? 0 : slash + 1;
    const auto dot = path.rfind('.');
    return dot == npos || dot <= name || dot + 1 == path.size() ? npos : dot;
}

}  // namespace

std::vector<std::string> pathComponents(std::string_view path) {
    std::vector<std::string> components;
    if (path.starts_with('/')) {
        components.emplace_back("/");
    }
    while (!path.empty()) {
        const auto slash = path.find('/');
        if (slash != 0) {
            components.emplace_back(path.substr(0, slash));
        }
        path.remove_prefix(slash == npos ? path.size() : slash + 1);
    }
    return components;
}

std::string lastPathComponent(std::string_view path) {
    path = trimmed(path);
    const auto slash = path.rfind('/');
    return std::string(slash == npos || path.size() == 1 ? path : path.substr(slash + 1));
}

std::string stringByDeletingLastPathComponent(std::string_view path) {
    path = trimmed(path);
    const auto slash = path.rfind('/');
    return slash == npos ? std::string() : std::string(trimmed(path.substr(0, slash + 1)));
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
    if (path.empty()) {
        return std::string(component);
    }
    std::string joined(trimmed(path));
    if (!joined.ends_with('/')) {
        joined += '/';
    }
    const auto first = component.find_first_not_of('/');
    joined.append(first == npos ? std::string_view() : component.substr(first));
    return joined;
}

std::string pathExtension(std::string_view path) {
    path = trimmed(path);
    const auto dot = extensionDot(path);
    return dot == npos ? std::string() : std::string(path.substr(dot + 1));
}

std::string stringByAppendingPathExtension(std::string_view path, std::string_view extension) {
    std::string extended(trimmed(path));
    extended += '.';
    extended += extension;
    return extended;
}

std::string stringByDeletingPathExtension(std::string_view path) {
    path = trimmed(path);
    return std::string(path.substr(0, extensionDot(path)));
}

}  // namespace qz
