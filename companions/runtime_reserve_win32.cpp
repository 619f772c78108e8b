// Gives back the C++ run-time library's reserve for exceptions when a module is unloaded. Each module carries a
// run-time library of its own, which allocates that reserve (72 KiB) when it is loaded and keeps it; a suite reloads
// modules all day.
#include <cstdlib>

#if defined(__GLIBCXX__)
// The name is the run-time library's; no header declares it.
namespace __gnu_cxx {  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
void __freeres();      // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
}

namespace {

struct ReserveOwner {
    ReserveOwner() = default;
    ~ReserveOwner() { __gnu_cxx::__freeres(); }
    ReserveOwner(const ReserveOwner&) = delete;
    ReserveOwner& operator=(const ReserveOwner&) = delete;
};
const ReserveOwner reserve;

}  // namespace
#endif
