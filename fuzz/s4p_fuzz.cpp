// Four-port files of any content.
#include "fuzz_support.h"

std::vector<std::string> Seeds() {
  std::string points;
  for (int line = 0; line < 12; ++line) {
    if (line % 4 == 0) points += "1.5e3 ";
    points += "0.5 90 -20 0 .25 1e-3 +1 180\n";
  }
  return {"! title\n# GHz S MA R 50\n" + points, "# hz s ri r 50\r\n" + points,
          "# kHz S DB R 50\n! 1\n" + points + "! 2\n1 2 3", points + "1 nan 0x10 inf"};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile file;
  file.Hold(data, size);
  VomoSparamData *record = nullptr;
  if (Vomo_Read_S4P_File(file.name(), &record) != Vomo_STATUS_SUCCESS) return 0;
  if (record->ulSArrayLength == 0 || record->ulSArrayLength > 2000 || record->pdSfreq[0] != 0) {
    std::abort();
  }
  return 0;
}
