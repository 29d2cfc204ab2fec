// An HTTP server on 127.0.0.1 for fetch tests, running on its own thread
// from construction to destruction.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace zeva::test {

class LoopbackServer {
public:
    LoopbackServer() = default;
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;
    ~LoopbackServer() { stop(); }

    httplib::Server& routes() { return server_; }

    // Binds to a free port and serves; call after adding routes.
    bool start() {
        port_ = server_.bind_to_any_port("127.0.0.1");
        if (port_ <= 0) return false;
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        for (int i = 0; i < 500 && !server_.is_running(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return server_.is_running();
    }

    void stop() {
        stopping_ = true;
        if (thread_.joinable()) {
            server_.stop();
            thread_.join();
        }
    }

    // Handlers that wait should give up once this turns true.
    bool stopping() const { return stopping_; }

    std::string url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
    int port() const { return port_; }

private:
    httplib::Server server_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    int port_ = -1;
};

}  // namespace zeva::test
