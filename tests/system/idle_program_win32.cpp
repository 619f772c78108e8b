// A program that does nothing until its input ends: somebody for browsing protection to act against.
// Its first byte of output tells that it runs.
#include <windows.h>

int main() {
    DWORD count = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "r", 1, &count, nullptr);
    char ignored = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &ignored, 1, &count, nullptr) && count != 0) continue;
    return 0;
}
