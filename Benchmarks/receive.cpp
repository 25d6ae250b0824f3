// The floor under every download: a request, and a bare loop of recv and write. For Benchmarks/compare.
//
//     receive ADDRESS PORT PATH FILE
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 5) {
        return 2;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argv[2])));
    ::inet_pton(AF_INET, argv[1], &address.sin_addr);
    const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int file = ::open(argv[4], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const auto request =
        "GET " + std::string(argv[3]) + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
    if (::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || file < 0 ||
        ::send(connection, request.data(), request.size(), MSG_NOSIGNAL) < 0) {
        return 1;
    }
    std::vector<char> buffer(std::size_t{512} * 1024);
    std::string head;
    for (ssize_t count = 0; (count = ::recv(connection, buffer.data(), buffer.size(), 0)) > 0;) {
        const char* bytes = buffer.data();
        auto left = static_cast<std::size_t>(count);
        if (head.find("\r\n\r\n") == std::string::npos) {
            const auto before = head.size();
            head.append(bytes, left);
            const auto end = head.find("\r\n\r\n");
            const auto skipped = end == std::string::npos ? left : end + 4 - before;
            bytes += skipped;
            left -= skipped;
        }
        while (left > 0) {
            const auto written = ::write(file, bytes, left);
            if (written <= 0) {
                return 1;
            }
            bytes += written;
            left -= static_cast<std::size_t>(written);
        }
    }
    return 0;
}
