#include "host/service_win32.h"

#include <atomic>
#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>
#include <type_traits>
#include <vector>
#include <windows.h>

#include "host/interrupt_win32.h"
#include "host/service_arguments.h"
#include "host/urgent_end.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

constexpr const wchar_t* kName = L"tarnhost";
constexpr const wchar_t* kTitle = L"tarn web filter";
constexpr const wchar_t* kDescription =
    L"Judges what programs ask of the web before it is asked. Settings: tarn-policy.toml, table [serve].";
constexpr DWORD kStartLimit = 60000;  // milliseconds
constexpr DWORD kStopLimit = 60000;
constexpr DWORD kRestartAfter[] = {5000, 15000, 60000};  // the last one again and again
constexpr DWORD kFailureForgotten = 24 * 60 * 60;        // seconds

struct ServiceCloser {
    void operator()(SC_HANDLE handle) const { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, ServiceCloser>;

std::string Absolute(const std::string& file) {
    std::vector<wchar_t> path(32768);
    const DWORD length = GetFullPathNameW(ToWide(file).c_str(), static_cast<DWORD>(path.size()), path.data(), nullptr);
    return FromWide({path.data(), length});
}

std::string OwnFile() {
    std::vector<wchar_t> path(32768);
    return FromWide({path.data(), GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()))});
}

std::string ManagerMistake(const char* what) {
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED)
        return fmt::format("{}: that takes an administrator; open the console as one and try again", what);
    return fmt::format("{} (error {})", what, error);
}

// ---- the running service ----

struct Service {
    const std::function<int(std::ostream&)>* run = nullptr;
    SERVICE_STATUS_HANDLE handle = nullptr;
    std::atomic<DWORD> state{SERVICE_STOPPED};
    int exitCode = 1;
};

Service& ThisService() {
    static Service service;
    return service;
}

void Tell(DWORD state, DWORD limit, int exitCode = 0) {
    Service& service = ThisService();
    if (service.handle == nullptr) return;
    service.state = state;
    static std::atomic<DWORD> step{1};
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    const bool isPending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
    // Before a shutdown there is more time than during one.
    status.dwControlsAccepted =
        state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PRESHUTDOWN | SERVICE_ACCEPT_SHUTDOWN : 0;
    status.dwWin32ExitCode = exitCode == 0 ? NO_ERROR : ERROR_SERVICE_SPECIFIC_ERROR;
    status.dwServiceSpecificExitCode = static_cast<DWORD>(exitCode);
    status.dwCheckPoint = isPending ? step++ : 0;
    status.dwWaitHint = limit;
    SetServiceStatus(service.handle, &status);
}

DWORD WINAPI Control(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
    const bool isShutdown = control == SERVICE_CONTROL_SHUTDOWN || control == SERVICE_CONTROL_PRESHUTDOWN;
    if (control != SERVICE_CONTROL_STOP && !isShutdown) return ERROR_CALL_NOT_IMPLEMENTED;
    if (isShutdown) TellUrgentEnd();
    Tell(SERVICE_STOP_PENDING, kStopLimit);
    Interrupt();
    return NO_ERROR;
}

// While connections end the manager is told that it goes on, however long they may take.
class StopSteps {
 public:
    ~StopSteps() {
        SetEvent(ended_);
        if (thread_.joinable()) thread_.join();
        CloseHandle(ended_);
    }

 private:
    void Run() const {
        const HANDLE events[] = {ended_, InterruptEvent()};
        if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) return;
        while (WaitForSingleObject(ended_, kStepTime) == WAIT_TIMEOUT) Tell(SERVICE_STOP_PENDING, kStopLimit);
    }

    static constexpr DWORD kStepTime = 2000;  // milliseconds
    HANDLE ended_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread thread_{[this] { Run(); }};
};

void TellLog(const std::string& text) {
    HANDLE log = RegisterEventSourceW(nullptr, kName);
    if (log == nullptr) return;
    const std::wstring wide = ToWide(text);
    const wchar_t* lines[] = {wide.c_str()};
    ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, lines, nullptr);
    DeregisterEventSource(log);
}

// On a thread of the system's.
void WINAPI ServiceMain(DWORD, wchar_t**) {
    Service& service = ThisService();
    service.handle = RegisterServiceCtrlHandlerExW(kName, Control, nullptr);
    if (service.handle == nullptr) return;
    Tell(SERVICE_START_PENDING, kStartLimit);
    std::ostringstream errors;
    {
        const StopSteps steps;
        service.exitCode = (*service.run)(errors);
    }
    if (service.exitCode != 0) TellLog(errors.str());
    Tell(SERVICE_STOPPED, 0, ToldExitCode(service.exitCode));
}

// Without the flag only a process that dies counts as a failure, not one that says why it cannot start.
void RestartAfterFailures(SC_HANDLE service) {
    std::vector<SC_ACTION> actions;
    for (const DWORD after : kRestartAfter) actions.push_back({SC_ACTION_RESTART, after});
    SERVICE_FAILURE_ACTIONSW failure{kFailureForgotten, nullptr, nullptr, static_cast<DWORD>(actions.size()),
                                     actions.data()};
    ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, &failure);
    SERVICE_FAILURE_ACTIONS_FLAG flag{TRUE};
    ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &flag);
}

}  // namespace

bool InstallService(const std::vector<std::string>& arguments, std::string& mistake) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager) {
        mistake = ManagerMistake("the service cannot be installed");
        return false;
    }
    std::vector<std::string> command = ServiceArguments(arguments, Absolute);
    command.insert(command.begin(), OwnFile());
    // In quotes even without a blank: otherwise Windows tries shorter names first.
    const std::wstring line =
        ToWide(fmt::format("\"{}\" {}", command.front(), CommandLineOf({command.begin() + 1, command.end()})));
    const ServiceHandle service(CreateServiceW(manager.get(), kName, kTitle, SERVICE_CHANGE_CONFIG | SERVICE_START,
                                               SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                               line.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service) {
        mistake = GetLastError() == ERROR_SERVICE_EXISTS
                      ? "the service is installed already; --service remove takes the old one away"
                      : ManagerMistake("the service cannot be installed");
        return false;
    }
    std::wstring text = kDescription;
    SERVICE_DESCRIPTIONW description{text.data()};
    ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_DESCRIPTION, &description);
    RestartAfterFailures(service.get());
    return true;
}

bool RemoveService(std::string& mistake) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(
        manager ? OpenServiceW(manager.get(), kName, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE) : nullptr);
    if (!service) {
        mistake = GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? "the service is not installed"
                                                                 : ManagerMistake("the service cannot be removed");
        return false;
    }
    SERVICE_STATUS status{};
    ControlService(service.get(), SERVICE_CONTROL_STOP, &status);
    constexpr DWORD kStep = 50;
    for (DWORD waited = 0; waited < kStopLimit; waited += kStep) {
        if (QueryServiceStatus(service.get(), &status) == 0 || status.dwCurrentState == SERVICE_STOPPED) break;
        Sleep(kStep);
    }
    if (DeleteService(service.get()) == 0) {
        mistake = ManagerMistake("the service cannot be removed");
        return false;
    }
    return true;
}

int RunAsService(const std::function<int(std::ostream& errors)>& run) {
    Service& service = ThisService();
    service.run = &run;
    LeaveInterruptsToServices();
    std::wstring name = kName;
    const SERVICE_TABLE_ENTRYW table[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
    if (StartServiceCtrlDispatcherW(table) != 0) return service.exitCode;
    std::cerr << "tarnhost: only Windows runs the service: install it with --service install, then start it with "
                 "'sc start tarnhost'; without --service it runs in this console"
              << std::endl;
    return 2;
}

void TellServiceRuns() {
    if (ThisService().state == SERVICE_START_PENDING) Tell(SERVICE_RUNNING, 0);
}

}  // namespace tarn::host
