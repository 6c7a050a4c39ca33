// Makes a clock of a crossover list: one entry for every unit interval, virtual edges filled in.
#include <algorithm>
#include <cstring>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "timing/crossover_block.h"
#include "timing/pattern_check.h"

namespace vomo {
namespace {

// Entries that the gaps ask for, and one for the last edge. A caller's run length below 1 still
// takes the place of its real edge.
uint64_t ClockLength(const int16_t *run_lengths, uint32_t count) {
  uint64_t total = 1;
  for (uint32_t i = 0; i < count; ++i) {
    total += static_cast<uint64_t>(std::max<int16_t>(run_lengths[i], 1));
  }
  return total;
}

// Real edges are copied; the virtual ones of a gap follow each other at an even step, each time
// formed from the one before.
void FillClock(const double *times, const uint8_t *flags, const int16_t *run_lengths,
               uint32_t gap_count, double *clock_times, uint8_t *clock_flags) {
  for (uint32_t i = 0; i < gap_count; ++i) {
    *clock_times++ = times[i];
    *clock_flags++ = flags[i];
    const int run = run_lengths[i];
    if (run <= 1) continue;
    const double step_s = (times[i + 1] - times[i]) / run;
    double time_s = times[i];
    for (int k = 1; k < run; ++k) {
      *clock_times++ = time_s += step_s;
      *clock_flags++ = CROSSOVER_VIRTUAL;
    }
  }
  *clock_times = times[gap_count];
  *clock_flags = flags[gap_count];
}

// Run lengths of a stretch: the caller's, or those of the whole list made here. The latter are read
// from the list's beginning, wherever the stretch starts; the library's own callers start at 0.
class StretchRunLengths {
 public:
  VomoStatus Find(const VomoCrossoverData *crossovers, uint32_t start, double unit_interval_s,
                  const int16_t *given) {
    if (given != nullptr) {
      lengths_ = given + start;
      return Vomo_STATUS_SUCCESS;
    }
    const VomoStatus status =
        VomoFIND_RUN_LENGTHS(crossovers, unit_interval_s, found_.pointer(), found_.handle_out());
    lengths_ = found_.get();
    return status;
  }

  const int16_t *get() const { return lengths_; }

  // Leaves the block in the handle table.
  void Abandon() {
    int16_t *lengths = nullptr;
    VomoHandle handle = 0;
    found_.Deliver(&lengths, &handle);
  }

 private:
  const int16_t *lengths_ = nullptr;
  Received<int16_t> found_;
};

VomoStatus Convert(const VomoCrossoverData &list, uint32_t start, uint32_t stop,
                   double unit_interval_s, const int16_t *given_run_lengths,
                   VomoCrossoverData **clock, VomoHandle *handle) {
  const uint32_t gap_count = stop - start;
  StretchRunLengths run_lengths;
  const VomoStatus status = run_lengths.Find(&list, start, unit_interval_s, given_run_lengths);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const uint64_t total = ClockLength(run_lengths.get(), gap_count);
  if (list.psPatChkData != nullptr) {
    list.psPatChkData->dEdgeDensity = static_cast<double>(gap_count) / static_cast<double>(total);
    VomoCheckRunLengthPattern(gap_count, run_lengths.get(), list.psPatChkData);
  }

  const uint32_t two_part_count = list.psTwoPartArray != nullptr ? list.ulTwoPartCount : 0;
  Block block = TryMakeCrossoverBlock(total, two_part_count);
  if (!block) {
    // Without a clock the temporary stays until all handles are freed.
    run_lengths.Abandon();
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  auto *made = static_cast<VomoCrossoverData *>(block.memory());
  if (two_part_count != 0) {
    std::memcpy(made->psTwoPartArray, list.psTwoPartArray,
                two_part_count * sizeof(VomoTwoPartCrossover));
  }
  FillClock(list.pdTimes + start, list.pucFlags + start, run_lengths.get(), gap_count,
            made->pdTimes, made->pucFlags);
  *clock = made;
  *handle = block.Release();
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

extern "C" VomoStatus Vomo_CONVERT_CROSSOVER_TO_CLOCK(const VomoCrossoverData *psCrossovers,
                                                      uint32_t ulStartIdx, uint32_t ulStopIdx,
                                                      double dUnitInterval,
                                                      const int16_t *psRunLengths,
                                                      VomoCrossoverData **ppsClock,
                                                      VomoHandle *phClock) noexcept {
  if (!vomo::HasTimes(psCrossovers) || ppsClock == nullptr || phClock == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (psCrossovers->ulCount < 2 || ulStopIdx >= psCrossovers->ulCount || ulStopIdx <= ulStartIdx) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  if (psCrossovers->pucFlags == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return vomo::Guarded([&] {
    return vomo::Convert(*psCrossovers, ulStartIdx, ulStopIdx, dUnitInterval, psRunLengths,
                         ppsClock, phClock);
  });
}
