// What the journal of the scripted companions says of an ordinary life, in order: every answer empty, no feature on.
// Tests join these parts, and take away or put in what their case changes.
#ifndef TARN_TESTS_SYSTEM_JOURNAL_LINES_H
#define TARN_TESTS_SYSTEM_JOURNAL_LINES_H

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace tarn::system_test {

using Lines = std::vector<std::string>;

inline const Lines kLoadLines = {
    "load setrd.dll",        "load statrd.dll", "load pktsig.dll", "PKSInit",        "load sitecls.dll",
    "ReadWebSecCloudStatus", "ReadBPStatus",    "ReadAPStatus",    "ReadPCSettings", "SCInit 0",
    "load tlsinsp.dll",      "IntializeSSL",    "load urlsig.dll", "WSInitUrlsig"};

inline const Lines kReadLines = {"ReadBPUserWhiteList",
                                 "ReadBPStatus",
                                 "ReadIDSIPSStatus",
                                 "ReadIDSIPSSettings",
                                 "ReleaseIDSIPSSettings empty",
                                 "ReadAPStatus",
                                 "ReadBPSettings",
                                 "ReadPCSettings",
                                 "ReleasePCSettings empty",
                                 "ReadPCSystemControlSettings",
                                 "ReleasePCSystemControlSettings empty",
                                 "ReadBPInternalWhiteList",
                                 "ReadWSInternalWhiteList",
                                 "ReadAPSettings",
                                 "ReleaseAPSettings empty",
                                 "ReadBPReportPromptStatus",
                                 "ReadAPReportPromptStatus",
                                 "load agentst.dll",
                                 "GetYALStatus",
                                 "unload agentst.dll",
                                 "ReadIDSSettings"};

inline const Lines kReleaseLines = {"ReleaseWSInternalWhiteList empty", "WriteDNSCacheSettings error 0",
                                    "WritePCSystemControlSettings 0",   "ReleaseBPSettings empty",
                                    "ReleaseBPUserWhiteList empty",     "ReleaseIDSSettings empty"};

inline const Lines kUnloadLines = {"WSDeInitUrlsig",    "unload urlsig.dll",  "DeIntializeSSL", "unload tlsinsp.dll",
                                   "SCDeinit",          "unload sitecls.dll", "PKSDeinit 77",   "unload pktsig.dll",
                                   "unload statrd.dll", "unload setrd.dll"};

inline Lines Join(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline Lines Without(Lines lines, const Lines& dropped) {
    std::erase_if(lines, [&](const std::string& line) { return std::ranges::find(dropped, line) != dropped.end(); });
    return lines;
}

// The line in which one says before, as it says after.
inline Lines Changed(Lines lines, const std::string& before, const std::string& after) {
    std::ranges::replace(lines, before, after);
    return lines;
}

}  // namespace tarn::system_test

#endif
