#include "host/serve/ftp_folder.h"

#include <algorithm>
#include <span>

namespace tarn::host::serve {

namespace {

constexpr std::size_t kMostPath = 4096;  // longer than servers have them

void Walk(std::string_view path, std::vector<std::string_view>& steps) {
    while (!path.empty()) {
        const std::string_view step = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(step.size() + 1, path.size()));
        if (step == "..") {
            if (!steps.empty()) steps.pop_back();
        } else if (!step.empty() && step != ".") {
            steps.push_back(step);
        }
    }
}

// The whole name of what is called path in a folder. A home counts as the root.
std::string FromRoot(std::string_view folder, std::string_view path) {
    std::vector<std::string_view> steps;
    if (path.starts_with('~'))
        path.remove_prefix(std::min(path.find('/'), path.size()));
    else if (!path.starts_with('/'))
        Walk(folder, steps);
    Walk(path, steps);
    std::string whole;
    for (const std::string_view step : steps) (whole += '/') += step;
    return whole.empty() ? "/" : whole;
}

// As servers on Windows read it.
std::string WithSlashes(std::string_view path) {
    std::string with(path);
    std::replace(with.begin(), with.end(), '\\', '/');
    return with;
}

// 257 "/a ""quoted"" folder" is the current one
std::string QuotedPath(std::string_view reply) {
    std::string path;
    reply.remove_prefix(std::min(reply.find('"'), reply.size()));
    if (!reply.empty()) reply.remove_prefix(1);
    while (!reply.empty()) {
        if (reply.front() == '"') {
            if (!reply.starts_with("\"\"")) return path;
            reply.remove_prefix(1);
        }
        path += reply.front();
        reply.remove_prefix(1);
    }
    return {};  // without its end
}

bool IsOneOf(const std::string& verb, std::span<const std::string_view> verbs) {
    return std::find(verbs.begin(), verbs.end(), verb) != verbs.end();
}

constexpr std::string_view kMoves[] = {"CWD", "XCWD", "CDUP", "XCUP", "PWD", "XPWD"};
constexpr std::string_view kLogins[] = {"USER", "PASS", "ACCT", "REIN", "HOST"};

}  // namespace

bool FtpFolder::IsToldBy(const FtpCommand& command) {
    return IsOneOf(command.verb, kMoves) || IsOneOf(command.verb, kLogins);
}

void FtpFolder::Answered(const FtpCommand& command, std::string_view reply) {
    if (!reply.starts_with('2')) return;
    std::string path = path_;
    if (IsOneOf(command.verb, kLogins)) {
        path = "/";
    } else if (command.verb.ends_with("PWD")) {
        const std::string told = reply.starts_with("257") ? QuotedPath(reply) : std::string();
        if (!told.empty()) path = FromRoot("/", WithSlashes(told));
    } else if (command.verb.ends_with("CWD")) {
        path = FromRoot(path_, WithSlashes(command.argument));
    } else {
        path = FromRoot(path_, "..");
    }
    if (path.size() <= kMostPath) path_ = path;
}

std::vector<std::string> FtpFolder::JudgedForms(const FtpCommand& command) const {
    const std::string verb = command.verb == "XCWD" ? "CWD" : command.verb;
    std::vector<std::string> forms;
    const auto add = [&](const std::string& argument) {
        std::string form = verb + (argument.empty() ? "" : " ") + argument + "\r\n";
        if (std::find(forms.begin(), forms.end(), form) == forms.end()) forms.push_back(std::move(form));
    };
    add(command.argument);
    if ((verb != "RETR" && verb != "CWD") || command.argument.empty()) return forms;
    if (command.asSent != command.argument) add(command.asSent);
    // What is the same as the first form needs no second question.
    const auto addWhole = [&](const std::string& path) {
        const std::string whole = FromRoot(path_, path);
        if (whole != "/" + command.argument) add(whole);
    };
    addWhole(command.argument);
    if (command.argument.find('\\') != std::string::npos) {
        add(FromRoot("/", WithSlashes(command.argument)));
        addWhole(WithSlashes(command.argument));
    }
    return forms;
}

}  // namespace tarn::host::serve
