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

// Every sample that a delivered record shows must be there to be read. What a record hides need
// not: the records of pairs are shortened without telling where the rest went.
inline void UseWaveform(const VomoWaveform *waveform) {
  for (uint32_t i = 0; i < waveform->ulNumSamples; ++i) {
    const volatile float sample = waveform->pfSamples[i];
    static_cast<void>(sample);
  }
}

// One call of a reader of one waveform, with a limit: what a header promises may be gigabytes.
inline void ReadOne(decltype(Vomo_Read_BIN_File) *read, const vomo_test::MemoryFile &file,
                    uint32_t limit) {
  double interval_s = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  read(file.name(), &interval_s, &limit, &waveform, &handle);
  if (waveform != nullptr) UseWaveform(waveform);
  Vomo_HANDLE_FREE(handle);
}

// And of a reader of two.
template <class Interval>
void ReadTwo(VomoStatus (*read)(const char *, Interval *, uint32_t *, VomoWaveform **, VomoHandle *,
                                VomoWaveform **, VomoHandle *),
             const vomo_test::MemoryFile &file) {
  double interval_s = 1e-12;
  uint32_t count = 0;
  VomoWaveform *waveforms[2] = {};
  VomoHandle handles[2] = {};
  read(file.name(), &interval_s, &count, &waveforms[0], &handles[0], &waveforms[1], &handles[1]);
  for (const VomoWaveform *waveform : waveforms) {
    if (waveform != nullptr) UseWaveform(waveform);
  }
  for (const VomoHandle handle : handles) Vomo_HANDLE_FREE(handle);
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
