// stack_overrun COUNT: writes so many bytes into a stack buffer of 16, then returns with 7. The tests run it.
#include <cstddef>
#include <cstdlib>

namespace {

void Write(volatile char* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) bytes[i] = 'x';
}

int WriteOnOwnStack(std::size_t count) {
    char buffer[16] = {};
    Write(buffer, count);
    return 7;
}

}  // namespace

int main(int count, char** arguments) {
    return WriteOnOwnStack(count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 0);
}
