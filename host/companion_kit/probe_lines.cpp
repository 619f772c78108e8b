#include "host/companion_kit/probe_lines.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace tarn::host {

namespace {

using Json = nlohmann::json;

std::string LineOf(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

constexpr std::uint32_t kFirstException = 0xC0000000;  // exit codes from here on are those of exceptions

// The export that a call's name begins with, as in "SCGetURLCategories on 8 threads".
std::string FunctionOf(const std::string& calling) {
    const std::string name = calling.substr(0, calling.find(' '));
    return name == "its" ? std::string() : name;
}

}  // namespace

std::string TextOf(const CompanionCheck& check) {
    return Json{{"folder", check.folder},
                {"module", check.module},
                {"neighbours", check.neighbours},
                {"addresses", check.addresses},
                {"writes", check.writes}}
        .dump(-1, ' ', true, Json::error_handler_t::replace);
}

bool ReadCheck(std::string_view text, CompanionCheck& check) {
    const Json value = Json::parse(text, nullptr, false);
    if (!value.is_object()) return false;
    check.folder = value.value("folder", "");
    check.module = value.value("module", "");
    check.neighbours = value.value("neighbours", std::vector<std::string>());
    check.addresses = value.value("addresses", std::vector<std::string>());
    check.writes = value.value("writes", false);
    return !check.folder.empty() && !check.module.empty();
}

std::string CallLine(std::string_view function) {
    return LineOf({{"calling", function}});
}

std::string FindingLine(const CompanionFinding& finding) {
    return LineOf({{"function", finding.function},
                   {"finding", finding.text},
                   {"consequence", finding.consequence},
                   {"isNote", finding.isNote}});
}

std::string EndLine() {
    return LineOf({{"end", true}});
}

void ProbeLines::Read(std::string_view line) {
    const Json value = Json::parse(line, nullptr, false);
    if (!value.is_object()) return;
    if (value.contains("calling")) calling_ = value.value("calling", "");
    if (value.contains("end")) hasEnded_ = true;
    if (value.contains("finding"))
        findings_.push_back({check_.module, value.value("function", ""), value.value("finding", ""),
                             value.value("consequence", ""), value.value("isNote", false)});
}

std::vector<CompanionFinding> ProbeLines::Findings(const ProbeEnd& end) const {
    std::vector<CompanionFinding> all = findings_;
    if (hasEnded_ && !end.isHanging && end.exitCode == 0) return all;
    CompanionFinding last{check_.module, FunctionOf(calling_), {}, {}, false};
    const std::string where = hasEnded_ ? "behind the last call" : "in " + calling_;
    if (calling_.empty() && !hasEnded_ && !end.isHanging && end.exitCode < kFirstException) {
        last.text = fmt::format("the process of the check ended before the first call (exit code {})", end.exitCode);
        last.consequence = "nothing is known about the module; run the check again";
    } else if (end.isHanging) {
        last.text = fmt::format("does not come back within {} s {}", check_.secondsWithoutAnswer, where);
        last.consequence = "the call of the library that needs it hangs as well";
    } else if (end.exitCode >= kFirstException) {
        last.text = fmt::format("crashed {} (0x{:08X})", where, end.exitCode);
        last.consequence = "the host process would end";
    } else {
        last.text = fmt::format("ended the process {} (exit code {})", where, end.exitCode);
        last.consequence = "the host process would end";
    }
    all.push_back(std::move(last));
    return all;
}

}  // namespace tarn::host
