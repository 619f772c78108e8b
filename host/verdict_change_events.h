// Finds the verdicts that differ when the same captures are judged again, as events.
// Nothing is remembered before the first BeginRound; of each verdict then some 40 bytes.
#ifndef TARN_HOST_VERDICT_CHANGE_EVENTS_H
#define TARN_HOST_VERDICT_CHANGE_EVENTS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/event.h"
#include "host/row_history.h"

namespace tarn::host {

class VerdictChangeEvents {
 public:
    void BeginRound();
    void BeginCapture();
    [[nodiscard]] bool IsUsed() const { return requests_.IsUsed(); }
    // verdict: the event of a request or of a frame with an attack. Nothing when the round before said the same.
    [[nodiscard]] std::optional<Event> Request(const Event& verdict);
    [[nodiscard]] std::optional<Event> Attack(const Event& attack);

 private:
    std::uint32_t NumberOf(const Event& shortVerdict);
    std::optional<Event> Compare(const Event& event, const std::string& what, const char* of, RowHistory& history);

    bool isFirstRound_ = true;
    RowHistory requests_;
    RowHistory attacks_;
    std::vector<Event> verdicts_;  // that differ, each once
    std::map<std::string, std::uint32_t> numbers_;
};

}  // namespace tarn::host

#endif
