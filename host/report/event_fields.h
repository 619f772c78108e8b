// Reads the fields of an event, whatever stands in them: what is missing or of another kind is empty.
#ifndef TARN_HOST_REPORT_EVENT_FIELDS_H
#define TARN_HOST_REPORT_EVENT_FIELDS_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "host/deciding_entry.h"

namespace tarn::host::report {

// As it stands in the event: from the wire, so anything.
std::string TextOf(const nlohmann::json& event, const char* name);
std::optional<std::uint64_t> NumberOf(const nlohmann::json& event, const char* name);

// Whether a filter did not let the request pass although nothing in the policy blocks it.
bool IsRefusedRequest(const nlohmann::json& event);

// Microseconds since 1970 of "2026-03-07T21:30:05.25Z"; nothing for any other text and earlier times.
std::optional<std::int64_t> ParseTime(std::string_view text);
// Of the packet; nothing when there is none.
std::optional<std::int64_t> PacketTimeOf(const nlohmann::json& event);

// "192.0.2.1:40000 → [2001:db8::1]:443"; empty without a flow.
std::string FlowOf(const nlohmann::json& event);
std::optional<DecidingEntry> EntryOf(const nlohmann::json& event);

// "file:12", or the file alone.
std::string PlaceText(const DecidingEntry& entry);

}  // namespace tarn::host::report

#endif
