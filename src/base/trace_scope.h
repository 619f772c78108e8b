// The record that a traced function fills on entry: log file, module, function, level mask.
// Nothing is ever written to the log file; the record is built and that is all.
#ifndef TARN_BASE_TRACE_SCOPE_H
#define TARN_BASE_TRACE_SCOPE_H

#include <cstdint>

#include "base/bounded_text.h"

namespace tarn::base {

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

}  // namespace tarn::base

#endif
