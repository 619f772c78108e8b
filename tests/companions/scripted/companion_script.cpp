#include "companions/scripted/companion_script.h"

#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace {

struct Script {
    std::mutex mutex;
    tarn::script::Answers answers{};
    std::map<std::string, std::uint32_t> results;
    std::string journal;
};
Script script;

}  // namespace

extern "C" {

tarn::script::Answers* ScriptAnswers() {
    return &script.answers;
}

void ScriptReset() {
    const std::lock_guard hold(script.mutex);
    script.answers = {};
    script.answers.cloudStatus = 1;
    script.results.clear();
    script.journal.clear();
}

void ScriptSetResult(const char* function, std::uint32_t result) {
    const std::lock_guard hold(script.mutex);
    script.results[function] = result;
}

std::uint32_t ScriptResult(const char* function) {
    const std::lock_guard hold(script.mutex);
    const auto found = script.results.find(function);
    return found == script.results.end() ? 1 : found->second;
}

void ScriptNote(const char* line) {
    {
        const std::lock_guard hold(script.mutex);
        script.journal += line;
        script.journal += '\n';
    }
    if (script.answers.listener != nullptr) script.answers.listener(script.answers.listenerContext, line);
}

std::size_t ScriptJournal(char* text, std::size_t capacity) {
    const std::lock_guard hold(script.mutex);
    const std::size_t count = script.journal.size() < capacity ? script.journal.size() : capacity - 1;
    if (capacity != 0) {
        std::memcpy(text, script.journal.data(), count);
        text[count] = '\0';
    }
    return script.journal.size();
}

}  // extern "C"
