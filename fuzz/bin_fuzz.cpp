// BIN files of any content, through the single and the combined read.
#include "files/capture_makers.h"
#include "fuzz_support.h"

std::vector<std::string> Seeds() {
  using vomo_test::MakeBin;
  return {
      MakeBin({{{1, 2, 3}, 1e-11, 140}, {{4, 5}, 1e-11, 40}}),
      MakeBin({{.samples = {1, 2, 3}, .header_bytes = 16, .data_header_bytes = 8}}),
      MakeBin({{.samples = {1, 2}, .buffer_type = 6, .bytes_per_point = 1}, {{4, 5}}}),
      MakeBin({{.samples = {1, 2}, .points = 1'000'000, .buffer_bytes = 8}, {{4, 5}}}),
  };
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile file;
  file.Hold(data, size);
  vomo_fuzz::ReadOne(Vomo_Read_BIN_File, file, size % 2 != 0 ? 1000 : 3);
  vomo_fuzz::ReadTwo(Vomo_Read_Combined_BIN_File, file);
  return 0;
}
