// The folder in which an FTP client works, as its commands and their answers tell, and the names of a file by it.
// Used by one connection, on its strand.
#ifndef TARN_HOST_SERVE_FTP_FOLDER_H
#define TARN_HOST_SERVE_FTP_FOLDER_H

#include <string>
#include <string_view>
#include <vector>

#include "host/serve/ftp_line.h"

namespace tarn::host::serve {

class FtpFolder {
 public:
    // Whether its answer tells where the client works from then on. With a login it is the root.
    static bool IsToldBy(const FtpCommand& command);
    // reply: the last line of the answer to such a command.
    void Answered(const FtpCommand& command, std::string_view reply);

    // A command in the forms in which it is judged: as if the client worked in the root, which is what a scan takes a
    // name for, and with the whole name. All with their line's end, none twice.
    [[nodiscard]] std::vector<std::string> JudgedForms(const FtpCommand& command) const;

    [[nodiscard]] const std::string& Path() const { return path_; }

 private:
    std::string path_ = "/";  // until something else is known
};

}  // namespace tarn::host::serve

#endif
