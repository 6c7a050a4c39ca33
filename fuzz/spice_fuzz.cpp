// Spice files of any content, through the single and the combined read. The buffer that the reader
// keeps between files is part of what is tested.
#include "files/spice_maker.h"
#include "fuzz_support.h"

using vomo_test::SpiceHeader;
using vomo_test::SpiceMaker;

std::vector<std::string> Seeds() {
  std::vector<std::string> seeds;
  for (const std::endian order : {std::endian::little, std::endian::big}) {
    const std::string skipping = SpiceHeader("00000001", "0001", "0002", "1");
    seeds.push_back(
        SpiceMaker(order).Header(SpiceHeader("00000002")).Data({1, 2, 3}).Data({4}).bytes());
    seeds.push_back(SpiceMaker(order)
                        .Header("title\n")
                        .Header(skipping)
                        .Data({9, 9, 1, 2})
                        .Data({vomo_test::kSpiceEnd})
                        .bytes());
    seeds.push_back(SpiceMaker(order).Header(SpiceHeader("00000001")).Data({1}, 1000).bytes());
  }
  return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile file;
  file.Hold(data, size);
  const auto read = [](const char *name, double *interval_s, uint32_t *count,
                       VomoWaveform **waveform, VomoHandle *handle) noexcept {
    return Vomo_Read_Spice_File(name, interval_s, count, waveform, handle);
  };
  vomo_fuzz::ReadOne(read, file, size % 2 != 0 ? 1000 : 3);
  vomo_fuzz::ReadTwo(Vomo_Read_Combined_Spice_File, file);
  return 0;
}
