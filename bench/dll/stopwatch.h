// Measures a call that must give the right answer each time: short batches, their median and their fastest, since the
// machine may be shared.
#ifndef TARN_BENCH_DLL_STOPWATCH_H
#define TARN_BENCH_DLL_STOPWATCH_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tarn::dll_bench {

struct Figure {
    bool rightAnswers = false;
    double median = 0;   // ns for each call, of the batch in the middle
    double fastest = 0;  // ns for each call, of the fastest batch
};

// The performance counter.
double Seconds();

// ask(n) makes the n-th call and tells whether its answer was right. The first batch, which also finds out how many
// calls a batch needs, does not count.
template <class Ask>
Figure Measure(std::size_t batches, double batchSeconds, Ask ask) {
    Figure figure;
    std::size_t next = 0;
    const auto batch = [&](std::size_t calls, double& seconds) {
        const double start = Seconds();
        for (std::size_t i = 0; i < calls; ++i)
            if (!ask(next++)) return false;
        seconds = Seconds() - start;
        return true;
    };
    std::size_t calls = 1;
    double seconds = 0;
    for (;;) {
        if (!batch(calls, seconds)) return figure;
        if (seconds >= batchSeconds) break;
        calls = seconds <= batchSeconds / 100
                    ? calls * 10
                    : static_cast<std::size_t>(static_cast<double>(calls) * 1.2 * batchSeconds / seconds) + 1;
    }
    std::vector<double> times;
    for (std::size_t i = 0; i < batches; ++i) {
        if (!batch(calls, seconds)) return figure;
        times.push_back(seconds * 1e9 / static_cast<double>(calls));
    }
    std::ranges::sort(times);
    figure = {true, times[times.size() / 2], times.front()};
    return figure;
}

}  // namespace tarn::dll_bench

#endif
