#include "host/event.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "host/community_id.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr int kSchemaVersion = 1;
constexpr std::size_t kUsualMembers = 24;
constexpr std::size_t kFlowMembers = 8;

// With room: otherwise each member would move those before it. An initializer list copies all of them.
Event EmptyEvent(std::size_t members) {
    Event event = Event::object();
    event.get_ref<Event::object_t&>().reserve(members);
    return event;
}

std::string Now() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return FormatTime(static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
}

}  // namespace

Event BeginEvent(std::string_view type) {
    Event event = EmptyEvent(kUsualMembers);
    event["type"] = type;
    event["version"] = kSchemaVersion;
    event["written"] = Now();
    return event;
}

std::string EventLine(const Event& event) {
    return event.dump(-1, ' ', false, Event::error_handler_t::replace);
}

void WriteEvent(const Event& event, std::ostream& out) {
    out << EventLine(event) << '\n';
}

Event FlowMember(const Flow& flow) {
    Event member = EmptyEvent(kFlowMembers);
    member["id"] = CommunityId(flow);
    member["transport"] = flow.isTcp ? "tcp" : "udp";
    member["client"] = FormatIpAddress(flow.client.address);
    member["client_port"] = flow.client.port;
    member["server"] = FormatIpAddress(flow.server.address);
    member["server_port"] = flow.server.port;
    return member;
}

Event EntryMember(const DecidingEntry& entry) {
    return {{"list", entry.list}, {"text", entry.text}, {"file", entry.file}, {"line", entry.line}};
}

}  // namespace tarn::host
