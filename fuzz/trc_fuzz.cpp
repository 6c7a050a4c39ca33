// TRC files of any content.
#include "files/capture_makers.h"
#include "fuzz_support.h"

std::vector<std::string> Seeds() {
  using vomo_test::MakeTrc;
  return {
      MakeTrc({.samples = "abcd", .gain = 0.5f, .offset = 1}),
      MakeTrc({.samples = "abcd", .data_type = 0, .prefix = "#9000123456"}),
      MakeTrc({.samples = "abcd", .prefix = "#0", .user_text = "text", .tail = "tail"}),
      MakeTrc({.samples = "abcd", .array_bytes = 1000}),
  };
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile file;
  file.Hold(data, size);
  vomo_fuzz::ReadOne(Vomo_Read_TRC_File, file, size % 2 != 0 ? 1000 : 3);
  return 0;
}
