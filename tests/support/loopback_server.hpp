// A real HTTP server on 127.0.0.1 (cpp-httplib, serving from its own thread)
// and a loopback URL on which nothing listens.
#pragma once

#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <thread>

namespace zeva::test {

// Serves texts by path and 404 for anything else; "/slow" answers only once
// the server is being stopped. `routes` may add handlers of its own first.
class LoopbackServer {
public:
    explicit LoopbackServer(const std::function<void(httplib::Server&)>& routes = {}) {
        server_.Get("/slow", [this](const httplib::Request&, httplib::Response& res) {
            for (int i = 0; i < 500 && !stopping_; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
            res.set_content("too late", "text/plain");
        });
        if (routes) routes(server_);
        server_.Get(R"(/.*)", [this](const httplib::Request& req, httplib::Response& res) {
            auto at = texts_.find(req.path);
            if (at == texts_.end()) res.status = 404;
            else res.set_content(at->second, "text/plain");
        });
        port_ = server_.bind_to_any_port("127.0.0.1");
        if (port_ > 0) thread_ = std::thread([this] { server_.listen_after_bind(); });
        for (int i = 0; i < 500 && !server_.is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ~LoopbackServer() {
        stopping_ = true;
        server_.stop();
        if (thread_.joinable()) thread_.join();
    }

    bool running() const { return port_ > 0 && server_.is_running(); }
    // Serves the text at the path; call before the first request.
    void serve(const std::string& path, std::string body) { texts_[path] = std::move(body); }
    std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::string url(const std::string& path) const { return base() + path; }

private:
    httplib::Server server_;
    std::thread thread_;
    std::map<std::string, std::string> texts_;
    std::atomic<bool> stopping_{false};
    int port_ = -1;
};

// A loopback URL on which nothing listens (its port was free a moment ago).
inline std::string refusedBase() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = -1;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&addr), len) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    if (fd >= 0) ::close(fd);
    return "http://127.0.0.1:" + std::to_string(port);
}

}  // namespace zeva::test
