#include "url/web_extension_scan.h"

#include <algorithm>
#include <cstring>

#include "modules/categorisation.h"
#include "url/parental_rules.h"
#include "url/scan_state.h"

namespace tarn::url {
namespace {

constexpr std::uint32_t kDecidesNow = 0;

// The URL in its pieces; host and path keep their letter case, the path stands without its leading "/".
struct ReportedUrl {
    UrlText url;
    UrlText host;
    UrlText path;
    UrlText hostAndPath;
};

bool TakeApart(const char* text, ReportedUrl& out) {
    constexpr std::string_view kBehindScheme = "://";
    if (!out.url.Assign({text, strnlen(text, TARN_URL_CAPACITY)})) return false;
    std::string_view rest = out.url.View();
    const std::size_t scheme = rest.find(kBehindScheme);
    if (scheme == std::string_view::npos) return false;
    rest.remove_prefix(scheme + kBehindScheme.size());

    const std::size_t slash = std::min(rest.find('/'), rest.size());
    out.host.Assign(rest.substr(0, slash));
    if (slash < rest.size()) out.path.Assign(rest.substr(slash + 1));
    out.hostAndPath.Assign(out.host.View());
    if (!out.path.Empty()) {
        out.hostAndPath.Append("/");
        out.hostAndPath.Append(out.path.View());
    }
    return true;
}

// One scan: what it reads and what it fills.
class ExtensionScan {
 public:
    ExtensionScan(const ScanContext& context, UrlVerdict& verdict, PromptBytes& prompt)
        : context_(context), first_(context.parental.First()), verdict_(verdict), prompt_(prompt) {}

    bool Judge(const char* text) {
        if (!TakeApart(text, url_)) return false;
        if (context_.parental.mode == TARN_PC_ABSENT) return false;
        if (IsAllowedByProfile()) return true;
        if (first_ != nullptr && first_->leading.blockListSwitch == 1) {
            const Step step = BlockListedHost();
            if (step != Step::kContinue) return step == Step::kDone;
        }
        return JudgeByCategory();
    }

 private:
    enum class Hit { kNone, kMaliciousCategory, kPhishingCategory, kPattern };

    bool IsAllowedByProfile() const {
        return !context_.profiles.empty() &&
               context_.profiles.front().allowed.MatchesHost(url_.host.View(), url_.path.View(), TARN_KIND_TLS);
    }

    Step BlockListedHost() {
        if (url_.host.Length() >= kHostCapacity) return Step::kFailed;
        const IpAddressRecord noAddress{};
        const lists::BlockedSites& sites = context_.profiles.front().sites;
        const std::string_view host = url_.host.View();
        if (sites.MatchWithWwwVariant(host, url_.path.View(), noAddress, TARN_KIND_TLS) != lists::Lookup::kHit)
            return Step::kContinue;
        machine::ProcessUser user;
        if (!context_.processes.GetProcessUser(context_.processes.CurrentProcessId(), user)) return Step::kFailed;
        // QUIRK: the text is the host without its first two characters.  Test: BlockedHostLosesItsFirstTwoCharacters
        WriteUrl(verdict_, host.substr(std::min<std::size_t>(host.size(), 2)));
        WriteUserName(verdict_, user);
        return Decide(TARN_BLOCK, TARN_REASON_PARENTAL_SITE, context_.parental.prompt);
    }

    bool JudgeByCategory() {
        const bool categorySwitch = first_ != nullptr && first_->leading.categorySwitch != 0;
        if (!categorySwitch && context_.settings.bpStatus == 0 && context_.settings.apStatus == 0) return true;
        const auto& module = context_.companions.categorisation;
        if (url_.url.View().starts_with('[') || !module) return false;
        modules::CategoryLookup lookup(module, url_.url.Text(), kDecidesNow);
        if (!lookup.Succeeded()) return false;
        if (lookup.Categories().empty()) return true;

        const auto considered = modules::ConsideredCategories(lookup.Categories(), context_.parental.strictness);
        const Hit hit = FindHit(considered);
        if (hit != Hit::kNone) {
            if (context_.lists.browsingProtectionInternal.Matches(url_.hostAndPath.View())) return true;
            lookup.Release();
            ReportHit(hit);
            return true;
        }
        if (categorySwitch) BlockCategory(considered);
        return true;
    }

    Hit FindHit(std::span<const std::uint16_t> considered) const {
        if (context_.settings.bpStatus != 0 && modules::Contains(considered, modules::kMaliciousCategory))
            return Hit::kMaliciousCategory;
        if (context_.settings.apStatus != 0 && modules::Contains(considered, modules::kPhishingCategory))
            return Hit::kPhishingCategory;
        if (context_.settings.bpStatus != 0 && MatchesPattern()) return Hit::kPattern;
        return Hit::kNone;
    }

    bool MatchesPattern() const {
        const auto& patterns = context_.companions.urlPatterns;
        if (!patterns) return false;
        std::uint8_t malicious = 0;
        return patterns->WSCheckURLMaliciousPattern(TARN_KIND_TLS, url_.host.Text(), url_.path.Text(), 0,
                                                             &malicious) != 0 &&
               malicious != 0;
    }

    void ReportHit(Hit hit) {
        const bool listed = context_.lists.user.Matches(url_.hostAndPath.View());
        const std::uint32_t allow = listed ? TARN_ALLOW : TARN_BLOCK;
        if (hit == Hit::kPhishingCategory) {
            WriteUrl(verdict_, url_.url.View());
            Decide(allow, listed ? TARN_REASON_PHISHING_WHITE_LISTED : TARN_REASON_PHISHING,
                   context_.settings.apPrompt);
        } else if (hit == Hit::kPattern) {
            WriteThreatName(verdict_, kPatternThreatName);
            WriteThreatUrl(verdict_, url_.hostAndPath.View());
            Decide(allow, listed ? TARN_REASON_MALICIOUS_WHITE_LISTED : TARN_REASON_MALICIOUS,
                   context_.settings.bpPrompt);
        } else {
            WriteThreatUrl(verdict_, url_.url.View());
            Decide(allow, listed ? TARN_REASON_MALICIOUS_WHITE_LISTED : TARN_REASON_MALICIOUS_CATEGORY,
                   context_.settings.bpPrompt);
        }
    }

    void BlockCategory(std::span<const std::uint16_t> considered) {
        const std::optional<std::uint16_t> category = BlockedCategory(considered, first_->blockedCategories.View());
        if (!category) return;
        WriteUrl(verdict_, url_.url.View());
        WriteCategory(verdict_, context_, *category);
        WriteUserName(verdict_, {});  // nobody is looked up here
        Decide(TARN_BLOCK, TARN_REASON_PARENTAL_CATEGORY, context_.parental.prompt);
    }

    Step Decide(std::uint32_t allow, std::uint32_t reason, const PromptBytes& prompt) {
        verdict_.allow = allow;
        verdict_.reason = reason;
        prompt_ = prompt;
        return Step::kDone;
    }

    const ScanContext& context_;
    const parental::PcUserEntry* first_;
    UrlVerdict& verdict_;
    PromptBytes& prompt_;
    ReportedUrl url_;
};

}  // namespace

bool ScanWebExtensionUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict,
                         PromptBytes& prompt) {
    verdict.allow = TARN_ALLOW;
    verdict.reason = TARN_REASON_DEFAULT;
    if (request.kind != TARN_KIND_TLS) return true;
    if (request.data == nullptr) return false;
    return ExtensionScan(context, verdict, prompt).Judge(reinterpret_cast<const char*>(request.data));
}

}  // namespace tarn::url
