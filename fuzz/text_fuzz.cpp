// Text captures of any content. The first byte of an input chooses how many lines are skipped and
// whether the samples are limited, the rest is the file.
#include "files/text_reader.h"
#include "fuzz_support.h"

std::vector<std::string> Seeds() {
  std::vector<std::string> seeds;
  for (const char first : {'\0', '\1', '\3'}) {
    for (const char *text : {"1.5, 2.5\n", "t = 3\n-1e-3\t2E+5\r\n", "# header\n\n0x1p3 nan\n1 inf",
                             "12345678901234567890 1e39\n-\n", "1,2,3\n4 5 6, 7\n"}) {
      seeds.push_back(first + std::string(text));
    }
    seeds.push_back(first + std::string(2047, '1') + "\n" + std::string(3000, ' ') + "2\n");
  }
  return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile file;
  if (size == 0) return 0;
  file.Hold(data + 1, size - 1);
  vomo::ReadRequest request;
  request.file_name = file.name();
  request.lines_to_skip = data[0] & 1;
  request.limit = data[0] & 2 ? 3 : vomo::kNoLimit;
  vomo::Capture capture;
  // Small growths, which the sanitizers follow a hundred times faster, and which are met often.
  const VomoStatus status = vomo::ReadText(request, {4, 2}, &capture);
  if (status == Vomo_STATUS_SUCCESS) vomo_fuzz::UseWaveform(capture.waveform.get());
  return 0;
}
