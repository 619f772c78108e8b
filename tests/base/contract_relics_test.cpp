#include "base/contract_relics.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace tarn::base {
namespace {

static_assert(offsetof(TraceScope, logPath) == 0);
static_assert(offsetof(TraceScope, moduleName) == 520);
static_assert(offsetof(TraceScope, functionName) == 1040);
static_assert(offsetof(TraceScope, levelMask) == 1560);
static_assert(sizeof(TraceScope) == 1564);

std::u16string FunctionOf(const char16_t* function) {
    return TraceScope(function).functionName;
}

TEST(TraceScope, HasItsTextsAndAllLevels) {
    const TraceScope scope(u"WSScanUrl", 1, 2);
    EXPECT_EQ(std::u16string(scope.logPath), u"c:\\logs\\tarn.log");
    EXPECT_EQ(std::u16string(scope.moduleName), u"tarn.dll");
    EXPECT_EQ(std::u16string(scope.functionName), u"WSScanUrl");
    EXPECT_EQ(scope.levelMask, 63U);
}

TEST(TraceScope, WithoutANameTheFunctionIsUnknown) {
    EXPECT_EQ(FunctionOf(nullptr), u"UNKNOWN");
    EXPECT_EQ(FunctionOf(u""), u"") << "an empty name is a name";
}

TEST(TraceScope, ANameThatDoesNotFitIsUnknown) {
    EXPECT_EQ(FunctionOf(std::u16string(300, u'n').c_str()), u"UNKNOWN");
    EXPECT_EQ(FunctionOf(std::u16string(260, u'n').c_str()), u"UNKNOWN");
    EXPECT_EQ(FunctionOf(std::u16string(259, u'n').c_str()), std::u16string(259, u'n'));
}

TEST(ContractRelics, SocialHostsAreHosts) {
    for (const std::string_view host : kSocialHosts) EXPECT_TRUE(!host.empty() && host.size() < 256) << host;
}

}  // namespace
}  // namespace tarn::base
