// The lists that an HTTP scan asks, walked as they were delivered: what a library would pay that publishes nothing.
// The walks themselves are those that the tests hold the published forms against.
#ifndef TARN_BENCH_URL_WALKED_LISTS_H
#define TARN_BENCH_URL_WALKED_LISTS_H

#include <string>
#include <string_view>

#include "lists/plain_walk.h"
#include "parental/site_tables.h"
#include "url/list_records.h"
#include "url/request_parser.h"

namespace tarn::url {

class WalkedLists {
 public:
    explicit WalkedLists(ListRecords& records) : records_(records) {
        ready_ = parental::BuildSiteTables(records.Parental().entries->siteRules, sites_);
    }
    [[nodiscard]] bool Ready() const { return ready_; }

    // Parses a request and asks every list; true when none holds it.
    [[nodiscard]] bool LetPass(const ScanRequest& request) {
        if (!ParseHttpRequest({request.data, request.dataLength}, parsed_)) return false;
        const std::string_view host = parsed_.host.View();
        const std::string_view path = parsed_.path.View();
        const std::string hostAndPath = std::string(host) + std::string(path);
        return !lists::plain::MatchUrlList(hostAndPath, records_.WebSecurity()) &&
               !lists::plain::MatchUserListByHost(host, path, TARN_KIND_HTTP, records_.Allowed()) &&
               lists::plain::MatchHostWithWwwVariant(host, path, {}, TARN_KIND_HTTP,
                                                     {sites_.hosts.View(), sites_.addresses.View()}) !=
                   lists::Lookup::kHit &&
               !lists::plain::FindMalicious(host, path, records_.Malicious()) &&
               !lists::plain::MatchPhishing(host, path, records_.Phishing());
    }

 private:
    ListRecords& records_;
    parental::SiteTables sites_;
    bool ready_ = false;
    ParsedRequest parsed_;
};

}  // namespace tarn::url

#endif
