#include "model/driver/answers.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "companions/scripted/companion_script.h"

namespace tarn::model {
namespace {

std::pair<std::uint8_t*, std::size_t> FieldOf(const std::string& name) {
    script::Answers& answers = *ScriptAnswers();
#define TARN_FIELD(field) \
    if (name == #field) return {reinterpret_cast<std::uint8_t*>(&answers.field), sizeof answers.field};
    TARN_FIELD(bpStatus)
    TARN_FIELD(apStatus)
    TARN_FIELD(cloudStatus)
    TARN_FIELD(agentStatus)
    TARN_FIELD(idsIpsStatus)
    TARN_FIELD(idsIpsSettings)
    TARN_FIELD(bpPrompt)
    TARN_FIELD(apPrompt)
    TARN_FIELD(bpSettings)
    TARN_FIELD(apSettings)
    TARN_FIELD(bpUserWhiteList)
    TARN_FIELD(bpInternalWhiteList)
    TARN_FIELD(wsInternalWhiteList)
    TARN_FIELD(idsSettings)
    TARN_FIELD(pcSettings)
    TARN_FIELD(dnsCache)
    TARN_FIELD(systemControl)
    TARN_FIELD(disabledFeatures)
    TARN_FIELD(serverAddress)
    TARN_FIELD(categories)
    TARN_FIELD(categoryCount)
    TARN_FIELD(malicious)
    TARN_FIELD(httpsBlock)
    TARN_FIELD(packetVerdict)
    TARN_FIELD(firstCallNotesPassed)
    TARN_FIELD(keepsSessions)
#undef TARN_FIELD
    throw std::runtime_error("there is no answer " + name);
}

}  // namespace

void ScriptedAnswers::Put(Line& line, std::uint8_t* to, std::size_t size) {
    while (!line.IsOver()) {
        const std::string word = line.Word();
        const std::size_t split = word.find('=');
        const std::size_t offset = std::stoull(word.substr(0, split));
        const std::uint8_t* target = blocks_.at(word.substr(split + 1)).get();
        if (offset + sizeof target > size) throw std::runtime_error("a pointer does not fit");
        std::memcpy(to + offset, &target, sizeof target);
    }
}

void ScriptedAnswers::Block(Line& line) {
    const std::string name = line.Word();
    const Bytes bytes = line.Hex();
    auto block = std::make_unique<std::uint8_t[]>(bytes.size() + 1);
    std::memcpy(block.get(), bytes.data(), bytes.size());
    Put(line, block.get(), bytes.size());
    blocks_[name] = std::move(block);
}

void ScriptedAnswers::Answer(Line& line) {
    const std::string name = line.Word();
    const Bytes bytes = line.Hex();
    const auto [field, size] = FieldOf(name);
    if (bytes.size() != size) throw std::runtime_error(name + " has another size");
    std::memcpy(field, bytes.data(), size);
    Put(line, field, size);
}

void ScriptedAnswers::Reset() {
    ScriptReset();
    blocks_.clear();
}

}  // namespace tarn::model
