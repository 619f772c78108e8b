// Windows as the machine that the library runs on.
// Everything stands in one WindowsMachine; only the product data keeps a state, and any thread may call any part.
#ifndef TARN_MACHINE_MACHINE_WIN32_H
#define TARN_MACHINE_MACHINE_WIN32_H

#include "machine/machine.h"
#include "machine/product_data_win32.h"

namespace tarn::machine {

class WindowsModuleSystem final : public ModuleSystem {
 public:
    void* Load(const char16_t* path) override;
    void* Find(void* module, const char* function) override;
    void Free(void* module) override;
    bool InstallFolder(base::PathBuffer& folder) override;
    bool HostExecutableKnown() override;
    bool ManagedClientInstalled() override;
    FileStart ReadFileStart(const base::PathBuffer& path) override;
    std::uint32_t SystemClassification() override;
    HttpsInspectionFacts HttpsFacts() override;

 private:
    WindowsProductData productData_;
};

class WindowsProcessInspector final : public ProcessInspector {
 public:
    bool GetProcessUser(std::uint32_t processId, ProcessUser& user) override;
    bool GetProcessImagePath(std::uint32_t processId, base::PathBuffer& path, std::uint32_t& error) override;
    [[nodiscard]] std::uint32_t CurrentProcessId() override;
    bool ToWide(std::string_view text, std::span<char16_t> wide) override;
};

class WindowsLocalClock final : public LocalClock {
 public:
    [[nodiscard]] TarnSystemTime Now() const override;
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime& local) const override;
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t seconds) const override;
};

class WindowsLiveSessions final : public LiveSessionSource {
 public:
    bool ListSessions(std::vector<std::uint32_t>& sessionIds) override;
    std::u16string DomainName(std::uint32_t sessionId) override;
    std::u16string UserName(std::uint32_t sessionId) override;
    bool ResolveAccount(const std::u16string& account, std::array<std::uint8_t, 68>& sid) override;
};

class WindowsMachine final : public Machine {
 public:
    ModuleSystem& Modules() override { return modules_; }
    ProcessInspector& Processes() override { return processes_; }
    const LocalClock& Clock() override { return clock_; }
    LiveSessionSource& LiveSessions() override { return liveSessions_; }
    std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                 std::uint32_t defaultValue) override;
    std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                            std::span<char16_t> text) override;
    bool SetTcpRow(const TcpTableRow& row) override;

 private:
    WindowsModuleSystem modules_;
    WindowsProcessInspector processes_;
    WindowsLocalClock clock_;
    WindowsLiveSessions liveSessions_;
};

}  // namespace tarn::machine

#endif
