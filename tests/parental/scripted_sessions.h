// Terminal services and a settings module that answer from a script, for the tests of live and saved sessions.
#ifndef TARN_TESTS_PARENTAL_SCRIPTED_SESSIONS_H
#define TARN_TESTS_PARENTAL_SCRIPTED_SESSIONS_H

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "modules/companions.h"
#include "parental/live_sessions.h"
#include "parental/record_builders.h"
#include "parental/session_builders.h"

namespace tarn::parental {

struct ScriptedSession {
    std::uint32_t id;
    std::u16string domain;
    std::u16string user;
};

class ScriptedSessions final : public machine::LiveSessionSource {
 public:
    bool ListSessions(std::vector<std::uint32_t>& sessionIds) override {
        for (const ScriptedSession& session : sessions) sessionIds.push_back(session.id);
        return !listFails;
    }
    std::u16string DomainName(std::uint32_t sessionId) override { return Get(sessionId).domain; }
    std::u16string UserName(std::uint32_t sessionId) override { return Get(sessionId).user; }
    bool ResolveAccount(const std::u16string& account, std::array<std::uint8_t, 68>& sid) override {
        asked.push_back(account);
        const auto found = accounts.find(account);
        if (found == accounts.end()) return false;
        sid = found->second;
        return true;
    }

    std::vector<ScriptedSession> sessions;
    std::map<std::u16string, std::array<std::uint8_t, 68>> accounts;
    bool listFails = false;
    std::vector<std::u16string> asked;

 private:
    const ScriptedSession& Get(std::uint32_t id) const {
        for (const ScriptedSession& session : sessions)
            if (session.id == id) return session;
        return sessions.front();
    }
};

// The saved state as the settings module keeps it. One at a time: a module's functions carry no context.
class SavedState {
 public:
    SavedState() { current_ = this; }
    ~SavedState() { current_ = nullptr; }
    SavedState(const SavedState&) = delete;
    SavedState& operator=(const SavedState&) = delete;

    [[nodiscard]] static modules::Companions Companions() {
        modules::Companions companions;
        companions.statusReader = modules::StatusReader{.ReadPCSystemControlSettings = &Read,
                                                        .ReleasePCSystemControlSettings = &Release,
                                                        .WritePCSystemControlSettings = &Write};
        return companions;
    }

    std::vector<SavedSessionRecord> records;
    bool nullRecords = false;  // a count without an array
    bool readFails = false;
    bool writeFails = false;
    int reads = 0;
    int releases = 0;
    int writes = 0;
    bool lastWriteHadArray = false;

    static constexpr std::uint32_t kReadError = 11;
    static constexpr std::uint32_t kWriteError = 12;

 private:
    static std::uint8_t TARN_CALL Read(std::uint64_t, PcSystemControlRecord* out, std::uint32_t* error) {
        ++current_->reads;
        *error = kReadError;
        if (current_->readFails) return 0;
        current_->block_ = std::make_unique<OddBlock<SavedSessionRecord>>(current_->records);
        *out = {static_cast<std::uint32_t>(current_->records.size()),
                current_->nullRecords ? nullptr : current_->block_->Items()};
        return 1;
    }
    static void TARN_CALL Release(PcSystemControlRecord* out) {
        if (current_->nullRecords || out->records == current_->block_->Items()) ++current_->releases;
        current_->block_ = nullptr;
    }
    static std::uint8_t TARN_CALL Write(std::uint64_t, const PcSystemControlRecord* record, std::uint32_t* error) {
        ++current_->writes;
        *error = kWriteError;
        if (current_->writeFails) return 0;
        current_->lastWriteHadArray = record->records != nullptr;
        current_->records.assign(record->records, record->records + record->count);
        return 1;
    }

    inline static SavedState* current_ = nullptr;
    std::unique_ptr<OddBlock<SavedSessionRecord>> block_;
};

}  // namespace tarn::parental

#endif
