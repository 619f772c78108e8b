#include "host/serve/ftp_folder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tarn::host::serve {
namespace {

using Forms = std::vector<std::string>;

class FtpFolderTest : public testing::Test {
 protected:
    void Answer(const std::string& command, const std::string& reply) {
        ASSERT_TRUE(FtpFolder::IsToldBy(ReadFtpCommand(command))) << command;
        folder_.Answered(ReadFtpCommand(command), reply);
    }
    [[nodiscard]] Forms FormsOf(const std::string& command) const {
        return folder_.JudgedForms(ReadFtpCommand(command));
    }
    FtpFolder folder_;
};

TEST_F(FtpFolderTest, FollowsWhatTheServerAgreedTo) {
    Answer("CWD /pub/new\r\n", "250 fine\r");
    EXPECT_EQ(folder_.Path(), "/pub/new");
    Answer("cwd  x/./y//../z \r\n", "200 fine");
    EXPECT_EQ(folder_.Path(), "/pub/new/x/z");
    Answer("CWD old\r\n", "550 no such folder");
    EXPECT_EQ(folder_.Path(), "/pub/new/x/z");
    Answer("CDUP\r\n", "250 up");
    EXPECT_EQ(folder_.Path(), "/pub/new/x");
    Answer("XCUP\r\n", "500 no");
    Answer("XCWD a\\b\r\n", "250 fine");
    EXPECT_EQ(folder_.Path(), "/pub/new/x/a/b");
    Answer("CWD ../../../../../../..\r\n", "250 fine");
    EXPECT_EQ(folder_.Path(), "/");
}

TEST_F(FtpFolderTest, BeginsInTheRootWithALogin) {
    for (const char* login : {"USER anna\r\n", "PASS secret\r\n", "ACCT a\r\n", "REIN\r\n", "HOST a.example\r\n"}) {
        Answer("CWD /pub\r\n", "250 fine");
        Answer(login, "331 more is needed");
        Answer(login, "530 no");
        EXPECT_EQ(folder_.Path(), "/pub") << login;
        Answer(login, "230 hello");
        EXPECT_EQ(folder_.Path(), "/") << login;
    }
}

TEST_F(FtpFolderTest, BelievesWhatTheServerSaysOfIt) {
    Answer("PWD\r\n", "257 \"/home/anna\" is current");
    EXPECT_EQ(folder_.Path(), "/home/anna");
    Answer("XPWD\r\n", "257 \"/a \"\"b\"\" c/\"");
    EXPECT_EQ(folder_.Path(), "/a \"b\" c");
    for (const char* reply : {"257 no quotes", "257 \"without an end", "257", "550 \"/other\"", "250 \"/other\""}) {
        Answer("PWD\r\n", reply);
        EXPECT_EQ(folder_.Path(), "/a \"b\" c") << reply;
    }
}

TEST_F(FtpFolderTest, GrowsNoLongerThanFoldersAre) {
    for (int i = 0; i < 100; ++i) Answer("CWD " + std::string(100, 'a') + "\r\n", "250 fine");
    EXPECT_LE(folder_.Path().size(), 4096U);
    EXPECT_GT(folder_.Path().size(), 3900U);
}

TEST_F(FtpFolderTest, JudgesACommandInOneSpelling) {
    EXPECT_EQ(FormsOf("retr /evil.bin\r\n"), Forms{"RETR /evil.bin\r\n"});
    EXPECT_EQ(FormsOf("Retr evil.bin\r\n"), Forms{"RETR evil.bin\r\n"});
    EXPECT_EQ(FormsOf("RETR  evil.bin \r\n"), (Forms{"RETR evil.bin\r\n", "RETR  evil.bin \r\n"}));
    EXPECT_EQ(FormsOf("xcwd /pub\r\n"), Forms{"CWD /pub\r\n"});
    EXPECT_EQ(FormsOf("list\r\n"), Forms{"LIST\r\n"});
    EXPECT_EQ(FormsOf("Stor a b\r\n"), Forms{"STOR a b\r\n"});
    EXPECT_EQ(FormsOf("RETR \r\n"), Forms{"RETR\r\n"});
}

TEST_F(FtpFolderTest, JudgesTheWholeNameToo) {
    Answer("CWD /pub\r\n", "250 fine");
    EXPECT_EQ(FormsOf("RETR evil.bin\r\n"), (Forms{"RETR evil.bin\r\n", "RETR /pub/evil.bin\r\n"}));
    EXPECT_EQ(FormsOf("CWD sub/\r\n"), (Forms{"CWD sub/\r\n", "CWD /pub/sub\r\n"}));
    EXPECT_EQ(FormsOf("RETR /x/..//evil.bin\r\n"), (Forms{"RETR /x/..//evil.bin\r\n", "RETR /evil.bin\r\n"}));
    EXPECT_EQ(FormsOf("RETR ~/evil.bin\r\n"), (Forms{"RETR ~/evil.bin\r\n", "RETR /evil.bin\r\n"}));
    EXPECT_EQ(FormsOf("RETR a\\evil.bin\r\n"), (Forms{"RETR a\\evil.bin\r\n", "RETR /pub/a\\evil.bin\r\n",
                                                      "RETR /a/evil.bin\r\n", "RETR /pub/a/evil.bin\r\n"}));
}

}  // namespace
}  // namespace tarn::host::serve
