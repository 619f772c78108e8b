#include "host/report/event_reader.h"

#include <array>
#include <fmt/format.h>
#include <utility>

#include "host/printable_text.h"
#include "host/report/event_fields.h"

namespace tarn::host::report {

namespace {

using Traits = std::istream::traits_type;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

EventReader::EventReader(std::istream& input, std::string name, Complain complain)
    : input_(&input), name_(std::move(name)), complain_(std::move(complain)) {
    std::array<char, 3> first{};
    input.read(first.data(), first.size());
    begun_.assign(first.data(), static_cast<std::size_t>(input.gcount()));
    if (begun_.starts_with("\x1F\x8B")) {
        const std::array<std::uint8_t, 3> magic{static_cast<std::uint8_t>(first[0]),
                                                static_cast<std::uint8_t>(first[1]),
                                                static_cast<std::uint8_t>(first[2])};
        gzip_ = std::make_unique<GzipInput>(input, base::Bytes(magic.data(), begun_.size()));
        unpacked_ = std::make_unique<std::istream>(gzip_.get());
        input_ = unpacked_.get();
        begun_.clear();
    } else if (begun_ == kByteOrderMark) {
        begun_.clear();
    }
}

bool EventReader::ReadLine() {
    line_.clear();
    isTooLong_ = false;
    if (isAtEnd_) return false;
    ++number_;
    for (;;) {
        int next = 0;
        if (begunAt_ < begun_.size())
            next = Traits::to_int_type(begun_[begunAt_++]);
        else if (input_->rdbuf() == nullptr)
            next = Traits::eof();
        else
            next = input_->rdbuf()->sbumpc();
        if (next == Traits::eof()) {
            isAtEnd_ = true;
            if (gzip_ && !gzip_->Error().empty()) complain_(fmt::format("{}: {}", Printable(name_), gzip_->Error()));
            return !line_.empty() || isTooLong_;
        }
        if (next == '\n') return true;
        if (line_.size() < kMostLineBytes)
            line_ += Traits::to_char_type(next);
        else
            isTooLong_ = true;
    }
}

void EventReader::ComplainOf(std::string_view what) const {
    complain_(fmt::format("{}:{}: {}", Printable(name_), number_, what));
}

std::optional<nlohmann::json> EventReader::Next() {
    while (ReadLine()) {
        if (!line_.empty() && line_.back() == '\r') line_.pop_back();
        if (line_.find_first_not_of(" \t") == std::string::npos) continue;
        if (isTooLong_) {
            ComplainOf("the line is longer than 1 MiB and is left out");
            continue;
        }
        nlohmann::json event = nlohmann::json::parse(line_, nullptr, false);
        if (event.is_discarded() || !event.is_object())
            ComplainOf("this is no JSON object; the line is left out");
        else if (TextOf(event, "type").empty())
            ComplainOf("the event has no type; the line is left out");
        else if (NumberOf(event, "version") != 1)
            ComplainOf("the event is not of version 1; the line is left out");
        else
            return std::optional<nlohmann::json>(std::in_place, std::move(event));
    }
    return std::nullopt;
}

}  // namespace tarn::host::report
