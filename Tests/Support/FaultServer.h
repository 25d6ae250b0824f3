// FaultServer: an HTTP server on a loopback port that misbehaves as a test wants it to.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace qz::test {

class FaultServer {
public:
    struct Request {
        std::string method;
        std::string path;
        std::map<std::string, std::string> fields;  // by names in small letters
        std::string body;
        /// Empty when there is none.
        [[nodiscard]] std::string field(const std::string& name) const;
    };

    class Connection {
    public:
        Connection(FaultServer& server, int socket) : server_(server), socket_(socket) {}
        /// False when the client has gone.
        bool send(std::string_view bytes) const;
        /// Says nothing until the client goes or the server ends.
        void stall() const;
        /// Ends the connection with a reset instead of an orderly end.
        void reset() const;

    private:
        FaultServer& server_;
        int socket_;
    };

    /// Answers one request; the connection is closed afterwards. Called on a thread of the connection's own.
    using Handler = std::function<void(const Request&, const Connection&)>;

    explicit FaultServer(Handler handler);
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;
    ~FaultServer();

    [[nodiscard]] std::string url(std::string_view path) const;
    /// Those so far, in the order in which they came.
    [[nodiscard]] std::vector<Request> requests() const;

private:
    void accept();
    void serve(int socket);

    const Handler handler_;
    int port_ = 0;
    int listener_ = -1;
    int ending_[2] = {-1, -1};  // a pipe that becomes readable at the end
    std::thread acceptor_;
    mutable std::mutex mutex_;  // guards what follows
    std::vector<std::thread> connections_;
    std::vector<Request> requests_;
};

/// A file as a server has it, and what goes wrong when it is asked for.
struct ServedFile {
    std::string body;
    std::string tag = "\"v1\"";  // none when empty
    bool servesRanges = true;
    std::string fields = {};                  // more of them, each with its line end
    std::optional<std::size_t> cutAt = {};    // the connection ends before this byte of the file
    std::optional<std::size_t> stallAt = {};  // or nothing more comes
    bool isChunked = false;
    bool hasLength = true;

    /// Answers with the file, or with the part that the request asks for if its condition holds.
    void operator()(const FaultServer::Request& request, const FaultServer::Connection& connection) const;
};

/// Answers with a status and a short body.
FaultServer::Handler status(int code, std::string fields = "");

}  // namespace qz::test
