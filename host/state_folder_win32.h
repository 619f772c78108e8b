// The folder in which the companion modules save their state: one of this run alone, or one that the user keeps.
// The object owns the folder of one run and removes it at its end, when the modules must be unloaded.
#ifndef TARN_HOST_STATE_FOLDER_WIN32_H
#define TARN_HOST_STATE_FOLDER_WIN32_H

#include <filesystem>
#include <string>

#include "host/judge.h"

namespace tarn::host {

class StateFolder {
 public:
    StateFolder() = default;
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    // Makes the folder, ends the one of the library before, and names it to the modules that this process loads from
    // now on. keep: a folder of the user's, or empty. False with the reason in mistake when nothing can be written
    // there.
    bool Use(const std::string& keep, std::string& mistake);

    // What stands in a kept folder, as the status reader of the install folder reads it.
    [[nodiscard]] SavedState Found(const std::wstring& installFolder) const;

 private:
    void Remove();

    std::filesystem::path path_;
    bool isOfThisRun_ = false;
};

}  // namespace tarn::host

#endif
