// Which reading of the policy file counts. Each state of the file and of the lists that it includes is read once, and
// only when all are at rest; a file with mistakes, one that cannot be read and one that lost everything leave what was
// read before. The store owns what was read. Any thread may ask it.
#ifndef TARN_COMPANIONS_POLICY_POLICY_STORE_H
#define TARN_COMPANIONS_POLICY_POLICY_STORE_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "policy/policy_reader.h"

namespace tarn::policy {

// Two equal states are the same content. Times are in units of 100 nanoseconds.
struct FileState {
    std::uint64_t size = 0;
    std::uint64_t written = 0;
    std::uint64_t volume = 0;
    std::uint64_t file = 0;
    bool operator==(const FileState&) const = default;
};

// A file that a policy includes, by its name there.
struct ListState {
    std::string name;
    FileState state{};
    std::uint32_t error = 0;  // of looking at it
    bool operator==(const ListState&) const = default;
};

// The file, the lists and the clock, as the store sees them. Errors are the system's.
class PolicyFile {
 public:
    virtual ~PolicyFile() = default;
    virtual bool Look(FileState& state, std::uint32_t& error) = 0;
    // The text, and the state that it was read in.
    virtual bool Read(std::string& text, FileState& state, std::uint32_t& error) = 0;
    // The same of the lists, whose names are meant from the policy's folder on.
    virtual std::vector<std::string> ListNames(const std::string& /*pattern*/) { return {}; }
    virtual bool LookAtList(const std::string& /*name*/, FileState& /*state*/, std::uint32_t& error) {
        error = kNotFound;
        return false;
    }
    virtual bool ReadList(const std::string& /*name*/, std::string& /*text*/, FileState& /*state*/,
                          std::uint32_t& error) {
        error = kNotFound;
        return false;
    }
    virtual bool FindSid(const std::string& name, std::array<std::uint8_t, 68>& sid) = 0;
    // As messages name it.
    [[nodiscard]] virtual std::string Name() const { return std::string(kPolicyFile); }
    virtual std::uint64_t Now() = 0;  // by the clock of FileState::written
    virtual void Wait(std::uint64_t time) = 0;
    virtual void Say(const std::string& lines) = 0;

    static constexpr std::uint32_t kNotFound = 2;
};

class PolicyStore {
 public:
    static constexpr std::uint64_t kMillisecond = 10'000;
    static constexpr std::uint64_t kRest = 500 * kMillisecond;              // how long nobody must have written
    static constexpr std::uint64_t kMaxWait = 5'000 * kMillisecond;         // for that
    static constexpr std::uint64_t kAccountsAgain = 60'000 * kMillisecond;  // an unknown account may have come
    static constexpr std::uint32_t kSharingViolation = 32;
    static constexpr std::uint32_t kInvalidData = 13;

    // What counts now; null with the error when nothing was ever read. Waits for a file that was just written.
    std::shared_ptr<const Policy> Get(PolicyFile& file, std::uint32_t& error);

 private:
    enum class Look { kSame, kRead, kBusy, kFailed };

    // One state of everything, with the texts.
    struct Reading {
        FileState state;
        std::string text;
        std::vector<std::string> patterns;                      // as the policy writes them
        std::vector<ListState> lists;                           // by name
        std::map<std::string, std::vector<std::string>> names;  // by pattern
        std::map<std::string, std::string> texts;               // of the lists that could be read
        std::map<std::string, std::uint32_t> errors;            // of those that are there and could not
    };
    class ReadLists;

    Look ReadAtRest(PolicyFile& file, Reading& reading, std::uint32_t& error) const;
    static void LookAtLists(PolicyFile& file, Reading& reading);
    static bool ReadTexts(PolicyFile& file, Reading& reading, bool asTheyStand);
    void TakeOver(PolicyFile& file, const Reading& reading);
    void SayOnce(PolicyFile& file, std::uint32_t reason, const std::string& lines);
    [[nodiscard]] const char* WhatCounts() const;

    std::shared_ptr<const ReadPolicy> used_;
    std::optional<FileState> seen_;  // the state that was read last
    std::vector<std::string> seenPatterns_;
    std::vector<ListState> seenLists_;
    std::uint32_t seenError_ = 0;      // what is answered for it while nothing is used
    std::uint64_t accountsAgain_ = 0;  // when to read it again; 0 = never
    std::uint64_t busyUntil_ = 0;      // until then nobody waits again for a file that never was at rest
    std::uint32_t saidReason_ = 0;     // of the last message about a file that could not be read
};

}  // namespace tarn::policy

#endif
