// Reads the public headers as text: records with their fields, names of numbers, signatures of functions.
// Pure functions of a header's text. Offsets and sizes are those that the header asserts, so the compiler has proven
// them.
#ifndef TARN_SHAPE_HEADER_TEXT_H
#define TARN_SHAPE_HEADER_TEXT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace tarn::shape {

struct RecordField {
    std::string name;
    std::string type;  // as declared, with numbers for the capacities
    std::size_t offset = 0;
    bool isAsserted = false;  // the header asserts the offset
};

struct Record {
    std::string name;
    std::size_t size = 0;  // 0 when the header asserts none
    std::vector<RecordField> fields;

    // Bytes up to the next field, or to the end.
    [[nodiscard]] std::size_t SizeOf(std::size_t field) const {
        return (field + 1 < fields.size() ? fields[field + 1].offset : size) - fields[field].offset;
    }
};

std::string WithoutComments(const std::string& header);

std::vector<Record> RecordsOf(const std::string& header);

// The enumerators, in their order.
std::vector<std::string> NumbersOf(const std::string& header);

// "uint8_t (const char* host, uint16_t port)" by the name of the function type.
std::map<std::string, std::string> SignaturesOf(const std::string& header);

}  // namespace tarn::shape

#endif
