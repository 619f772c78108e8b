// What the scripted modules answer, as the lines of a script set it: blocks of memory that point to each other, and the
// fields of the answers that point to them.
#ifndef TARN_TESTS_MODEL_DRIVER_ANSWERS_H
#define TARN_TESTS_MODEL_DRIVER_ANSWERS_H

#include <map>
#include <memory>
#include <string>

#include "model/driver/line.h"

namespace tarn::model {

class ScriptedAnswers {
 public:
    // NAME HEX [OFFSET=NAME...]: a block with pointers to earlier ones.
    void Block(Line& line);
    // FIELD HEX [OFFSET=NAME...]: a field of the answers.
    void Answer(Line& line);
    // Every answer as at the beginning, and no block.
    void Reset();

 private:
    void Put(Line& line, std::uint8_t* to, std::size_t size);

    std::map<std::string, std::unique_ptr<std::uint8_t[]>> blocks_;
};

}  // namespace tarn::model

#endif
