#include "Tests/Support/FaultServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>

namespace qz::test {

namespace {

/// Waits until the socket is readable: false when the server ends first.
bool waitReadable(int socket, int ending) {
    pollfd files[] = {{socket, POLLIN | POLLRDHUP, 0}, {ending, POLLIN, 0}};
    while (::poll(files, 2, -1) < 0) {
    }
    return files[1].revents == 0;
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

}  // namespace

std::string FaultServer::Request::field(const std::string& name) const {
    const auto place = fields.find(name);
    return place == fields.end() ? "" : place->second;
}

bool FaultServer::Connection::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void FaultServer::Connection::stall() const {
    char byte = 0;
    while (waitReadable(socket_, server_.ending_[0]) && ::recv(socket_, &byte, 1, 0) > 0) {
    }
}

void FaultServer::Connection::reset() const {
    const linger atOnce{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

FaultServer::FaultServer(Handler handler) : handler_(std::move(handler)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::pipe(ending_) != 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(listener_, 128) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("the server of the tests cannot listen");
    }
    port_ = ::ntohs(address.sin_port);
    acceptor_ = std::thread([this] { accept(); });
}

FaultServer::~FaultServer() {
    ::close(ending_[1]);
    acceptor_.join();
    for (auto& connection : connections_) {
        connection.join();
    }
    ::close(listener_);
    ::close(ending_[0]);
}

std::string FaultServer::url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

std::vector<FaultServer::Request> FaultServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void FaultServer::accept() {
    while (waitReadable(listener_, ending_[0])) {
        const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket >= 0) {
            const std::lock_guard lock(mutex_);
            connections_.emplace_back([this, socket] { serve(socket); });
        }
    }
}

void FaultServer::serve(int socket) {
    std::string text;
    std::size_t end = std::string::npos;
    std::size_t wanted = 0;
    while ((end == std::string::npos || text.size() < wanted) && waitReadable(socket, ending_[0])) {
        char buffer[4096];
        const auto count = ::recv(socket, buffer, sizeof buffer, 0);
        if (count <= 0) {
            break;
        }
        text.append(buffer, static_cast<std::size_t>(count));
        end = text.find("\r\n\r\n");
        const auto length = lower(text.substr(0, end)).find("content-length: ");
        wanted = end + 4 + (length < end ? std::stoul(text.substr(length + 16)) : 0);
    }
    if (end != std::string::npos) {
        Request request;
        const auto space = text.find(' ');
        request.method = text.substr(0, space);
        request.path = text.substr(space + 1, text.find(' ', space + 1) - space - 1);
        request.body = text.substr(end + 4);
        for (auto line = text.find("\r\n"); line < end; line = text.find("\r\n", line + 2)) {
            const auto colon = text.find(": ", line);
            const auto stop = text.find("\r\n", line + 2);
            request.fields[lower(text.substr(line + 2, colon - line - 2))] =
                text.substr(colon + 2, stop - colon - 2);
        }
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(request);
        }
        const Connection connection(*this, socket);
        handler_(request, connection);
        ::shutdown(socket, SHUT_WR);
    }
    ::close(socket);
}

void ServedFile::operator()(const FaultServer::Request& request,
                            const FaultServer::Connection& connection) const {
    std::size_t first = 0;
    const auto range = request.field("range");
    const auto condition = request.field("if-range");
    const bool isPart =
        servesRanges && range.starts_with("bytes=") && (condition.empty() || condition == tag);
    if (isPart) {
        std::from_chars(range.data() + 6, range.data() + range.size(), first);
        if (first >= body.size()) {
            status(416, "Content-Range: bytes */" + std::to_string(body.size()) + "\r\n")(request,
                                                                                          connection);
            return;
        }
    }
    const auto rest = std::string_view(body).substr(first);
    std::string head = isPart ? "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " +
                                    std::to_string(first) + "-" + std::to_string(body.size() - 1) + "/" +
                                    std::to_string(body.size()) + "\r\n"
                              : "HTTP/1.1 200 OK\r\n";
    head += "Connection: close\r\n" + fields;
    head += tag.empty() ? "" : "ETag: " + tag + "\r\n";
    head += isChunked ? "Transfer-Encoding: chunked\r\n" : "";
    head += hasLength && !isChunked ? "Content-Length: " + std::to_string(rest.size()) + "\r\n" : "";
    connection.send(head + "\r\n");
    const auto stop = std::min({cutAt.value_or(body.size()), stallAt.value_or(body.size()), body.size()});
    const auto sent = rest.substr(0, stop > first ? stop - first : 0);
    if (isChunked) {
        char size[32];
        const auto [end, error] = std::to_chars(size, size + sizeof size, sent.size(), 16);
        connection.send(std::string(size, end) + "\r\n");
        connection.send(sent);
        connection.send(cutAt ? "" : "\r\n0\r\n\r\n");
    } else {
        connection.send(sent);
    }
    if (stallAt) {
        connection.stall();
    }
}

FaultServer::Handler status(int code, std::string fields) {
    return [code, fields = std::move(fields)](const auto&, const auto& connection) {
        connection.send("HTTP/1.1 " + std::to_string(code) + " Status\r\nConnection: close\r\n" + fields +
                        "Content-Length: 5\r\n\r\nsorry");
    };
}

}  // namespace qz::test
