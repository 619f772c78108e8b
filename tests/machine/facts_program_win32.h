// Runs copies of machine_facts.exe in a folder of the test's own, with a private HKEY_LOCAL_MACHINE.
// What it prints, and what it should, stands with the tests.
#ifndef TARN_TESTS_MACHINE_FACTS_PROGRAM_WIN32_H
#define TARN_TESTS_MACHINE_FACTS_PROGRAM_WIN32_H

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

namespace tarn::machine {

class FactsProgram : public testing::Test {
 protected:
    FactsProgram();
    ~FactsProgram() override;

    // The lines that a copy of the program prints, by default one in the test's folder.
    std::vector<std::string> Run(const std::vector<std::string>& commands);
    std::vector<std::string> RunAs(const std::filesystem::path& program, const std::vector<std::string>& commands);
    // Copies the program to where it is to run.
    static void CopyProgram(const std::filesystem::path& to);

    // A value of the private HKEY_LOCAL_MACHINE's App Paths key of this executable.
    void SetAppPath(const std::string& executable, const std::string& value);
    void SetAppPathBytes(const std::string& executable, const void* bytes, std::size_t size);
    void MakeAppPathKey(const std::string& executable);
    void SetInstallPath(const std::string& value) { SetAppPath("CoreScan.exe", value); }

    // The folder's path with its backslash.
    [[nodiscard]] std::string FolderText() const { return folder.string() + "\\"; }
    [[nodiscard]] std::string WriteFile(const std::filesystem::path& path,
                                        const std::vector<std::uint8_t>& bytes) const;

    static bool UnderWine();
    // Differs from all that other tests at the same time make.
    static std::string Unique(const std::string& name);

    std::filesystem::path folder;

 private:
    HKEY AppPathKey(const std::string& executable);
    std::string registry_;
};

}  // namespace tarn::machine

#endif
