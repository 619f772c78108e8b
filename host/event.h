// The events that --json prints: one JSON object a line, as docs/events.schema.json describes them.
#ifndef TARN_HOST_EVENT_H
#define TARN_HOST_EVENT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "host/deciding_entry.h"
#include "host/flow.h"

namespace tarn::host {

using Event = nlohmann::ordered_json;

// With what every event has: its type, the version of the schema, and the time by the machine's clock.
[[nodiscard]] Event BeginEvent(std::string_view type);

// As one line, without its end. Bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string EventLine(const Event& event);
void WriteEvent(const Event& event, std::ostream& out);

// As members of events.
[[nodiscard]] Event FlowMember(const Flow& flow);
[[nodiscard]] Event EntryMember(const DecidingEntry& entry);

}  // namespace tarn::host

#endif
