// Tells the local time. The clock is a fact handed in, so that midnights and years can be tested without waiting.
// Calendar arithmetic is the business of those who ask.
#ifndef TARN_BASE_LOCAL_CLOCK_H
#define TARN_BASE_LOCAL_CLOCK_H

#include "tarn/records.h"

namespace tarn::base {

class LocalClock {
 public:
    virtual ~LocalClock() = default;
    // False when the local time cannot be told.
    virtual bool Now(TarnSystemTime& now) = 0;
};

}  // namespace tarn::base

#endif
