// Run lengths of repeating patterns.
#ifndef VOMO_TESTS_SUPPORT_PATTERN_RUNS_H
#define VOMO_TESTS_SUPPORT_PATTERN_RUNS_H

#include <synth_signal.h>

#include <cstdint>
#include <vector>

namespace vomo_test {

// The first count values of an endless repetition.
inline std::vector<uint16_t> Repeated(const std::vector<uint16_t> &repeat, size_t count) {
  std::vector<uint16_t> list(count);
  for (size_t i = 0; i < count; ++i) list[i] = repeat[i % repeat.size()];
  return list;
}

// One period of PRBS7: 64 runs, 127 bits.
inline std::vector<uint16_t> Prbs7Runs() {
  app::SynthSpec spec;
  spec.pattern = app::Pattern::kPrbs7;
  app::BitSource bits(spec);
  std::vector<uint16_t> runs;
  int before = bits.Next();
  while (bits.Next() == before) {
  }
  before = 1 - before;
  uint16_t run = 1;
  for (int i = 1; i <= 127; ++i) {
    const int bit = bits.Next();
    if (bit == before) {
      ++run;
      continue;
    }
    runs.push_back(run);
    run = 1;
    before = bit;
  }
  return runs;
}

}  // namespace vomo_test

#endif
