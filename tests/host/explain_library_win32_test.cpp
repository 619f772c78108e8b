// No explanation that the library contradicts: verdicts foretold from policies at random, held against the real library
// with the reference companions, before and after the entries that decide are taken out.
// explain_library_test --policies=3000 --seed=7 takes more of them, and others.
#include <charconv>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <windows.h>

#include "host/clock_time.h"
#include "host/composed_request.h"
#include "host/explain/entry_finder.h"
#include "host/explain/explanation.h"
#include "host/explain/policy_edit.h"
#include "host/explain/remedy.h"
#include "host/explain/scan_steps.h"
#include "host/explain/variant_library.h"
#include "host/file_path.h"
#include "host/loaded_library_win32.h"
#include "host/random_policy.h"
#include "host/state_folder_win32.h"
#include "host/temporary_file.h"
#include "host/this_machine_win32.h"
#include "host/utf8_win32.h"

namespace tarn::host {
namespace {

constexpr std::uint32_t kAddresses = 24;  // for each policy

// A number that the command line gives, such as "--policies=3000".
std::uint32_t Argument(const std::string& name, std::uint32_t usual) {
    for (const std::string& argument : testing::internal::GetArgvs()) {
        if (!argument.starts_with(name + "=")) continue;
        std::uint32_t value = 0;
        const char* const begin = argument.data() + name.size() + 1;
        std::from_chars(begin, argument.data() + argument.size(), value);
        return value;
    }
    return usual;
}

std::string EntryWords(const std::optional<DecidingEntry>& entry) {
    return entry ? PlaceWords(*entry) + " " + entry->list + " " + entry->text : "no entry";
}

std::wstring BuiltFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return (std::filesystem::path(path).parent_path().parent_path() / "bin" / "").wstring();
}

class BuiltLibrary : public Environment {
 public:
    BuiltLibrary() {
        std::string mistake;
        EXPECT_TRUE(state_.Use({}, mistake)) << mistake;
    }
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) override {
        LibraryOptions own = options;
        own.installFolder = FromWide(BuiltFolder());
        return LoadLibraryFrom(BuiltFolder(), own, mistake);
    }
    [[nodiscard]] std::string OwnFolder() const override { return FromWide(BuiltFolder()); }
    [[nodiscard]] bool IsOutputTerminal() const override { return false; }
    [[nodiscard]] bool IsErrorTerminal() const override { return false; }

 private:
    StateFolder state_;
};

struct Asked {
    RandomAddress address;
    std::vector<std::uint8_t> data;
    JudgedRequest request;  // of a connection
    ScanQuestion question;
};

bool Compose(const RandomAddress& address, Asked& asked) {
    asked.address = address;
    if (address.isReported) {
        asked.question.asked = AskedOfReported(address.url);
        return true;
    }
    std::string mistake;
    const auto composed = ComposeRequest(address.url, mistake);
    if (!composed) return false;
    asked.data = composed->data;
    asked.request = {composed->protocol, composed->view, composed->server, std::nullopt, {}, {}};
    if (!address.server.empty() && !composed->isServerKnown)
        asked.request.server.address = *ParseIpAddress(address.server);
    asked.question.asked = AskedOf(asked.request);
    return true;
}

Judgement Ask(Judge& library, const Asked& asked) {
    if (asked.address.isReported) return library.ScanExtensionUrl(TARN_KIND_TLS, asked.address.url);
    return library.ScanUrl(asked.request.protocol->kind, asked.data, asked.request.server);
}

// What the reports of other commands put a verdict down to.
std::string FoundEntry(EntryFinder& finder, const Asked& asked, const Judgement& judgement) {
    JudgedRequest request = asked.request;
    request.judgement = judgement;
    return EntryWords(asked.address.isReported ? finder.FindReported(asked.address.url, judgement)
                                               : finder.Find(request));
}

std::string WordsOf(const Asked& asked, const std::string& time) {
    return asked.address.url + (asked.address.isReported ? " (reported)" : "") + " server " +
           FormatIpAddress(asked.request.server.address) + " at " + time;
}

struct Counts {
    std::uint32_t verdicts = 0;
    std::uint32_t byEntry = 0;
    std::uint32_t proved = 0;
    std::uint32_t remedies = 0;
    std::uint32_t ofLists = 0;                   // decided by an entry of an included list
    std::map<std::string, std::uint32_t> steps;  // verdicts by the step that decided
};

class ExplainedLibrary : public testing::Test {
 protected:
    ExplainedLibrary() { FindMachineAccount({}, account_); }

    // False after too many disagreements: one of them is what one wants to see.
    bool Compare(const PolicyVariant& policy, const std::string& time, const std::vector<Asked>& all) {
        std::string mistake;
        LibraryOptions options;
        options.clock = ParseClockTime(time, {});
        VariantLibrary variants(environment_, options);
        const policy::ReadPolicy read = ReadVariant(policy);
        EXPECT_TRUE(read.mistakes.empty()) << policy.text << read.mistakes.front().text;
        const PolicyIndex index(read.policy);
        EntryFinder finder(read.policy, account_);
        const auto library = variants.Open(policy, mistake);
        EXPECT_NE(library, nullptr) << mistake;
        if (library == nullptr) return false;
        for (const Asked& asked : all) {
            const Judgement judgement = Ask(*library, asked);
            const Outcome answer = OutcomeOf(judgement);
            const Foretold foretold = Foretell(index, asked.question);
            ++counts_.verdicts;
            ++counts_.steps[foretold.step ? std::string(StepsOf(asked.question)[*foretold.step].name) : "none"];
            if (foretold.decider) ++counts_.byEntry;
            if (foretold.decider && PlaceOf(read.policy, *foretold.decider).file != 0) ++counts_.ofLists;
            const std::string decider =
                EntryWords(foretold.decider ? std::optional(index.Describe(*foretold.decider)) : std::nullopt);
            const std::string found = FoundEntry(finder, asked, judgement);
            if (answer == foretold.outcome && found == decider) continue;
            ADD_FAILURE() << WordsOf(asked, time) << ": the library says " << OutcomeWords(answer) << ", by " << found
                          << "; foretold is " << OutcomeWords(foretold.outcome) << ", by " << decider << "\n"
                          << policy.text;
            if (++disagreements_ >= 3) return false;
        }
        return true;
    }

    // Takes out the entry that decides one of the addresses; what remains is compared for all of them.
    bool CompareWithout(PolicyVariant variant, const std::string& time, const std::vector<Asked>& all,
                        std::size_t first) {
        const policy::FindSid any;
        for (int taken = 0; taken < 2; ++taken) {
            const policy::Policy policy = ReadVariant(variant).policy;
            const PolicyIndex index(policy);
            std::optional<EntryRef> decider;
            for (std::size_t i = 0; i < all.size() && !decider; ++i)
                decider = Foretell(index, all[(first + i) % all.size()].question).decider;
            if (!decider) return true;
            std::string whyNot;
            const auto edited = WithoutEntry(variant, policy, *decider, any, whyNot);
            if (!edited) {
                ADD_FAILURE() << whyNot << ": " << PlaceWords(Describe(policy, *decider)) << "\n" << variant.text;
                return ++disagreements_ < 3;
            }
            variant = edited->variant;
            if (!Compare(variant, time, all)) return false;
            ++counts_.proved;
        }
        return true;
    }

    // Writes what would be advised for an address and asks the library.
    bool Heed(const PolicyVariant& policy, const std::string& time, const Asked& asked) {
        const PolicyIndex index(ReadVariant(policy).policy);
        const Foretold foretold = Foretell(index, asked.question);
        const auto remedy = FindRemedy(policy, index, asked.question, foretold, {});
        if (!remedy) return true;
        std::string mistake;
        LibraryOptions options;
        options.clock = ParseClockTime(time, {});
        VariantLibrary variants(environment_, options);
        const auto library = variants.Open(remedy->policy, mistake);
        EXPECT_NE(library, nullptr) << mistake;
        if (library == nullptr) return false;
        ++counts_.remedies;
        const Outcome answer = OutcomeOf(Ask(*library, asked));
        if (answer.isVerdict && answer.isBlocked != foretold.outcome.isBlocked) return true;
        ADD_FAILURE() << WordsOf(asked, time) << ": still " << OutcomeWords(answer) << " with " << remedy->words << ": "
                      << remedy->text << "\n"
                      << remedy->policy.text;
        return ++disagreements_ < 3;
    }

    BuiltLibrary environment_;
    Account account_;
    Counts counts_;
    int disagreements_ = 0;
};

TEST_F(ExplainedLibrary, SaysWhatIsForetold) {
    const std::uint32_t policies = Argument("--policies", 120);
    const std::uint32_t seed = Argument("--seed", 1);
    for (std::uint32_t i = 0; i < policies; ++i) {
        RandomPolicy random(seed * 1000003U + i, FormatSid(account_.sid));
        const std::string text = random.Text();
        const TemporaryFile file("tarn-policy.toml", text);
        std::filesystem::create_directories(ToPath(file.Folder()) / "lists");
        for (const auto& [name, list] : random.Lists())
            std::ofstream(ToPath(file.Folder()) / ToPath(name), std::ios::binary) << list;
        const PolicyVariant policy{file.Path(), text};
        const std::string time = random.Time();
        std::vector<Asked> all;
        for (std::uint32_t k = 0; k < kAddresses; ++k) {
            Asked asked;
            if (!Compose(random.Address(), asked)) continue;
            asked.question.account = account_;
            asked.question.now = *ParseClockTime(time, {});
            all.push_back(std::move(asked));
        }
        SCOPED_TRACE("policy " + std::to_string(i));
        ASSERT_FALSE(all.empty());
        if (!Compare(policy, time, all)) break;
        // Not for each policy: the library starts anew each time.
        if (i % 3 == 0 && !CompareWithout(policy, time, all, i % all.size())) break;
        if (i % 3 == 1 && !Heed(policy, time, all[i % all.size()])) break;
    }
    std::cout << counts_.verdicts << " verdicts of " << policies << " policies, " << counts_.byEntry
              << " decided by an entry, " << counts_.ofLists << " of them of a list; " << counts_.proved
              << " policies with entries taken out, " << counts_.remedies << " remedies\n";
    for (const auto& [step, count] : counts_.steps) std::cout << count << " by " << step << "\n";
    // A policy that decides nothing would prove nothing.
    EXPECT_GT(counts_.byEntry, counts_.verdicts / 5);
    EXPECT_GT(counts_.ofLists, counts_.byEntry / 50);
    EXPECT_GT(counts_.proved, policies / 4);
    EXPECT_GT(counts_.remedies, policies / 6);
    for (const char* step :
         {"internal white list", "parental allowed list", "parental schedule", "parental block lists",
          "parental block list", "private address", "malicious list", "phishing list", "HTTPS inspection",
          "malicious category", "phishing category", "malicious patterns", "blocked categories", "the request",
          "video-sharing exception", "parental control"})
        EXPECT_GT(counts_.steps[step], 0u) << step;
}

}  // namespace
}  // namespace tarn::host
