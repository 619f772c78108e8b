#include "network/ids_blocked_list.h"

#include <algorithm>

#include "base/bounded_text.h"
#include "base/text.h"
#include "base/url_path.h"

namespace tarn::network {
namespace {

using Field = base::UrlText;
using Pair = base::FixedText<std::size_t{2} * TARN_URL_CAPACITY>;

std::string_view WithoutOuterSlashes(std::string_view text) {
    if (text.starts_with('/')) text.remove_prefix(1);
    if (text.ends_with('/')) text.remove_suffix(1);
    return text;
}

// Cut to 1023 characters, lower case, one leading and one trailing '/' removed.
void LowerWithoutOuterSlashes(std::string_view text, Field& out) {
    text = text.substr(0, TARN_URL_CAPACITY - 1);
    out.Assign(WithoutOuterSlashes(text));
    base::CopyLower(out.Data(), out.View());
}

std::string_view HostKey(std::string_view host, Field& storage) {
    LowerWithoutOuterSlashes(host, storage);
    std::string_view key = storage.View();
    if (key.starts_with("www.")) key.remove_prefix(4);
    return key;
}

bool MakePair(std::string_view hostKey, std::string_view path, Pair& pair) {
    return pair.Assign(hostKey) && pair.Append(std::string_view("\0", 1)) && pair.Append(path);
}

}  // namespace

// Three of four buckets stay empty: most look-ups are misses, and those then touch one word of the table.
IdsBlockedList::IdsBlockedList() {
    pairs_.Write([](Pairs& pairs) { pairs.max_load_factor(0.25F); });
}

void IdsBlockedList::Add(const IdsBlockRequest& request) {
    const std::string_view hostField = base::FieldText(request.hostName, sizeof request.hostName);
    if (hostField.empty()) return;
    Field hostStorage;
    const std::string_view host = HostKey(hostField, hostStorage);

    Field text;
    LowerWithoutOuterSlashes(base::FieldText(request.requestText, sizeof request.requestText), text);
    std::string_view path = text.View();
    if (const std::size_t at = host.empty() ? std::string_view::npos : path.find(host); at != std::string_view::npos)
        path.remove_prefix(at + host.size());
    // QUIRK: the outer slashes went before the tail of the request line does: "/dir/ HTTP/1.1" is kept with its last
    // slash, and a look-up of "/dir/" does not find it.  Test: TheTailIsCutBehindThePathOnly
    path = path.substr(0, path.find(" http/1."));

    base::UrlText normal;
    if (!base::NormalizeUrlPath(path, normal)) return;
    Pair pair;
    if (!MakePair(host, normal.View(), pair)) return;
    // Two separate holds: two threads that add the same new pair at once both insert it, and the set keeps one.
    if (pairs_.Read([&](const Pairs& pairs) { return pairs.contains(pair.View()); })) return;
    pairs_.Write([&](Pairs& pairs) { pairs.emplace(pair.View()); });
}

bool IdsBlockedList::Contains(std::string_view host, std::string_view path) const {
    Field hostStorage;
    const std::string_view key = HostKey(host, hostStorage);
    Field bare;
    LowerWithoutOuterSlashes(path, bare);
    base::UrlText normal;
    Pair pair;
    if (!base::NormalizeUrlPath(bare.View(), normal) || !MakePair(key, normal.View(), pair)) return false;
    return pairs_.Read([&](const Pairs& pairs) { return pairs.contains(pair.View()); });
}

void IdsBlockedList::Clear() {
    pairs_.Write([](Pairs& pairs) { pairs.clear(); });
}

std::size_t IdsBlockedList::Size() const {
    return pairs_.Read([](const Pairs& pairs) { return pairs.size(); });
}

}  // namespace tarn::network
