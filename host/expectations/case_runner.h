// Asks the library for the verdict of one case of a policy's tests.
// It borrows the environment; each case gets a library of its own with a state of its own, unless they are told
// together.
#ifndef TARN_HOST_EXPECTATIONS_CASE_RUNNER_H
#define TARN_HOST_EXPECTATIONS_CASE_RUNNER_H

#include <memory>
#include <optional>
#include <string>

#include "host/expectations/case_file.h"
#include "host/expectations/finding.h"
#include "host/explain/entry_finder.h"
#include "host/judge.h"
#include "host/protocol_choice.h"

namespace tarn::host {

struct RanCase {
    Finding found;
    std::string failure;  // why nothing was asked; empty when it was
};

class CaseRunner {
 public:
    // folder: of the cases, which captures are named from. options: of each library; its clock, else the machine's time
    // at the beginning, is that of the cases without one.
    CaseRunner(Environment& environment, LibraryOptions options, std::string folder, bool isTogether);
    RanCase Run(const PolicyCase& one);

 private:
    // The library, at the time of the case; null with the reason in mistake.
    Judge* LibraryFor(const PolicyCase& one, std::string& mistake);
    // Empty when the case's account is the one that the library will see.
    [[nodiscard]] std::string WhyNotAs(const std::string& account) const;
    void RunUrl(const PolicyCase& one, RanCase& ran);
    void RunExtension(const PolicyCase& one, RanCase& ran);
    void RunRequest(const PolicyCase& one, RanCase& ran);
    void RunFrame(const PolicyCase& one, RanCase& ran);
    void RunLogon(const PolicyCase& one, RanCase& ran);
    void Scan(const PolicyCase& one, const Protocol& protocol, base::Bytes data, const Endpoint& server, RanCase& ran);

    Environment& environment_;
    LibraryOptions options_;
    std::string folder_;
    bool isTogether_;
    TarnSystemTime now_;
    EntryFinder entries_;
    std::unique_ptr<Judge> library_;
    std::optional<TarnSystemTime> clock_;  // of the library
};

}  // namespace tarn::host

#endif
