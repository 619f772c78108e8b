#include "host/event.h"

#include <chrono>
#include <cstdint>

#include "host/community_id.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr int kSchemaVersion = 1;

std::string Now() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return FormatTime(static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
}

}  // namespace

Event BeginEvent(std::string_view type) {
    return {{"type", type}, {"version", kSchemaVersion}, {"written", Now()}};
}

void WriteEvent(const Event& event, std::ostream& out) {
    out << event.dump(-1, ' ', false, Event::error_handler_t::replace) << '\n';
}

Event FlowMember(const Flow& flow) {
    return {{"id", CommunityId(flow)},
            {"transport", flow.isTcp ? "tcp" : "udp"},
            {"client", FormatIpAddress(flow.client.address)},
            {"client_port", flow.client.port},
            {"server", FormatIpAddress(flow.server.address)},
            {"server_port", flow.server.port}};
}

Event EntryMember(const DecidingEntry& entry) {
    return {{"list", entry.list}, {"text", entry.text}, {"file", entry.file}, {"line", entry.line}};
}

}  // namespace tarn::host
