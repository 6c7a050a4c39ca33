// What the fuzz programs share: the bytes of an input as a file with a name, and the seeds.
//
// A program defines Seeds(), valid small files of its format made in code, and the fuzzer's entry.
// Called with "--seeds FOLDER" it writes the seeds into the folder and ends.
#ifndef VOMO_FUZZ_SUPPORT_H
#define VOMO_FUZZ_SUPPORT_H

#include <sys/mman.h>
#include <unistd.h>
#include <vomo.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

std::vector<std::string> Seeds();

namespace vomo_fuzz {

// A file in memory that the readers can open by name. One serves for all inputs of a run.
class MemoryFile {
 public:
  explicit MemoryFile(const char *label) : descriptor_(memfd_create(label, MFD_CLOEXEC)) {
    if (descriptor_ < 0) std::abort();
    name_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;
  ~MemoryFile() { close(descriptor_); }

  const char *Hold(const uint8_t *data, size_t size) {
    if (ftruncate(descriptor_, 0) != 0 ||
        pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size)) {
      std::abort();
    }
    return name_.c_str();
  }

 private:
  int descriptor_;
  std::string name_;
};

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
