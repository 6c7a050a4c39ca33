// Pairs of files of any content. The first byte of an input chooses the member of the family, the
// next two say how much of the rest is the first file.
#include <algorithm>

#include "core/boundary.h"
#include "files/capture_makers.h"
#include "files/pair_reader.h"
#include "files/spice_maker.h"
#include "fuzz_support.h"

namespace {

const vomo::PairMember *const kMembers[] = {&vomo::kBinPair, &vomo::kCombinedBinPair,
                                            &vomo::kSpicePair, &vomo::kTrcPair, &vomo::kWfmPair};

}  // namespace

std::vector<std::string> Seeds() {
  const std::string nan = vomo_test::Raw<float>({1, __builtin_nanf(""), 2});
  const std::string files[] = {
      vomo_test::MakeBin({{{1, 2, 3}, 1e-11, 40}}),
      vomo_test::MakeBin({{{1, 2, 3}, 1e-11, 40}, {{4, 5}, 1e-11, 40}}),
      vomo_test::SpiceMaker().Header(vomo_test::SpiceHeader("00000001")).Data({1, 2}).bytes(),
      vomo_test::MakeTrc({.samples = "abcd"}),
      vomo_test::MakeWfm({.samples = nan, .format = 4, .bytes_per_point = 4}),
  };
  std::vector<std::string> seeds;
  for (size_t i = 0; i < std::size(files); ++i) {
    const size_t first = files[i].size();
    seeds.push_back(std::string{static_cast<char>(i), static_cast<char>(first & 255),
                                static_cast<char>(first >> 8)} +
                    files[i] + files[i]);
  }
  return seeds;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static vomo_test::MemoryFile a, b;
  if (size < 3) return 0;
  const size_t first = std::min<size_t>(data[1] + 256u * data[2], size - 3);
  a.Hold(data + 3, first);
  b.Hold(data + 3 + first, size - 3 - first);
  const vomo::PairMember &member = *kMembers[data[0] % std::size(kMembers)];
  for (const bool difference : {false, true}) {
    uint32_t count = size % 2 != 0 ? 1000 : 3;
    VomoWaveform *waveforms[2] = {};
    VomoHandle handles[3] = {};
    float *common = nullptr;
    const vomo::PairOutput output = {nullptr,       &count,      &waveforms[0], &handles[0],
                                     &waveforms[1], &handles[1], &common,       &handles[2]};
    const auto read = difference ? vomo::ReadDifferential : vomo::ReadTwoWaveforms;
    vomo::Guarded([&] { return read(member, {a.name(), b.name(), 0, 1e-12}, output); });
    for (const VomoWaveform *waveform : waveforms) {
      if (waveform != nullptr) vomo_fuzz::UseWaveform(waveform);
    }
    for (const VomoHandle handle : handles) Vomo_HANDLE_FREE(handle);
  }
  return 0;
}
