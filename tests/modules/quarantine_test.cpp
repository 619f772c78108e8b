#include "modules/quarantine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/fake_modules.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QuarantineRequest Request() {
    QuarantineRequest request{};
    request.type = 2;
    return request;
}

TEST(QuarantineCall, HoldsItsModuleForOneAction) {
    fakes::FakeModules fake;
    {
        QuarantineCall call(fake);
        ASSERT_TRUE(call.Ready());
        EXPECT_TRUE(call.Quarantine(u"C:\\bad.exe", Request()));
    }
    EXPECT_THAT(fake.journal, ElementsAre("load isolate.dll", "ZRQuarantineFile C:\\bad.exe 2", "free isolate.dll"));
}

TEST(QuarantineCall, AFailedCallFreesTheModuleToo) {
    fakes::FakeModules fake;
    fake.failing = {"ZRQuarantineFile"};
    {
        QuarantineCall call(fake);
        EXPECT_FALSE(call.Quarantine(u"C:\\bad.exe", Request()));
    }
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST(QuarantineCall, WithoutItsFunctionItIsFreedAtOnce) {
    fakes::FakeModules fake;
    fake.missingFunctions = {"ZRQuarantineFile"};
    {
        QuarantineCall call(fake);
        EXPECT_FALSE(call.Ready());
        EXPECT_THAT(fake.journal, ElementsAre("load isolate.dll", "free isolate.dll"));
        EXPECT_FALSE(call.Quarantine(u"C:\\bad.exe", Request()));
    }
    EXPECT_EQ(fake.journal.size(), 2U) << "and not once more";
}

TEST(QuarantineCall, WithoutItsFileOrFolderItIsNotReady) {
    fakes::FakeModules fake;
    fake.missingFiles = {"isolate.dll"};
    EXPECT_FALSE(QuarantineCall(fake).Ready());
    fake.missingFiles = {};
    fake.hasInstallFolder = false;
    EXPECT_FALSE(QuarantineCall(fake).Ready());
    fake.hasInstallFolder = true;
    fake.installFolder = std::u16string(248, u'd') + u"\\";  // 249 + 11 leave no unit for the NUL
    fake.loads.clear();
    EXPECT_FALSE(QuarantineCall(fake).Ready());
    EXPECT_THAT(fake.loads, IsEmpty());
    fake.installFolder = std::u16string(247, u'd') + u"\\";
    EXPECT_TRUE(QuarantineCall(fake).Ready());
}

TEST(QuarantineCall, TwoActionsHoldTheModuleEachByItself) {
    fakes::FakeModules fake;
    QuarantineCall second(fake);
    {
        QuarantineCall first(fake);
        EXPECT_TRUE(first.Quarantine(u"a", Request()));
    }
    EXPECT_TRUE(second.Quarantine(u"b", Request())) << "the end of one does not take the module from the other";
    EXPECT_EQ(fake.Count("load isolate.dll"), 2U);
    EXPECT_EQ(fake.Count("free isolate.dll"), 1U);
}

}  // namespace
}  // namespace tarn::modules
