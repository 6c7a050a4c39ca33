// Finds the phases of a pulse-width coded signal that prepare its bursts.
#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/interpolate.h"
#include "lf/arguments.h"
#include "lf/sample_walk.h"

namespace vomo {
namespace {

// Looks back from the starts of bursts. Sample 0 ends a walk and is not looked at.
class PrepareFinder {
 public:
  explicit PrepareFinder(const VomoWaveform &waveform)
      : samples_(waveform.pfSamples), interval_s_(waveform.dSampleInterval) {}

  // Writes the three values of a burst, those whose place is not found as 0.0; false if the limit
  // lies above the place from which it counts.
  bool Find(uint32_t start, uint32_t limit, double *prepare) {
    prepare[0] = prepare[1] = prepare[2] = 0.0;
    int64_t place = to_phase_.Find(start, 0, [&](int64_t i) { return samples_[i] > 0; });
    if (place > 0) {
      // Volts of the two samples around the crossing, on the abscissae of one sample before.
      prepare[2] = ZeroTime(place, samples_[place + 1], samples_[place]);
      place = through_phase_.Find(place, 0, [&](int64_t i) { return samples_[i] < 0; });
    }
    if (place > 0) prepare[1] = ZeroTime(place, samples_[place], samples_[place - 1]);
    if (limit > place) return false;
    place = to_earlier_.Find(place - limit, 0, [&](int64_t i) { return samples_[i] > 0; });
    if (place > 0) prepare[0] = ZeroTime(place, samples_[place], samples_[place - 1]);
    return true;
  }

 private:
  // Where the line from a voltage at an index to one at the index before is 0 V.
  double ZeroTime(int64_t index, float at, float before) const {
    double position;
    Vomo_Interpolate_X(static_cast<double>(index), at, static_cast<double>(index - 1), before,
                       &position, 0.0);
    return position * interval_s_;
  }

  const float *samples_;
  double interval_s_;
  SampleWalk<-1> to_phase_, through_phase_, to_earlier_;
};

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_STALL_PREPARE_BOUNDS(const VomoWaveform *psWaveform, int32_t iBurstCount,
                                                uint32_t ulLimit, const uint32_t *pulBounds,
                                                double **ppdPrepare,
                                                VomoHandle *phPrepare) noexcept {
  if (!IsReadable(psWaveform) || !(psWaveform->dSampleInterval > 0) || iBurstCount < 1 ||
      AnyNull(pulBounds, ppdPrepare, phPrepare)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&]() -> VomoStatus {
    const auto bursts = static_cast<uint64_t>(iBurstCount);
    auto prepare = BlockOf<double>::Allocate(3 * bursts);
    PrepareFinder finder(*psWaveform);
    for (uint64_t burst = 0; burst < bursts; ++burst) {
      const uint32_t start = pulBounds[2 * burst];
      if (uint64_t{start} + 1 >= psWaveform->ulNumSamples ||
          !finder.Find(start, ulLimit, prepare.get() + 3 * burst)) {
        return Vomo_STATUS_PARAM_OUT_OF_RANGE;
      }
    }
    prepare.Deliver(ppdPrepare, phPrepare);
    return Vomo_STATUS_SUCCESS;
  });
}
