// Measures the scan exports of the built tarn.dll as a host calls them: with small lists and with large ones, beside
// the bare call through the boundary and the plain walk over the same lists in the same run.
//   dll_bench [ENTRIES [BATCHES]]   entries of the large lists, 100000; batches of each figure, 51
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "companions/scripted/companion_script.h"
#include "dll/installed_library.h"
#include "dll/stopwatch.h"
#include "host/capture/capture_reader.h"
#include "url/scan_questions.h"
#include "url/walked_lists.h"

namespace tarn::dll_bench {
namespace {

using url::Judged;
using url::ScanQuestions;

constexpr std::size_t kSmall = 100;
constexpr double kBatchSeconds = 0.002;
constexpr std::uint16_t kIdsRules = 10000;

class Bench {
 public:
    Bench(InstalledLibrary& library, std::size_t batches) : library_(library), batches_(batches) {}

    // Every case with this many entries in every list. False when an answer was wrong.
    bool Run(std::size_t entries) {
        entries_ = entries;
        lists_ = std::make_unique<url::ListRecords>(entries);
        Deliver();
        const double start = Seconds();
        if (!library_.Start()) return Fail("WSInit");
        std::printf("%-44s %8zu %12.1f ms\n", "WSInit, which publishes the lists", entries_, (Seconds() - start) * 1e3);
        Fill();
        Urls();
        Frames("smb2_311_smbclient.pcap");
        PlainWalk();
        library_.Stop();
        return allRight_;
    }

 private:
    void Deliver() {
        script::Answers& answers = *ScriptAnswers();
        answers.bpStatus = answers.apStatus = answers.cloudStatus = 1;
        answers.idsIpsStatus.enabled = 1;
        answers.bpSettings = lists_->Malicious();
        answers.apSettings = lists_->Phishing();
        answers.wsInternalWhiteList = lists_->WebSecurity();
        answers.bpInternalWhiteList = lists_->BrowsingProtection();
        answers.bpUserWhiteList = lists_->User();
        answers.pcSettings = lists_->Parental();
        rules_.resize(kIdsRules);
        for (std::size_t i = 0; i < rules_.size(); ++i) rules_[i].id = static_cast<std::uint16_t>(i);
        answers.idsSettings = {kIdsRules, 0, rules_.data()};
    }

    // The blocked addresses and the answer ring, by the exports that fill them.
    void Fill() {
        url::SiteCorpus corpus(50);
        for (std::size_t i = 0; i < entries_; ++i) {
            const IdsBlockRequest request = url::BlockedAddress(corpus);
            library_.addToIdsBlockedList(&request);
        }
        for (ScanQuestions questions : {url::RingFillers(), url::DnsQuestions()})
            for (url::OwnedRequest& request : questions.requests)
                library_.scanUrl(&request.Get(), verdict_.get(), &prompt_);
    }

    void Urls() {
        ScanQuestions unknownKind = url::HttpQuestions(Judged::kByCategories);
        for (url::OwnedRequest& request : unknownKind.requests) request.Get().kind = 0;
        Scans("WSScanUrl, a kind that ends at once", std::move(unknownKind));
        Scans("WSScanUrl, HTTP", url::HttpQuestions(Judged::kToCategories));
        Scans("WSScanUrl, HTTP, categories asked", url::HttpQuestions(Judged::kByCategories));
        Scans("WSScanUrl, HTTP, a phishing site", url::PhishingQuestions(*lists_));
        Scans("WSScanUrl, FTP", url::FtpQuestions(Judged::kToCategories));
        Scans("WSScanUrl, TLS", url::TlsQuestions(Judged::kToCategories));
        Scans("WSScanUrl, TLS without a name", url::TlsQuestionsByAddress(Judged::kToCategories));
        Scans("WSScanUrl, DNS", url::DnsQuestions());
        Scans("WSWebExtScanUrl", url::ExtensionQuestions());
    }

    void Scans(const char* name, ScanQuestions questions) {
        const auto scan = questions.byExtension ? library_.scanExtensionUrl : library_.scanUrl;
        Tell(name, Measure(batches_, kBatchSeconds, [&](std::size_t n) {
                 ScanRequest& request = questions.requests[n % questions.requests.size()].Get();
                 return scan(&request, verdict_.get(), &prompt_) == 1 && questions.Answers(*verdict_);
             }));
    }

    // Each frame of a captured SMB conversation in turn, as one case.
    void Frames(const char* capture) {
        std::ifstream file(std::string(TARN_CAPTURE_FOLDER "/") + capture, std::ios::binary);
        host::CaptureReader reader(file);
        std::vector<std::vector<std::uint8_t>> frames;
        for (host::CapturedFrame frame; reader.Next(frame);) frames.push_back(frame.bytes);
        if (frames.empty()) {
            Fail("the capture");
            return;
        }
        const auto length = [&](std::size_t n) { return static_cast<std::uint32_t>(frames[n].size()); };
        Tell("WSScanPacket, frames of a capture", Measure(batches_, kBatchSeconds, [&](std::size_t n) {
                 n %= frames.size();
                 return library_.scanPacket(frames[n].data(), length(n), 9999, 1, 0, &packet_) == 1 &&
                        packet_.action == TARN_PACKET_ALLOW;
             }));
        // Twice around: the first time the tables are empty.
        std::vector<std::uint8_t> answers(frames.size());
        const auto scan = [&](std::size_t n) { return library_.scanSmbPacket(frames[n].data(), length(n), 0, &smb_); };
        for (std::size_t i = 0; i < 2 * frames.size(); ++i) answers[i % frames.size()] = scan(i % frames.size());
        Tell("WSScanSMBPacket, frames of a capture", Measure(batches_, kBatchSeconds, [&](std::size_t n) {
                 n %= frames.size();
                 return scan(n) == answers[n];
             }));
    }

    // What a library would pay that walks the lists of an HTTP request as they were delivered.
    void PlainWalk() {
        const auto lists = std::make_unique<url::WalkedLists>(*lists_);
        if (!lists->Ready()) {
            Fail("memory");
            return;
        }
        ScanQuestions questions = url::HttpQuestions(Judged::kToCategories);
        Tell("plain walk over the lists of HTTP", Measure(batches_, kBatchSeconds, [&](std::size_t n) {
                 return lists->LetPass(questions.requests[n % questions.requests.size()].Get());
             }));
    }

    void Tell(const char* name, const Figure& figure) {
        if (!figure.rightAnswers) {
            Fail(name);
            return;
        }
        std::printf("%-44s %8zu %12.1f ns %12.1f ns\n", name, entries_, figure.median, figure.fastest);
        std::fflush(stdout);
    }
    bool Fail(const char* what) {
        std::printf("WRONG: %s, with %zu entries\n", what, entries_);
        allRight_ = false;
        return false;
    }

    InstalledLibrary& library_;
    std::size_t batches_;
    std::size_t entries_ = 0;
    bool allRight_ = true;
    std::unique_ptr<url::ListRecords> lists_;
    std::vector<IdsRule> rules_;
    std::unique_ptr<UrlVerdict> verdict_ = std::make_unique<UrlVerdict>();
    PromptBytes prompt_{};
    PacketVerdict packet_{};
    SmbScanResult smb_{};
};

}  // namespace
}  // namespace tarn::dll_bench

int main(int count, char** arguments) {
    const std::size_t large = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 100000;
    const std::size_t batches = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 51;
    if (large == 0 || batches == 0) {
        std::puts("dll_bench [ENTRIES [BATCHES]]");
        return 2;
    }
    tarn::dll_bench::InstalledLibrary library;
    if (!library.Problem().empty()) {
        std::puts(library.Problem().c_str());
        return 2;
    }
    std::printf("%-44s %8s %15s %15s\n", "each call", "entries", "median", "fastest");
    tarn::dll_bench::Bench bench(library, batches);
    const bool right = bench.Run(tarn::dll_bench::kSmall) && bench.Run(large);
    std::puts(right ? "every answer right" : "AN ANSWER WAS WRONG");
    return right ? 0 : 1;
}
