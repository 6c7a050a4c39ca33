// Samples of any number type, as they stand in a file, made volts.
#ifndef VOMO_FILES_SAMPLE_READER_H
#define VOMO_FILES_SAMPLE_READER_H

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "core/handle_table.h"
#include "files/byte_order.h"
#include "files/input_file.h"

namespace vomo {

// How a file's number becomes a voltage: number * scale + offset in double, rounded once to float.
struct SampleCoding {
  uint32_t bytes = 0;  // of a number; 0 if the samples take nothing from the file
  double scale = 0;
  double offset = 0;
  bool may_give_nan = true;  // false for integers made volts by finite numbers
  void (*convert)(const SampleCoding &coding, const uint8_t *source, float *volts,
                  uint64_t count) = nullptr;
};

template <class Number, bool kReversed>
void ConvertSamples(const SampleCoding &coding, const uint8_t *__restrict source,
                    float *__restrict volts, uint64_t count) {
  const double scale = coding.scale;
  const double offset = coding.offset;
  for (uint64_t i = 0; i < count; ++i) {
    const auto number = LoadNumber<Number>(source + i * sizeof(Number), kReversed);
    volts[i] = static_cast<float>(static_cast<double>(number) * scale + offset);
  }
}

template <class Number>
SampleCoding CodingOf(ByteOrder order, double scale, double offset) {
  const bool finite = std::isfinite(scale) && std::isfinite(offset);
  return {sizeof(Number), scale, offset, std::is_floating_point_v<Number> || !finite,
          IsNative(order) ? ConvertSamples<Number, false> : ConvertSamples<Number, true>};
}

// Reads from where the file stands.
class SampleReader {
 public:
  SampleReader(FileCursor *file, const SampleCoding &coding);

  uint64_t block_samples() const { return block_samples_; }

  // Converts the next samples, at most a block of them. What the file lacks is taken as bytes of 0.
  // Returns how many samples the file had whole.
  uint64_t ReadBlock(float *volts, uint64_t count);

 private:
  static constexpr uint64_t kBlockBytes = 128 * 1024;

  FileCursor *file_;
  SampleCoding coding_;
  uint64_t block_samples_;
  Scratch<uint8_t> block_;
};

}  // namespace vomo

#endif
