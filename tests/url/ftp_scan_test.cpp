#include <gtest/gtest.h>

#include "scan_fixture.h"

namespace tarn::url {
namespace {

class FtpScan : public ScanFixture {
 protected:
    FtpScan() {
        kind = TARN_KIND_FTP;
        port = 21;
    }
};

TEST_F(FtpScan, AUrlThatDoesNotFitFailsTheScan) {
    // Without a line end nothing is put in front: 11 characters of address and the argument.
    EXPECT_TRUE(Scan("RETR " + std::string(1012, 'a')));
    EXPECT_FALSE(Scan("RETR " + std::string(1013, 'a')));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_FALSE(Scan("RETR " + std::string(1015, 'a')));
}

TEST_F(FtpScan, AUrlNamesAnIpv6AddressAsEightGroups) {
    remote = {TARN_FAMILY_IPV6, {0x20, 0x01, 0x0D, 0xB8, 1}};
    settings.apStatus = 1;
    PublishPhishing("2001:0db8:0100:0000:0000:0000:0000:0000", true);
    EXPECT_TRUE(Scan("RETR File\r\n"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_STREQ(verdict.text.url, "2001:0db8:0100:0000:0000:0000:0000:0000/file");
}

}  // namespace
}  // namespace tarn::url
