#include "host/service_arguments.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "host/commands/command.h"

namespace tarn::host {
namespace {

using Arguments = std::vector<std::string>;

TEST(ServiceArgumentsTest, KnowsWhatTheSystemCalls) {
    EXPECT_TRUE(AsksToRunAsService({"serve", "--service", "run"}));
    EXPECT_TRUE(AsksToRunAsService({"--json", "serve", "--service=run"}));
    EXPECT_FALSE(AsksToRunAsService({"serve", "--service", "install"}));
    EXPECT_FALSE(AsksToRunAsService({"serve", "--service"}));
    EXPECT_FALSE(AsksToRunAsService({"url", "--service", "run"}));
    EXPECT_FALSE(AsksToRunAsService({}));
}

TEST(ServiceArgumentsTest, GivesTheServiceTheSameOptionsAndWholeFileNames) {
    const auto makeAbsolute = [](const std::string& file) { return "C:\\here\\" + file; };
    EXPECT_EQ(ServiceArguments({"serve", "--service", "install", "--policy", "my.toml", "--events=e.jsonl", "--proxy",
                                "127.0.0.1:80", "--policy"},
                               makeAbsolute),
              (Arguments{"serve", "--service", "run", "--policy", "C:\\here\\my.toml", "--events=C:\\here\\e.jsonl",
                         "--proxy", "127.0.0.1:80", "--policy"}));
    EXPECT_EQ(ServiceArguments({"serve", "--service=install"}, makeAbsolute), (Arguments{"serve", "--service=run"}));
    EXPECT_EQ(ServiceArguments({"serve", "--events-files", "3", "--service", "install"}, makeAbsolute),
              (Arguments{"serve", "--events-files", "3", "--service", "run"}));
}

TEST(ServiceArgumentsTest, IsStartedAgainAfterWhatMayPass) {
    EXPECT_EQ(ToldExitCode(kExitOk), 0);
    EXPECT_EQ(ToldExitCode(kExitFailed), 1) << "an address that is not there yet, a policy that cannot be read";
    EXPECT_EQ(ToldExitCode(kExitUsage), 0) << "the same options again";
    EXPECT_EQ(ToldExitCode(7), 7);
}

struct Quoting {
    const char* argument;
    const char* quoted;
};

TEST(ServiceArgumentsTest, QuotesAsWindowsReads) {
    constexpr Quoting kQuotings[] = {
        {"plain", "plain"},
        {"", R"("")"},
        {"a b", R"("a b")"},
        {R"(C:\a\b)", R"(C:\a\b)"},
        {R"(C:\a b\)", R"("C:\a b\\")"},
        {R"(say "hi")", R"("say \"hi\"")"},
        {R"(a\"b c)", R"("a\\\"b c")"},
    };
    for (const Quoting& one : kQuotings) EXPECT_EQ(QuotedForWindows(one.argument), one.quoted);
    EXPECT_EQ(CommandLineOf({"serve", "a b"}), R"(serve "a b")");
}

}  // namespace
}  // namespace tarn::host
