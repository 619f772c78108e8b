// Calls the functions of one loaded companion module as the library does, and reports what is wrong with the answers.
// Everything runs in the process of the module: what must not end the tool runs in a process of its own.
#ifndef TARN_HOST_COMPANION_KIT_PROBE_H
#define TARN_HOST_COMPANION_KIT_PROBE_H

#include <cstring>
#include <fmt/format.h>
#include <functional>
#include <string>
#include <string_view>

#include "tarn/companion_modules.h"

#include "host/companion_kit/finding.h"
#include "host/companion_kit/record_checks.h"

namespace tarn::host {

// The functions of each module in slots, and visit(name, slot) for each of them.
#define TARN_SLOT(function, type) type function = nullptr;
#define TARN_VISIT(function, type) visit(#function, function);
#define TARN_CALLS(module, file, functions)         \
    struct module##Calls {                          \
        functions(TARN_SLOT) template <class Visit> \
        void VisitSlots(Visit&& visit) {            \
            functions(TARN_VISIT)                   \
        }                                           \
    };
TARN_COMPANION_FILES(TARN_CALLS)
#undef TARN_CALLS
#undef TARN_VISIT
#undef TARN_SLOT

// What all heaps of the process hold.
struct HeapUse {
    std::uint64_t blocks = 0;
    std::uint64_t bytes = 0;
};

class ProbeWorld : public RecordMemory {
 public:
    [[nodiscard]] virtual HeapUse Heap() const = 0;
    // Frees the module, loads it again and binds its functions anew. False when it does not load any more.
    virtual bool Reload() = 0;
};

class ProbeReport {
 public:
    virtual ~ProbeReport() = default;
    // Told before each call: what the last one was is known when it does not come back.
    virtual void Calling(std::string_view function) = 0;
    virtual void Add(const CompanionFinding& finding) = 0;
};

// What a probe needs; the slots of the module are filled again at a reload.
class Probe {
 public:
    Probe(ProbeWorld& world, ProbeReport& report, const CompanionCheck& check)
        : world_(world), report_(report), check_(check) {}

    [[nodiscard]] ProbeWorld& World() const { return world_; }
    [[nodiscard]] const CompanionCheck& Check() const { return check_; }

    void Find(std::string_view function, std::string text, std::string consequence) const {
        report_.Add({check_.module, std::string(function), std::move(text), std::move(consequence), false});
    }
    void Note(std::string_view function, std::string text, std::string consequence) const {
        report_.Add({check_.module, std::string(function), std::move(text), std::move(consequence), true});
    }
    void Find(std::string_view function, const RecordFindings& findings) const {
        for (const RecordFinding& one : findings) Find(function, one.text, one.consequence);
    }

    // call() with its name told before; an exception is a finding and counts as failure.
    bool Call(std::string_view function, const std::function<bool()>& call) const {
        report_.Calling(function);
        try {
            return call();
        } catch (...) {
            Find(function, "throws an exception to its caller", "the host process would end");
            return false;
        }
    }

    // Has round() run often and finds what the heaps keep of it.
    void FindLeak(std::string_view function, const std::function<void()>& round) const;
    // Loads the module afresh; false, with the finding, when that fails.
    [[nodiscard]] bool Reload() const {
        report_.Calling("its second load");
        if (world_.Reload()) return true;
        Find("", "does not load a second time in one process", "a change of settings loses the module");
        return false;
    }

 private:
    ProbeWorld& world_;
    ProbeReport& report_;
    const CompanionCheck& check_;
};

// A zeroed record for a module to fill, with bytes behind it that it must leave alone.
template <class Record>
class GuardedRecord {
 public:
    GuardedRecord() {
        std::memset(static_cast<void*>(&kept_.record), 0, sizeof kept_.record);
        std::memset(kept_.behind, kMark, sizeof kept_.behind);
    }
    [[nodiscard]] Record* Get() { return &kept_.record; }
    [[nodiscard]] const Record& operator*() const { return kept_.record; }

    void FindOverrun(const Probe& probe, std::string_view function) {
        std::size_t end = sizeof kept_.behind;
        while (end > 0 && kept_.behind[end - 1] == kMark) --end;
        if (end != 0)
            probe.Find(function, fmt::format("writes {} bytes behind its output of {}", end, sizeof(Record)),
                       "it destroys what the library keeps there");
        std::memset(kept_.behind, kMark, sizeof kept_.behind);
    }

 private:
    static constexpr unsigned char kMark = 0xA5;
    struct Kept {
        Record record;
        unsigned char behind[256];
    } kept_;
};

// One probe for each module; the functions must all be there but for those that may be missing.
void ProbeModule(const Probe& probe, SettingsReaderCalls& calls);
void ProbeModule(const Probe& probe, StatusReaderCalls& calls);
void ProbeModule(const Probe& probe, CategorisationCalls& calls);
void ProbeModule(const Probe& probe, PacketSignaturesCalls& calls);
void ProbeModule(const Probe& probe, HttpsInspectionCalls& calls);
void ProbeModule(const Probe& probe, UrlPatternsCalls& calls);
void ProbeModule(const Probe& probe, QuarantineCalls& calls);
void ProbeModule(const Probe& probe, DisabledFeaturesReaderCalls& calls);
void ProbeModule(const Probe& probe, AgentStatusReaderCalls& calls);

}  // namespace tarn::host

#endif
