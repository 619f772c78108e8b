// FTP through the HTTP proxy: requests that an FTP server would take for commands.
#include <gtest/gtest.h>
#include <string>

#include "host/serve/http_proxy.h"
#include "serve/ftp_world.h"

namespace tarn::host::serve {
namespace {

class FtpProxyTest : public ListenedTest {
 protected:
    void SetUp() override {
        ListenedTest::SetUp();
        Listen([this](ClientSide client) { StartHttp(world_.services, std::move(client)); });
    }
};

TEST_F(FtpProxyTest, ARequestDoesNotGoToAPortOfFtp) {
    world_.settings.hosts["server.example"] = ParseIpAddress("127.0.0.77").value();
    for (const char* request :
         {"GET http://server.example:21/ HTTP/1.1\r\nHost: a\r\n\r\n",
          "POST http://server.example:2121/ HTTP/1.1\r\nHost: a\r\nContent-Length: 16\r\n\r\nRETR /evil.bin\r\n"}) {
        BlockingClient client(address_);
        client.Send(request);
        client.EndSending();
        const std::string answer = client.ReadAll();
        EXPECT_EQ(answer.substr(0, 12), "HTTP/1.1 403") << request;
        EXPECT_NE(answer.find("The port is one of FTP"), std::string::npos) << answer;
    }
    EXPECT_EQ(world_.Events("\"passed\":false"), 2U);
    EXPECT_EQ(world_.filter.Snapshot().refusedUnknown, 2U);
}

}  // namespace
}  // namespace tarn::host::serve
