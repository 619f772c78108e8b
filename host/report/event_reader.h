// Reads a file of events, JSON Lines, packed by gzip or not, in bounded memory.
// Borrows the input, which must outlive it. What is no event is told and passed over.
#ifndef TARN_HOST_REPORT_EVENT_READER_H
#define TARN_HOST_REPORT_EVENT_READER_H

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "host/capture/gzip_input.h"

namespace tarn::host::report {

inline constexpr std::size_t kMostLineBytes = std::size_t{1} << 20;

class EventReader {
 public:
    // "events.jsonl:17: what is wrong"
    using Complain = std::function<void(const std::string&)>;

    EventReader(std::istream& input, std::string name, Complain complain);

    // The next event: an object with a type. Nothing at the end.
    std::optional<nlohmann::json> Next();
    // The line that the last event stood in.
    [[nodiscard]] std::string_view Line() const { return line_; }

 private:
    bool ReadLine();
    void ComplainOf(std::string_view what) const;

    std::unique_ptr<GzipInput> gzip_;
    std::unique_ptr<std::istream> unpacked_;
    std::istream* input_;
    std::string name_;
    Complain complain_;
    std::string line_;
    std::uint64_t number_ = 0;
    std::string begun_;  // bytes that were looked at and are no gzip stream
    std::size_t begunAt_ = 0;
    bool isTooLong_ = false;
    bool isAtEnd_ = false;
};

}  // namespace tarn::host::report

#endif
