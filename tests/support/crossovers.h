// Crossover lists for the tests: built from plain vectors, and read back into them.
#ifndef VOMO_TESTS_SUPPORT_CROSSOVERS_H
#define VOMO_TESTS_SUPPORT_CROSSOVERS_H

#include <vomo.h>

#include <cstdint>
#include <vector>

namespace vomo_test {

// A crossover record over vectors of its own.
struct CrossoverList {
  explicit CrossoverList(std::vector<double> edge_times)
      : times(std::move(edge_times)), flags(times.size(), CROSSOVER_RISE) {
    for (size_t i = 1; i < flags.size(); i += 2) flags[i] = CROSSOVER_FALL;
  }

  // Edges of a bit pattern given by its run lengths in UI, the first edge at time 0.
  static CrossoverList FromRuns(const std::vector<int> &runs, double unit_interval_s) {
    std::vector<double> edge_times{0.0};
    int64_t position = 0;
    for (const int run : runs) {
      edge_times.push_back(static_cast<double>(position += run) * unit_interval_s);
    }
    return CrossoverList(std::move(edge_times));
  }

  const VomoCrossoverData *get() {
    record.ulCount = static_cast<uint32_t>(times.size());
    record.pdTimes = times.data();
    record.pucFlags = flags.data();
    record.psTwoPartArray = two_part.empty() ? nullptr : two_part.data();
    record.ulTwoPartCount = static_cast<uint32_t>(two_part.size());
    return &record;
  }

  std::vector<double> times;
  std::vector<uint8_t> flags;
  std::vector<VomoTwoPartCrossover> two_part;
  VomoCrossoverData record{};
};

inline std::vector<double> TimesOf(const VomoCrossoverData &list) {
  return {list.pdTimes, list.pdTimes + list.ulCount};
}

inline std::vector<int> FlagsOf(const VomoCrossoverData &list) {
  return {list.pucFlags, list.pucFlags + list.ulCount};
}

}  // namespace vomo_test

#endif
