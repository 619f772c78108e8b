#include "network/ids_blocked_list.h"

#include <algorithm>

#include "base/bounded_text.h"
#include "base/text.h"
#include "base/url_path.h"

namespace tarn::network {
namespace {

using Field = base::UrlText;

constexpr std::size_t kFirstCapacity = 256;  // of the filter

std::string_view WithoutOuterSlashes(std::string_view text) {
    if (text.starts_with('/')) text.remove_prefix(1);
    if (text.ends_with('/')) text.remove_suffix(1);
    return text;
}

// Cut to 1023 characters, one leading and one trailing '/' removed.
std::string_view Trimmed(std::string_view text) {
    return WithoutOuterSlashes(text.substr(0, TARN_URL_CAPACITY - 1));
}

void AssignLower(std::string_view text, Field& out) {
    base::CopyLower(out.Data(), text);
    out.SetLength(text.size());
}

std::string_view HostKey(std::string_view host, Field& storage) {
    AssignLower(Trimmed(host), storage);
    std::string_view key = storage.View();
    if (key.starts_with("www.")) key.remove_prefix(4);
    return key;
}

}  // namespace

void IdsBlockedList::Add(const IdsBlockRequest& request) {
    const std::string_view hostField = base::FieldText(request.hostName, sizeof request.hostName);
    if (hostField.empty()) return;
    Field hostStorage;
    const std::string_view host = HostKey(hostField, hostStorage);

    Field text;
    AssignLower(Trimmed(base::FieldText(request.requestText, sizeof request.requestText)), text);
    std::string_view path = text.View();
    if (const std::size_t at = host.empty() ? std::string_view::npos : path.find(host); at != std::string_view::npos)
        path.remove_prefix(at + host.size());
    // QUIRK: the outer slashes went before the tail of the request line does: "/dir/ HTTP/1.1" is kept with its last
    // slash, and a look-up of "/dir/" does not find it.  Test: TheTailIsCutBehindThePathOnly
    path = path.substr(0, path.find(" http/1."));

    base::UrlText normal;
    if (!base::NormalizeUrlPath(path, normal)) return;
    const PairView pair{host, normal.View()};
    // Two separate holds: two threads that add the same new pair at once both insert it, and the set keeps one.
    if (listed_.Read([&](const Listed& listed) { return listed.pairs.contains(pair); })) return;
    listed_.Write([&](Listed& listed) {
        AddToFilter(listed, host);
        listed.pairs.emplace(pair);
        size_.store(listed.pairs.size(), std::memory_order_release);
    });
}

bool IdsBlockedList::Contains(std::string_view host, std::string_view path) const {
    if (Size() == 0) return false;
    Field hostStorage;
    const std::string_view hostKey = HostKey(host, hostStorage);
    if (!MayHold(hostKey)) return false;
    Field normal;
    if (!base::NormalizeUrlPath(Trimmed(path), normal)) return false;
    base::CopyLower(normal.Data(), normal.View());
    const PairView pair{hostKey, normal.View()};
    return listed_.Read([&](const Listed& listed) { return listed.pairs.contains(pair); });
}

bool IdsBlockedList::MayHold(std::string_view hostKey) const {
    const base::KeyFilter* const hosts = hosts_.load(std::memory_order_acquire);
    return hosts != nullptr && hosts->MayHold(base::HashText(hostKey));
}

void IdsBlockedList::AddToFilter(Listed& listed, std::string_view hostKey) {
    if (listed.pairs.size() >= listed.filterCapacity) {
        const std::size_t capacity = std::max(kFirstCapacity, 2 * listed.filterCapacity);
        auto filter = std::make_unique<base::KeyFilter>(capacity);
        for (const Pair& pair : listed.pairs) filter->Add(base::HashText(pair.host));
        listed.filters.push_back(std::move(filter));
        listed.filterCapacity = capacity;
        hosts_.store(listed.filters.back().get(), std::memory_order_release);
    }
    listed.filters.back()->Add(base::HashText(hostKey));
}

void IdsBlockedList::Clear() {
    listed_.Write([this](Listed& listed) {
        listed.pairs.clear();
        if (!listed.filters.empty()) listed.filters.back()->Clear();
        size_.store(0, std::memory_order_release);
    });
}

}  // namespace tarn::network
