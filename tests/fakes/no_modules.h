// A module system in which nothing loads, for calls into functions of the test program.
#ifndef TARN_TESTS_FAKES_NO_MODULES_H
#define TARN_TESTS_FAKES_NO_MODULES_H

#include <string>

#include "machine/module_system.h"

namespace tarn::fakes {

class NoModules : public machine::ModuleSystem {
 public:
    void* Load(const char16_t*) override { return nullptr; }
    void* Find(void*, const char*) override { return nullptr; }
    void Free(void*) override {}
    bool InstallFolder(base::PathBuffer& folder) override {
        return hasFolder && base::Succeeded(base::CopyText(folder, folderText));
    }
    bool HostExecutableKnown() override { return true; }
    bool ManagedClientInstalled() override { return false; }
    machine::FileStart ReadFileStart(const base::PathBuffer&) override { return {}; }
    std::uint32_t SystemClassification() override { return 0; }
    machine::HttpsInspectionFacts HttpsFacts() override { return {}; }

    bool hasFolder = true;
    std::u16string folderText = u"C:\\suite\\";
};

}  // namespace tarn::fakes

#endif
