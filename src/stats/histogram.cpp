#include <algorithm>
#include <cmath>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// Values are brought to bin positions in portions that stay in the first-level cache.
constexpr uint32_t kPortion = 1024;

struct BinRange {
  uint32_t left, right;  // inclusive

  bool empty() const { return left > right; }
  uint32_t count() const { return RangeCount(left, right); }
};

// Adds the weight of one hit to the bin of each value. The bins are laid out from the minimum; the
// maximum, whose position may be the bin count itself, belongs to the last one. A NaN counts in
// bin 0. The block that the bins lie in is no longer than 2^31 bytes, so a bin number fits 32 bits
// with sign.
void CountHits(const double *values, uint32_t count, double minimum, double bin_size, double *bins,
               uint32_t bin_total) {
  const double hit_weight = 1.0 / static_cast<double>(count);
  const double last_bin = static_cast<double>(bin_total - 1);
  double position[kPortion];
  for (uint32_t done = 0; done < count;) {
    const uint32_t portion = std::min(kPortion, count - done);
    const auto length = static_cast<int32_t>(portion);
    VecSubConst_64f(values + done, minimum, position, length);
    VecDivConstInPlace_64f(bin_size, position, length);
    for (uint32_t i = 0; i < portion; ++i) {
      const double from_zero = position[i] > 0.0 ? position[i] : 0.0;
      bins[static_cast<int32_t>(from_zero < last_bin ? from_zero : last_bin)] += hit_weight;
    }
    done += portion;
  }
}

// Cuts off the outer bins with fewer than trim_count hits. Bin 0 is never tested from the right.
BinRange FindKeptBins(const double *bins, uint32_t bin_total, double value_count,
                      uint32_t trim_count) {
  const auto thin = [&](uint32_t bin) {
    return static_cast<double>(trim_count) > bins[bin] * value_count;
  };
  BinRange kept{0, bin_total - 1};
  while (kept.left < bin_total && thin(kept.left)) ++kept.left;
  while (kept.right > 0 && thin(kept.right)) --kept.right;
  return kept;
}

// Brings the sum of the bins to 1.
void Normalise(double *bins, uint32_t count) {
  double sum = 0.0;
  for (uint32_t i = 0; i < count; ++i) sum += bins[i];
  VecScaleInPlace_64f(1.0 / sum, bins, static_cast<int32_t>(count));
}

// Running sum of count bins, from the first one on in the direction of the step (1 or -1).
void RunningSum(const double *first, int step, uint32_t count, double *sums) {
  double sum = 0.0;
  for (uint32_t i = 0; i < count; ++i, first += step) sums[i] = sum += *first;
}

struct Histogram {
  BlockOf<double> block;
  uint32_t bin_total = 0;
  BinRange kept{};
  double first_bin_value = 0.0;
};

// The full histogram of bin_total bins, with the kept ones normalised, at the start of a zeroed
// block that has room for array_count arrays of that length.
VomoStatus MakeHistogram(const double *values, uint32_t value_count, double bin_size,
                         uint32_t trim_count, uint32_t array_count, Histogram &histogram) {
  double minimum, maximum;
  const int32_t status =
      VecMinMax_64f(values, static_cast<int32_t>(value_count), &minimum, &maximum);
  if (status != 0) return PrimitiveFailure(status, Vomo_STATUS_COMPUTATION_ERROR);

  const uint32_t bin_total = VomoToU32(std::ceil((maximum - minimum) / bin_size));
  if (bin_total == 0) return Vomo_STATUS_PARAM_NOT_VALID;
  histogram.block = BlockOf<double>::Allocate(uint64_t{array_count} * bin_total);
  double *const bins = histogram.block.get();
  std::fill_n(bins, uint64_t{array_count} * bin_total, 0.0);

  CountHits(values, value_count, minimum, bin_size, bins, bin_total);
  histogram.kept = FindKeptBins(bins, bin_total, static_cast<double>(value_count), trim_count);
  if (histogram.kept.empty()) return Vomo_STATUS_PARAM_NOT_VALID;
  Normalise(bins + histogram.kept.left, histogram.kept.count());

  histogram.bin_total = bin_total;
  // The bins begin at the minimum, but their abscissa is that of the grid through zero: it can lie
  // up to one bin below the true edge.
  histogram.first_bin_value =
      (std::floor(minimum / bin_size) + static_cast<double>(histogram.kept.left)) * bin_size;
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoCREATE_PDF_CDF(const double *pdValues, uint32_t ulValueCount,
                                         double dBinSize, uint32_t ulTrimCount,
                                         double *pdFirstBinValue, uint32_t *pulBinCount,
                                         double **ppdPDF, double **ppdCDFFromRight,
                                         double **ppdCDFFromLeft, VomoHandle *pHandle) noexcept {
  if (pdValues == nullptr || pdFirstBinValue == nullptr || pulBinCount == nullptr ||
      ppdPDF == nullptr || pHandle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulValueCount == 0 || !(dBinSize > 0) || !std::isfinite(dBinSize)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    const uint32_t sums_wanted = (ppdCDFFromRight != nullptr) + (ppdCDFFromLeft != nullptr);
    Histogram histogram;
    const VomoStatus status =
        MakeHistogram(pdValues, ulValueCount, dBinSize, ulTrimCount, 1 + sums_wanted, histogram);
    if (Vomo_STATUS_IS_ERROR(status)) return status;

    // In the block the sum from the left precedes the one from the right.
    double *const bins = histogram.block.get();
    const uint32_t bin_count = histogram.kept.count();
    double *sums = bins + histogram.bin_total;
    if (ppdCDFFromLeft != nullptr) {
      RunningSum(bins + histogram.kept.left, 1, bin_count, sums);
      *ppdCDFFromLeft = sums;
      sums += bin_count;
    }
    if (ppdCDFFromRight != nullptr) {
      RunningSum(bins + histogram.kept.right, -1, bin_count, sums);
      *ppdCDFFromRight = sums;
    }
    *pdFirstBinValue = histogram.first_bin_value;
    *pulBinCount = bin_count;
    histogram.block.Deliver(ppdPDF, pHandle);
    *ppdPDF = bins + histogram.kept.left;
    return status;
  });
}
