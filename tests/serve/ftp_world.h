// What tests of FTP need around them: a listener, and servers that say what they were told.
#ifndef TARN_TESTS_SERVE_FTP_WORLD_H
#define TARN_TESTS_SERVE_FTP_WORLD_H

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "host/serve/ftp_control.h"
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
            StartFtpControl(world_.services, std::move(client), {"server.example", server.port}, data_);
        });
    }
    // As if the client had asked for that server, and what it says decided the rest.
    void OpenFor(const Endpoint& server) {
        Listen([this, server](ClientSide client) {
            StartOpening(world_.services, std::move(client), {"server.example", server.port});
        });
    }
    std::shared_ptr<FtpDataPorts> data_ = std::make_shared<FtpDataPorts>();
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

}  // namespace tarn::host::serve

#endif
