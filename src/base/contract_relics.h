// Demanded by the contract; nothing uses it.
// The library object owns its ContractRelics; a TraceScope belongs to the function that makes it.
#ifndef TARN_BASE_CONTRACT_RELICS_H
#define TARN_BASE_CONTRACT_RELICS_H

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>

#include "base/bounded_text.h"
#include "base/sync.h"

namespace tarn::base {

// The record that a traced function fills on entry: log file, module, function, level mask. Nothing is ever written to
// the log file; the record is built and that is all.
struct TraceScope {
    static constexpr std::uint32_t kAllLevels = 63;

    char16_t logPath[260]{};
    char16_t moduleName[260]{};
    char16_t functionName[260]{};
    std::uint32_t levelMask;

    // functionName may be null. A name that does not fit becomes "UNKNOWN".
    explicit constexpr TraceScope(const char16_t* function, std::uint64_t /*reserved*/ = 0,
                                  std::uint64_t /*reserved*/ = 0)
        : levelMask(kAllLevels) {
        if (!Succeeded(CopyText(logPath, std::size(logPath), u"c:\\logs\\tarn.log")))
            CopyText(logPath, std::size(logPath), u"c:\\logs\\zrlog.log");
        CopyOrUnknown(moduleName, u"tarn.dll");
        CopyOrUnknown(functionName, function != nullptr ? function : u"UNKNOWN");
    }

 private:
    static constexpr void CopyOrUnknown(char16_t (&field)[260], std::u16string_view text) {
        if (!Succeeded(CopyText(field, std::size(field), text))) CopyText(field, std::size(field), u"UNKNOWN");
    }
};

// What the library object keeps without a use.
struct ContractRelics {
    // QUIRK: made and deleted with the library, never entered.  Test: Locks_SpareCriticalSection_IsThere
    CriticalSection spareLock;
    std::unique_ptr<std::uint8_t[]> connectionBuffer;  // nothing fills it; WSDeinit and WSShutDown free it
};

// What the schedule's thread would end with if it had no event or no parental settings; it is never started so.
inline constexpr std::uint32_t kScheduleEndNothingToDo = 1;

// The social network's hosts: asked by no rule.
inline constexpr std::array<std::string_view, 4> kSocialHosts = {"pixel.facebook.com", "fbcdn-photos-",
                                                                 "static.xx.fbcdn.net", "fbstatic-a.akamaihd.net"};

}  // namespace tarn::base

#endif
