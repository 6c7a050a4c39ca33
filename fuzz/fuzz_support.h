// What the fuzz programs share: the seeds, and what is done with a result.
//
// A program defines Seeds(), valid small files of its format made in code, and the fuzzer's entry.
// Called with "--seeds FOLDER" it writes the seeds into the folder and ends.
#ifndef VOMO_FUZZ_SUPPORT_H
#define VOMO_FUZZ_SUPPORT_H

#include <vomo.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/memory_file.h"

std::vector<std::string> Seeds();

namespace vomo_fuzz {

// A delivered waveform must be readable from its first stored sample to its last.
inline void UseWaveform(const VomoWaveform *waveform) {
  const float *stored = waveform->pfSamples - waveform->ulTrimFront;
  const uint64_t count =
      uint64_t{waveform->ulNumSamples} + waveform->ulTrimFront + waveform->ulTrimBack;
  for (uint64_t i = 0; i < count; ++i) {
    const volatile float sample = stored[i];
    static_cast<void>(sample);
  }
}

inline void WriteSeeds(const std::string &folder) {
  int number = 0;
  for (const std::string &seed : Seeds()) {
    std::ofstream file(folder + "/seed" + std::to_string(number++), std::ios::binary);
    file << seed;
    if (!file.flush()) std::exit(1);
  }
}

}  // namespace vomo_fuzz

extern "C" inline __attribute__((used)) int LLVMFuzzerInitialize(int *argc, char ***argv) {
  if (*argc == 3 && std::string_view((*argv)[1]) == "--seeds") {
    vomo_fuzz::WriteSeeds((*argv)[2]);
    std::exit(0);
  }
  return 0;
}

#endif
