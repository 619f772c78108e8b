// What tests of FTP need around them: a listener, and servers that say what they were told.
#ifndef TARN_TESTS_SERVE_FTP_WORLD_H
#define TARN_TESTS_SERVE_FTP_WORLD_H

#include <array>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "host/serve/ftp_control.h"
#include "host/serve/ftp_line.h"
#include "host/serve/listener.h"
#include "serve/serve_world.h"

namespace tarn::host::serve {

class ListenedTest : public testing::Test {
 protected:
    void Listen(Listener::Serve serve) {
        listener_ = std::make_shared<Listener>(world_.services, std::move(serve));
        address_ = Loopback();
        std::string mistake;
        ASSERT_TRUE(listener_->Open(address_, mistake)) << mistake;
        world_.upstream.Forbid(address_);
        listener_->Begin();
    }
    void SetUp() override {
        world_.settings.hosts["server.example"] = Loopback().address;
        world_.settings.hosts["local.example"] = ParseIpAddress("169.254.1.1").value();
        world_.settings.silence = std::chrono::seconds(1);
    }
    void TearDown() override {
        if (listener_) listener_->Close();
        world_.End();
    }

    ServeWorld world_;
    std::shared_ptr<Listener> listener_;
    Endpoint address_;
};

class FtpControlTest : public ListenedTest {
 protected:
    void ListenFor(const Endpoint& server) {
        Listen([this, server](ClientSide client) {
            StartFtpControl(world_.services, std::move(client), {"server.example", server.port});
        });
    }
    // As if the client had asked for that server, and what it says decided the rest.
    void OpenFor(const Endpoint& server) {
        Listen([this, server](ClientSide client) {
            StartOpening(world_.services, std::move(client), {"server.example", server.port});
        });
    }
    // As after a change of the policy.
    void JudgeAgain() {
        for (const auto& one : world_.connections.All())
            if (const auto connection = one.lock()) connection->JudgeAgain();
    }
};

// Says what it was told, line by line.
inline void Repeat(Tcp::socket& socket) {
    asio::write(socket, asio::buffer(std::string("220 ready\r\n")));
    for (std::string said;;) {
        const std::size_t length = asio::read_until(socket, asio::dynamic_buffer(said), "\r\n");
        asio::write(socket, asio::buffer("200 " + said.substr(0, length)));
        said.erase(0, length);
    }
}

// A server whose answers a test gives by the command's first word; it keeps what it was told.
class ToldServer {
 public:
    using Answers = std::map<std::string, std::string>;
    explicit ToldServer(Answers answers = {}) : answers_(std::move(answers)) {}
    [[nodiscard]] Endpoint Address() const { return server_.Address(); }
    [[nodiscard]] std::string Told() {
        const std::lock_guard lock(mutex_);
        return told_;
    }
    [[nodiscard]] bool WasTold(const std::string& text) { return Told().find(text) != std::string::npos; }

 private:
    void Serve(Tcp::socket& socket) {
        asio::write(socket, asio::buffer(std::string("220 ready\r\n")));
        std::string said;
        for (std::array<char, 4096> part{};;) {
            const std::size_t count = socket.read_some(asio::buffer(part));
            {
                const std::lock_guard lock(mutex_);
                told_.append(part.data(), count);
            }
            said.append(part.data(), count);
            for (std::size_t end = 0; (end = said.find("\r\n")) != std::string::npos; said.erase(0, end + 2)) {
                const auto answer = answers_.find(ReadFtpCommand(said).verb);
                const std::string text = answer == answers_.end() ? "200 fine" : answer->second;
                if (!text.empty()) asio::write(socket, asio::buffer(text + "\r\n"));
            }
        }
    }

    std::mutex mutex_;
    std::string told_;
    Answers answers_;
    BlockingServer server_{[this](Tcp::socket& socket) { Serve(socket); }};
};

}  // namespace tarn::host::serve

#endif
