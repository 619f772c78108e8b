// The JUnit file: counts, escaping, and that it holds no character that XML cannot.
#include "host/expectations/junit.h"

#include <gmock/gmock.h>

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(Junit, CountsAndPlacesEachOutcome) {
    const std::string xml =
        JunitOf("tarnhost test", {{"one", "c.toml", 3, TestOutcome::kOk, "", "", 0.25},
                                  {"two", "c.toml", 9, TestOutcome::kDifferent, "why", "a\nb", 0.5},
                                  {"three", "c.toml", 0, TestOutcome::kFailed, "not asked", "", 0}});
    EXPECT_THAT(xml, AllOf(HasSubstr("<testsuites tests=\"3\" failures=\"1\" errors=\"1\" time=\"0.750\">"),
                           HasSubstr("<testcase classname=\"tarnhost test\" name=\"one\" file=\"c.toml\" line=\"3\" "
                                     "time=\"0.250\"/>"),
                           HasSubstr("<failure message=\"why\">a\nb</failure>"),
                           HasSubstr("<error message=\"not asked\"></error>"), Not(HasSubstr("line=\"0\""))));
}

TEST(Junit, HoldsNothingThatXmlCannot) {
    const std::string xml =
        JunitOf("s", {{"<a&\"b\">", "", 0, TestOutcome::kDifferent, "x\x01\ny", "\x1b[1m\xff\xEF\xBF\xBF]]>", 0}});
    EXPECT_THAT(xml,
                AllOf(HasSubstr("name=\"&lt;a&amp;&quot;b&quot;&gt;\""), HasSubstr("message=\"x\\x01 y\""),
                      HasSubstr("\\x1b[1m\\xff\xEF\xBF\xBD]]&gt;"), Not(HasSubstr("\x1b")), Not(HasSubstr("\xff"))));
}

}  // namespace
}  // namespace tarn::host
