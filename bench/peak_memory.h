// How much memory a call takes beyond what was there before.
#ifndef VOMO_BENCH_PEAK_MEMORY_H
#define VOMO_BENCH_PEAK_MEMORY_H

#include <malloc.h>

#include <fstream>
#include <string>

namespace vomo_bench {

// Peak resident memory since the last reset, in bytes, as the system counts it.
inline double PeakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word != "VmHWM:") continue;
    double kilobytes = 0;
    status >> kilobytes;
    return kilobytes * 1024;
  }
  return 0;
}

inline void ResetPeakMemory() {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";
}

// Bytes that the call had in use at most, less those from before it.
template <class Call>
double MemoryTakenBy(Call call) {
  ResetPeakMemory();
  const double before = PeakMemory();
  call();
  return PeakMemory() - before;
}

}  // namespace vomo_bench

#endif
