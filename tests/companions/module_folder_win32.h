// A folder with built reference modules, a policy and a state folder of its own.
// It owns the folder and the modules that it loaded; one at a time, for the state folder is the process's.
#ifndef TARN_TESTS_COMPANIONS_MODULE_FOLDER_WIN32_H
#define TARN_TESTS_COMPANIONS_MODULE_FOLDER_WIN32_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>
#include <windows.h>

namespace tarn::companions {

class ModuleFolder {
 public:
    explicit ModuleFolder(const std::vector<std::string>& modules);
    ~ModuleFolder();
    ModuleFolder(const ModuleFolder&) = delete;
    ModuleFolder& operator=(const ModuleFolder&) = delete;

    [[nodiscard]] std::filesystem::path File(const std::string& name) const { return folder_ / name; }
    [[nodiscard]] std::filesystem::path State(const std::string& name) const { return folder_ / "state" / name; }
    // A copy of the built module of that name, under another one.
    void Add(const std::string& module, const std::string& as) const;

    HMODULE Load(const std::string& module);
    void Unload(const std::string& module);
    template <class Function>
    Function Find(const std::string& module, const char* function) {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(Load(module), function)));
    }

    // A policy that was saved at a time of long ago; the next save is a second later.
    void SavePolicy(const std::string& text);
    // Other content in the same file, of the same size and time: nobody who looks at the file alone can tell.
    void SwapPolicyUnseen(const std::string& text) const;

 private:
    void WritePolicy(const std::string& text) const;

    std::filesystem::path folder_;
    std::map<std::string, HMODULE> loaded_;
    unsigned saves_ = 0;
};

std::string ReadWhole(const std::filesystem::path& path);

}  // namespace tarn::companions

#endif
