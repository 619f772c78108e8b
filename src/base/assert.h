// TARN_ASSERT(condition): a stated precondition, checked in every build that does not define NDEBUG.
#ifndef TARN_BASE_ASSERT_H
#define TARN_BASE_ASSERT_H

#include <cassert>

#define TARN_ASSERT(condition) assert(condition)

#endif
