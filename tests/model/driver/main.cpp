// Plays a script against the built tarn.dll: model_driver LIBRARY SCRIPT ANSWERS, both "-" for the standard streams.
// tests/model/README.md tells the lines of both files.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "companions/scripted/companion_script.h"
#include "model/driver/answers.h"
#include "model/driver/calls_win32.h"
#include "model/driver/facts_win32.h"
#include "model/driver/machine_win32.h"

namespace tarn::model {
namespace {

class Player {
 public:
    Player(const std::filesystem::path& library, std::ostream& out) : machine_(library), out_(out) {
        out_ << Facts() << std::endl;
    }

    void Play(const std::string& text) {
        Line line(text);
        if (line.IsEmpty()) return;
        const std::string name = line.Word();
        if (name.starts_with("WS") || name == "wake")
            Answer(name, line);
        else
            Prepare(name, line);
        if (!line.IsOver()) throw std::runtime_error("the line is longer than " + name);
    }

 private:
    void Answer(const std::string& name, Line& line) {
        std::string result = "1";
        if (name == "wake")
            Machine::WakeWorker();
        else
            result = Call(name, line, machine_);
        const std::string worker = Machine::Worker();
        const std::string journal = NewJournal();
        out_ << result << " worker=" << worker.substr(0, worker.find(' '))
             << (worker.find(' ') == std::string::npos ? "" : ":" + worker.substr(worker.find(' ') + 1))
             << Saved(journal) << " unreleased=" << ScriptAnswers()->unreleasedCategories << " journal="
             << (journal.empty() ? "-" : HexOf(reinterpret_cast<const std::uint8_t*>(journal.data()), journal.size()))
             << std::endl;
    }

    void Prepare(const std::string& name, Line& line) {
        if (name == "load")
            machine_.Load();
        else if (name == "unload")
            machine_.Unload();
        else if (name == "reset")
            Reset();
        else if (name == "block")
            answers_.Block(line);
        else if (name == "answer")
            answers_.Answer(line);
        else if (name == "result")
            SetResult(line);
        else if (name == "file")
            WriteFile(line);
        else if (name == "nofile")
            machine_.RemoveFile(line.Word());
        else if (name == "installed")
            machine_.SetInstalled(line.Number() != 0);
        else if (name == "agent")
            machine_.RegisterAgent(line.Word());
        else if (name == "service")
            Machine::SetService(line.Number() != 0);
        else if (name == "clock")
            SetClock(line);
        else if (name == "refuse")
            Machine::RefuseFile(line.Word());
        else if (name == "hide")
            Machine::HideFunction(line.Word());
        else
            throw std::runtime_error("there is no line " + name);
    }

    void Reset() {
        answers_.Reset();
        seen_ = 0;
        machine_.Reset();
    }

    static void SetResult(Line& line) {
        const std::string function = line.Word();
        ScriptSetResult(function.c_str(), static_cast<std::uint32_t>(line.Number()));
    }

    void WriteFile(Line& line) {
        const std::string name = line.Word();
        machine_.WriteFile(name, line.Hex());
    }

    static void SetClock(Line& line) {
        SYSTEMTIME time;
        for (WORD* field : {&time.wYear, &time.wMonth, &time.wDayOfWeek, &time.wDay, &time.wHour, &time.wMinute,
                            &time.wSecond, &time.wMilliseconds})
            *field = static_cast<WORD>(line.Number());
        Machine::SetClock(time);
    }

    std::string NewJournal() {
        std::string text(ScriptJournal(nullptr, 0) + 1, '\0');
        ScriptJournal(text.data(), text.size());
        text.pop_back();
        const std::string lines = text.substr(seen_);
        seen_ = text.size();
        return lines;
    }

    // What was handed to the modules that save or quarantine, when the call came to it.
    static std::string Saved(const std::string& journal) {
        const script::Answers& answers = *ScriptAnswers();
        std::string text;
        if (journal.find("WriteDNSCacheSettings error") != std::string::npos)
            text +=
                " dns=" + std::to_string(answers.savedDnsCount) + ":" + std::to_string(answers.savedDnsIndex) + ":" +
                (answers.savedDnsHasEntries != 0
                     ? HexOf(reinterpret_cast<const std::uint8_t*>(answers.savedDnsNames), sizeof answers.savedDnsNames)
                     : "-");
        if (journal.find("WritePCSystemControlSettings ") != std::string::npos) {
            const std::size_t count = std::min<std::size_t>(answers.savedSessions, std::size(answers.savedRecords));
            text += " sessions=" + std::to_string(answers.savedSessions) + ":" +
                    HexOf(reinterpret_cast<const std::uint8_t*>(answers.savedRecords),
                          count * sizeof answers.savedRecords[0]);
        }
        if (journal.find("ZRQuarantineFile") != std::string::npos)
            text += " quarantine=" + HexOf(reinterpret_cast<const std::uint8_t*>(&answers.quarantined),
                                           offsetof(QuarantineRequest, url));
        return text;
    }

    Machine machine_;
    ScriptedAnswers answers_;
    std::ostream& out_;
    std::size_t seen_ = 0;
};

int Run(const std::string& library, std::istream& in, std::ostream& out) {
    Player player(std::filesystem::absolute(library), out);
    std::string line;
    std::size_t number = 0;
    try {
        while (std::getline(in, line)) {
            ++number;
            player.Play(line);
        }
    } catch (const std::exception& failure) {
        std::cerr << "line " << number << ": " << failure.what() << std::endl;
        return 2;
    }
    out << "played " << number << std::endl;
    return 0;
}

}  // namespace
}  // namespace tarn::model

int main(int count, char** arguments) {
    if (count != 4) {
        std::cerr << "model_driver LIBRARY SCRIPT ANSWERS" << std::endl;
        return 2;
    }
    const std::string script = arguments[2];
    const std::string answers = arguments[3];
    std::ifstream file;
    std::ofstream written;
    if (script != "-") file.open(script, std::ios::binary);
    if (answers != "-") written.open(answers, std::ios::binary);
    if ((script != "-" && !file) || (answers != "-" && !written)) {
        std::cerr << "cannot open " << script << " or " << answers << std::endl;
        return 2;
    }
    try {
        return tarn::model::Run(arguments[1], script == "-" ? std::cin : file, answers == "-" ? std::cout : written);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << std::endl;
        return 2;
    }
}
