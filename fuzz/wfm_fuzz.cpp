// WFM files of any content.
#include "files/capture_makers.h"
#include "fuzz_support.h"

std::vector<std::string> Seeds() {
  constexpr int8_t kBytes[] = {2, 4, 4, 3, 4, 8, 1, 1, 5};
  std::vector<std::string> seeds;
  for (const std::endian order : {std::endian::little, std::endian::big}) {
    for (uint32_t format = 0; format < std::size(kBytes); ++format) {
      seeds.push_back(vomo_test::MakeWfm({.samples = std::string(16, '\xFF'),
                                          .format = format,
                                          .bytes_per_point = kBytes[format],
                                          .version = 1 + static_cast<int>(format % 3),
                                          .order = order,
                                          .scale = 0.5,
                                          .before = "before"}));
    }
  }
  return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile file;
  file.Hold(data, size);
  vomo_fuzz::ReadOne(Vomo_Read_WFM_File, file, size % 2 != 0 ? 1000 : 3);
  return 0;
}
