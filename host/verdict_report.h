// Prints judged requests, one line each, and a summary: as aligned text for people or as JSON lines for programs.
// Which requests are judged is left to the commands.
#ifndef TARN_HOST_VERDICT_REPORT_H
#define TARN_HOST_VERDICT_REPORT_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/judge.h"
#include "host/protocol_choice.h"

namespace tarn::host {

// Where in a capture a request was found.
struct CaptureOrigin {
    std::uint64_t frame = 0;
    std::uint64_t timeNanoseconds = 0;
    Endpoint client;
    std::optional<IpAddress> replacedClient;  // what the capture has in the place of the addresses shown
    std::optional<IpAddress> replacedServer;
};

struct JudgedRequest {
    const Protocol* protocol = nullptr;
    RequestView view;
    Endpoint server;
    std::optional<CaptureOrigin> origin;
    Judgement judgement;
};

struct AddressReplacement {
    IpAddress from;
    IpAddress to;
};

struct CaptureHeading {
    std::string name;  // of the file, without its folder
    std::vector<AddressReplacement> replacements;
};

struct Totals {
    std::uint64_t requests = 0;
    std::uint64_t allowed = 0;
    std::uint64_t blocked = 0;
    std::uint64_t withoutVerdict = 0;
    std::map<std::uint32_t, std::uint64_t> byReason;  // of the requests with a verdict

    void Count(const Judgement& judgement);
};

class VerdictReport {
 public:
    virtual ~VerdictReport() = default;
    virtual void BeginCapture(const CaptureHeading& heading) = 0;
    virtual void Request(const JudgedRequest& request) = 0;
    virtual void Summary() = 0;
};

struct ReportStyle {
    bool json = false;
    bool colour = false;
    bool verbose = false;
};
std::unique_ptr<VerdictReport> MakeReport(std::ostream& out, const ReportStyle& style);

}  // namespace tarn::host

#endif
