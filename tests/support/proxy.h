#ifndef ORVEL_TESTS_PROXY_H
#define ORVEL_TESTS_PROXY_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <stdexcept>
#include <thread>
#include <vector>

namespace orvel::tests {

/// Stands between clients and a server on this machine, and breaks their wires: after so many bytes from the server it cuts
/// them, or keeps them and forwards nothing more.
class Proxy {
public:
    enum class Fault { none, cut, silence };

    Proxy(int serverPort, Fault fault, std::size_t after) : target(serverPort), kind(fault), limit(after) {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        if (bind(listener, generic(address), size) != 0 || listen(listener, 16) != 0 ||
            getsockname(listener, generic(address), &size) != 0) {
            throw std::runtime_error("no proxy");
        }
        ownPort = ntohs(address.sin_port);
        worker = std::thread([this] { forward(); });
    }
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;
    ~Proxy() {
        ended = true;
        worker.join();
        for (const pollfd& end : ends) close(end.fd);
        close(listener);
    }

    int port() const { return ownPort; }
    /// From the server, of all wires.
    std::size_t bytes() const { return passed; }

private:
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    int target;
    int ownPort = 0;
    Fault kind;
    std::size_t limit;
    std::atomic<std::size_t> passed = 0;
    std::atomic<bool> ended = false;
    std::vector<pollfd> ends; ///< in pairs: a client's, then the server's
    std::thread worker;

    static sockaddr_in loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        return address;
    }
    static sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }
    bool isBroken() const { return kind != Fault::none && passed >= limit; }

    void forward() {
        while (!ended) {
            if (isBroken() && kind == Fault::silence) { // a new client gets into the queue, and no further
                usleep(10000);
                continue;
            }
            std::vector<pollfd> watched = ends;
            watched.push_back({listener, POLLIN, 0});
            if (poll(watched.data(), watched.size(), 10) <= 0) continue;
            for (std::size_t pair = ends.size(); pair > 0; pair -= 2) {
                const bool isWhole = (watched[pair - 2].revents == 0 || pass(pair - 2)) &&
                                     (watched[pair - 1].revents == 0 || pass(pair - 1));
                if (!isWhole) drop(pair - 2);
            }
            if (watched.back().revents != 0) accept();
        }
    }
    void accept() {
        const int client = ::accept(listener, nullptr, nullptr);
        const int server = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = loopback(target);
        if (connect(server, generic(address), sizeof address) != 0) throw std::runtime_error("no server");
        ends.push_back({client, POLLIN, 0});
        ends.push_back({server, POLLIN, 0});
    }
    /// False when the wire is to go.
    bool pass(std::size_t from) {
        std::array<char, 16384> data{};
        const bool isAnswer = from % 2 == 1;
        const std::size_t most =
            isAnswer && kind != Fault::none ? std::min(data.size(), limit - passed) : data.size();
        if (most == 0) return false;
        const ssize_t size = recv(ends[from].fd, data.data(), most, 0);
        if (size <= 0) return false;
        if (isAnswer) passed += static_cast<std::size_t>(size);
        const int to = ends[from ^ 1U].fd;
        for (ssize_t sent = 0; sent < size;) {
            const ssize_t part =
                send(to, data.data() + sent, static_cast<std::size_t>(size - sent), MSG_NOSIGNAL);
            if (part <= 0) return false;
            sent += part;
        }
        return !(isBroken() && kind == Fault::cut);
    }
    void drop(std::size_t first) {
        close(ends[first].fd);
        close(ends[first + 1].fd);
        const auto pair = ends.begin() + static_cast<std::ptrdiff_t>(first);
        ends.erase(pair, pair + 2);
    }
};

} // namespace orvel::tests

#endif
