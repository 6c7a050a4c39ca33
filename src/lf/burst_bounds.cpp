// Finds the bursts of a capture, as pairs of start and end sample, and cuts their ends off.
#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "lf/arguments.h"
#include "lf/sample_scan.h"

namespace vomo {
namespace {

constexpr float kThresholdLimit = 5.0f;
// How long a pulse-width coded signal stays on one side in a stall.
constexpr double kStall_s = 1e-6;

struct Request {
  const VomoWaveform *waveform;
  int32_t burst_count;
  int32_t polarity;
  float threshold_v;
  double idle_s;

  bool IsGood() const {
    return IsReadable(waveform) && waveform->dSampleInterval > 0 && burst_count >= 1 &&
           polarity >= 0 && polarity <= 2 && threshold_v > 0 && threshold_v < kThresholdLimit &&
           idle_s >= 0;
  }
  // Samples in a row that last longer than a time.
  uint64_t RunBeyond(double time_s) const {
    return uint64_t{VomoToU32(time_s / waveform->dSampleInterval)} + 1;
  }
};

struct Outputs {
  int32_t *found;
  uint32_t **bounds;
  VomoHandle *handle;
};

// A burst lasts from the first sample beyond the threshold until the signal has been quiet.
class BurstTrain {
 public:
  explicit BurstTrain(const Request &request)
      : scan_(*request.waveform),
        start_{kStartSide[request.polarity], request.threshold_v},
        quiet_(MagnitudeBelow(request.threshold_v)),
        quiet_run_(request.RunBeyond(request.idle_s)) {}

  uint64_t nowhere() const { return scan_.nowhere(); }
  uint64_t FindStart(uint64_t from) { return scan_.First(start_, from); }
  uint64_t FindEnd(uint64_t start) {
    uint64_t run = 0;
    return scan_.RunEnd(quiet_, start, quiet_run_, run);
  }

 private:
  static constexpr Side kStartSide[] = {Side::kBeyond, Side::kBelow, Side::kAbove};

  SampleScan scan_;
  SampleClass start_, quiet_;
  uint64_t quiet_run_;
};

// A burst lasts from the end of a positive stall until the signal has stalled again. Of the run
// that makes up a stall before a burst, the length is kept from burst to burst.
class PulseWidthCoded {
 public:
  explicit PulseWidthCoded(const Request &request)
      : scan_(*request.waveform),
        threshold_v_(request.threshold_v),
        stall_run_(request.RunBeyond(kStall_s)) {}

  uint64_t nowhere() const { return scan_.nowhere(); }
  uint64_t FindStart(uint64_t from) {
    const uint64_t stalled = scan_.RunEnd({Side::kAbove, threshold_v_}, from, stall_run_, run_);
    const uint64_t fallen = scan_.First({Side::kNotAbove, 0.0f}, stalled);
    return fallen == nowhere() ? fallen : fallen - 1;
  }
  uint64_t FindEnd(uint64_t start) {
    uint64_t run = 0;
    return scan_.RunEnd({Side::kBeyond, threshold_v_}, start, stall_run_, run);
  }

 private:
  SampleScan scan_;
  float threshold_v_;
  uint64_t stall_run_;
  uint64_t run_ = 0;
};

struct Found {
  int32_t count;
  VomoStatus status;
};

// Fills in the bounds of up to burst_count bursts, and the start of one that doesn't end.
template <class Search>
Found FindBursts(Search search, int32_t burst_count, uint32_t *bounds) {
  uint64_t position = 0;
  for (int32_t burst = 0; burst < burst_count; ++burst, bounds += 2) {
    const uint64_t start = search.FindStart(position);
    if (start == search.nowhere()) return {burst, Vomo_STATUS_LF_FEWER_BURSTS};
    bounds[0] = static_cast<uint32_t>(start);
    position = search.FindEnd(start);
    if (position == search.nowhere()) return {burst, Vomo_STATUS_COMPUTATION_ERROR};
    bounds[1] = static_cast<uint32_t>(position);
  }
  return {burst_count, Vomo_STATUS_SUCCESS};
}

// What was found is delivered whatever the status.
template <class Search>
VomoStatus DeliverBursts(const Request &request, const Outputs &outputs) {
  if (!request.IsGood() || AnyNull(outputs.found, outputs.bounds, outputs.handle)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&] {
    const uint64_t indices = 2 * static_cast<uint64_t>(request.burst_count);
    auto bounds = BlockOf<uint32_t>::Allocate(indices);
    std::fill_n(bounds.get(), indices, 0u);
    const Found found = FindBursts(Search(request), request.burst_count, bounds.get());
    bounds.Deliver(outputs.bounds, outputs.handle);
    *outputs.found = found.count;
    return found.status;
  });
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_LF_BURST_BOUNDS(const VomoWaveform *psWaveform, int32_t iBurstCount,
                                           int32_t eBurstPolarity, float fBurstThreshold,
                                           double dIdleTime, int32_t *piBurstsFound,
                                           uint32_t **ppulBounds, VomoHandle *phBounds) noexcept {
  return DeliverBursts<BurstTrain>(
      {psWaveform, iBurstCount, eBurstPolarity, fBurstThreshold, dIdleTime},
      {piBurstsFound, ppulBounds, phBounds});
}

extern "C" VomoStatus Vomo_LF_BURST_BOUNDS_PWM(const VomoWaveform *psWaveform, int32_t iBurstCount,
                                               int32_t eBurstPolarity, float fBurstThreshold,
                                               double dIdleTime, int32_t *piBurstsFound,
                                               uint32_t **ppulBounds,
                                               VomoHandle *phBounds) noexcept {
  return DeliverBursts<PulseWidthCoded>(
      {psWaveform, iBurstCount, eBurstPolarity, fBurstThreshold, dIdleTime},
      {piBurstsFound, ppulBounds, phBounds});
}

extern "C" VomoStatus Vomo_LF_TRIM_BOUNDS(int32_t iBurstCount, double dSampleInterval,
                                          float fTrimStart, float fTrimEnd,
                                          const uint32_t *pulBounds, uint32_t **ppulTrimmed,
                                          VomoHandle *phTrimmed) noexcept {
  if (iBurstCount < 1 || !(dSampleInterval > 0) || !(fTrimStart >= 0) || !(fTrimEnd >= 0) ||
      AnyNull(pulBounds, ppulTrimmed, phTrimmed)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&] {
    const uint32_t from_start = VomoToU32(double{fTrimStart} / dSampleInterval);
    const uint32_t from_end = VomoToU32(double{fTrimEnd} / dSampleInterval);
    const uint64_t indices = 2 * static_cast<uint64_t>(iBurstCount);
    auto trimmed = BlockOf<uint32_t>::Allocate(indices);
    for (uint64_t k = 0; k < indices; k += 2) {
      const uint32_t start = pulBounds[k], end = pulBounds[k + 1];
      trimmed[k] = start + std::min(from_start, 0xFFFFFFFFu - start);
      trimmed[k + 1] = end - std::min(from_end, end);
    }
    trimmed.Deliver(ppulTrimmed, phTrimmed);
    return Vomo_STATUS_SUCCESS;
  });
}
