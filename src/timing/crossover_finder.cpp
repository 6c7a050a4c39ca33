// Finds the crossovers of a waveform: the one routine behind the three exported searches.
#include <algorithm>
#include <bit>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/waveform.h"
#include "primitives/band_scan.h"
#include "timing/crossover_block.h"

namespace vomo {
namespace {

constexpr float kDefaultThreshold = 0.001f;
constexpr uint32_t kDefaultFilterCount = 3;
constexpr double kNoSpacing = 1e12;
constexpr uint32_t kSenseBits = CROSSOVER_RISE | CROSSOVER_FALL;
constexpr uint32_t kUnlimited = 0xFFFFFFFFu;

struct Request {
  const VomoWaveform &waveform;
  float threshold_v;
  uint32_t filter_count;
  uint32_t start;
  uint32_t stop;
  double unit_interval_s;
  uint32_t types;
};

// One side of the spacing limits: how many spacings beyond the width are put up with.
struct WidthLimit {
  double width_s;
  uint32_t allowance;
  uint32_t offences = 0;

  // True while the allowance holds.
  bool Allows(bool offends) { return !offends || ++offences <= allowance; }
};

struct SpacingLimits {
  WidthLimit shortest;
  WidthLimit longest;
};

SpacingLimits LimitsOf(const VomoCrossoverLimits *limits, const Request &request) {
  const double span_s = (request.stop - request.start) * request.waveform.dSampleInterval;
  SpacingLimits result{{0.0, kUnlimited}, {span_s, kUnlimited}};
  if (limits != nullptr && limits->dMinWidth > 0) {
    result.shortest = {limits->dMinWidth, limits->ulMinLimit};
  }
  if (limits != nullptr && limits->dMaxWidth > 0) {
    result.longest = {limits->dMaxWidth, limits->ulMaxLimit};
  }
  return result;
}

// A quarter more room than the nominal unit interval asks for; twice that unless both senses are
// asked for by name.
uint64_t CapacityOf(const Request &request) {
  const double samples = RangeCount(request.start, request.stop);
  const uint64_t estimate =
      VomoToU32(1.25 * samples * request.waveform.dSampleInterval / request.unit_interval_s);
  return (request.types & kSenseBits) == kSenseBits ? estimate : 2 * estimate;
}

// Walks over the samples and stores what it finds in the record and the slope array.
class Finder {
 public:
  Finder(const Request &request, const SpacingLimits &limits, uint64_t capacity,
         VomoCrossoverData &found, double *slopes)
      : request_(request),
        samples_(request.waveform.pfSamples),
        limits_(limits),
        capacity_(capacity),
        found_(found),
        slopes_(slopes),
        last_readable_(request.stop + uint64_t{SampleBehindStopReadable()}),
        deemphasis_spacing_s_(1.5 * request.unit_interval_s),
        samples_per_s_(1.0 / request.waveform.dSampleInterval) {}

  double smallest_spacing_s() const { return smallest_spacing_s_; }

  VomoStatus Scan() {
    for (uint64_t first = request_.start; first < request_.stop; first += kChunk) {
      const auto pairs = static_cast<uint32_t>(std::min(kChunk, request_.stop - first));
      const VomoStatus status = ScanChunk(first, pairs);
      if (status != Vomo_STATUS_SUCCESS) return status;
    }
    return Vomo_STATUS_SUCCESS;
  }

 private:
  static constexpr uint64_t kWords = 64;
  static constexpr uint64_t kChunk = kWords * 64;

  // The filter walk may look one sample past the stop, if there is one: a hidden one counts, and
  // behind the last stored sample nothing lies beyond the band.
  bool SampleBehindStopReadable() const {
    return uint64_t{request_.stop} + 1 < request_.waveform.ulNumSamples ||
           request_.waveform.ulTrimBack > 0;
  }

  // Takes the edges among the given number of neighbouring pairs of samples, from the first on.
  VomoStatus ScanChunk(uint64_t first, uint32_t pairs) {
    uint64_t not_above[kWords + 1], above[kWords + 1], not_below[kWords + 1], below[kWords + 1];
    BandMasks(samples_ + first, pairs + 1, request_.threshold_v, not_above, above, not_below,
              below);
    for (uint32_t word = 0; word * 64 < pairs; ++word) {
      const uint32_t left = pairs - word * 64;
      const uint64_t valid = left < 64 ? (1ull << left) - 1 : ~0ull;
      const uint64_t rising = not_above[word] & Following(above, word, left) & valid;
      const uint64_t falling = not_below[word] & Following(below, word, left) & valid & ~rising;
      const VomoStatus status = TakeEdges(first + word * 64, rising, falling);
      if (status != Vomo_STATUS_SUCCESS) return status;
    }
    return Vomo_STATUS_SUCCESS;
  }

  // Bit k is the mask's bit of the sample behind sample k of the word; left counts the pairs from
  // this word on.
  static uint64_t Following(const uint64_t *mask, uint32_t word, uint32_t left) {
    return mask[word] >> 1 | (left >= 64 ? mask[word + 1] << 63 : 0);
  }

  VomoStatus TakeEdges(uint64_t base, uint64_t rising, uint64_t falling) {
    for (uint64_t edges = rising | falling; edges != 0; edges &= edges - 1) {
      const int bit = std::countr_zero(edges);
      const bool rises = (rising >> bit & 1) != 0;
      const uint64_t index = base + static_cast<uint64_t>(bit);
      if (!StaysBeyond(index, rises)) continue;
      const VomoStatus status = Store(index, rises ? CROSSOVER_RISE : CROSSOVER_FALL);
      if (status != Vomo_STATUS_SUCCESS) return status;
    }
    return Vomo_STATUS_SUCCESS;
  }

  // Whether filter_count samples from index + 1 on lie beyond the band. The first one is known to.
  bool StaysBeyond(uint64_t index, bool rises) const {
    if (request_.filter_count < 2) return true;
    const uint64_t last = index + request_.filter_count;
    if (last > last_readable_) return false;
    const float edge = rises ? request_.threshold_v : -request_.threshold_v;
    for (uint64_t i = index + 2; i <= last; ++i) {
      if (!(rises ? samples_[i] > edge : samples_[i] < edge)) return false;
    }
    return true;
  }

  VomoStatus Store(uint64_t index, uint32_t sense) {
    if (found_.ulCount >= capacity_) return Vomo_STATUS_CROSSOVER_MEMORY_LIMIT;
    const float before = samples_[index], behind = samples_[index + 1];
    // Level zero of the line through the two samples, also where it lies outside the pair.
    const double position =
        static_cast<double>(index) - double{before} / (double{behind} - double{before});
    const double time_s = position * request_.waveform.dSampleInterval;
    uint32_t flags = sense;
    if (found_.ulCount > 0) {
      const double spacing_s = time_s - found_.pdTimes[found_.ulCount - 1];
      if (spacing_s < smallest_spacing_s_) smallest_spacing_s_ = spacing_s;
      if (spacing_s >= deemphasis_spacing_s_) flags |= CROSSOVER_DEEMPH;
      if (!limits_.shortest.Allows(limits_.shortest.width_s > spacing_s) ||
          !limits_.longest.Allows(spacing_s > limits_.longest.width_s)) {
        return Vomo_STATUS_INVALID_INTERVAL;
      }
    }
    if (slopes_ != nullptr) slopes_[found_.ulCount] = double{behind - before} * samples_per_s_;
    found_.pdTimes[found_.ulCount] = time_s;
    found_.pucFlags[found_.ulCount] = static_cast<uint8_t>(flags);
    return ++found_.ulCount >= capacity_ ? Vomo_STATUS_CROSSOVER_MEMORY_LIMIT : Vomo_STATUS_SUCCESS;
  }

  const Request &request_;
  const float *samples_;
  SpacingLimits limits_;
  uint64_t capacity_;
  VomoCrossoverData &found_;
  double *slopes_;
  uint64_t last_readable_;
  double deemphasis_spacing_s_;
  double samples_per_s_;
  double smallest_spacing_s_ = kNoSpacing;
};

// Whether a list of alternating edges begins with the wanted sense, judged by the sample at the
// start of the scan. A NaN there says no.
bool FirstIsWanted(const Request &request, bool rising_wanted) {
  const float *sample = request.waveform.pfSamples + request.start;
  if (sample[0] < 0) return rising_wanted;
  if (sample[0] > 0) return !rising_wanted;
  if (sample[0] != 0) return false;
  return rising_wanted ? sample[1] > 0 : sample[1] < 0;
}

// A one-sided request keeps every other entry, by position: edges are taken to alternate.
void KeepEveryOther(VomoCrossoverData &list, double *slopes, bool from_first) {
  uint32_t kept = 0;
  for (uint64_t i = from_first ? 0 : 1; i < list.ulCount; i += 2, ++kept) {
    list.pdTimes[kept] = list.pdTimes[i];
    list.pucFlags[kept] = list.pucFlags[i];
    if (slopes != nullptr) slopes[kept] = slopes[i];
  }
  list.ulCount = kept;
}

struct Outputs {
  VomoCrossoverData **crossovers;
  VomoHandle *crossovers_handle;
  double **slopes;
  VomoHandle *slopes_handle;
  double *smallest_spacing_s;

  bool WantSlopes() const { return slopes != nullptr && slopes_handle != nullptr; }
};

VomoStatus Find(const Request &request, const VomoCrossoverLimits *limits, const Outputs &outputs) {
  const uint64_t capacity = CapacityOf(request);
  const bool two_part = (request.types & CROSSOVER_2PART) != 0;
  Block block = TryMakeCrossoverBlock(capacity, two_part ? capacity : 0);
  if (!block) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  auto *found = static_cast<VomoCrossoverData *>(block.memory());
  found->ulCount = 0;
  BlockOf<double> slopes;
  if (outputs.WantSlopes()) slopes = BlockOf<double>::Allocate(capacity);

  Finder finder(request, LimitsOf(limits, request), capacity, *found, slopes.get());
  const VomoStatus status = finder.Scan();
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const uint32_t sense = request.types & kSenseBits;
  if (sense == CROSSOVER_RISE || sense == CROSSOVER_FALL) {
    KeepEveryOther(*found, slopes.get(), FirstIsWanted(request, sense == CROSSOVER_RISE));
  }
  if (outputs.WantSlopes()) slopes.Deliver(outputs.slopes, outputs.slopes_handle);
  *outputs.crossovers = found;
  *outputs.crossovers_handle = block.Release();
  *outputs.smallest_spacing_s = finder.smallest_spacing_s();
  return status;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_FIND_CROSSOVERS_FILT(
    const VomoWaveform *psWaveform, float fThreshold, uint32_t ulFilterCount,
    const VomoCrossoverLimits *psCrossoverLimits, uint32_t ulStartIdx, uint32_t ulStopIdx,
    double dUnitInterval, uint32_t eCrossoverTypes, VomoCrossoverData **ppsCrossovers,
    VomoHandle *phCrossovers, double **ppdSlopes, VomoHandle *phSlopes,
    double *pdMinInterval) noexcept {
  if (psWaveform == nullptr || ppsCrossovers == nullptr || phCrossovers == nullptr ||
      pdMinInterval == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (psWaveform->ulNumSamples < 1 || !(psWaveform->dSampleInterval > 0) ||
      ulStopIdx >= psWaveform->ulNumSamples || ulStopIdx <= ulStartIdx) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  if (psWaveform->pfSamples == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    const Request request{*psWaveform, fThreshold,    ulFilterCount,  ulStartIdx,
                          ulStopIdx,   dUnitInterval, eCrossoverTypes};
    return Find(request, psCrossoverLimits,
                {ppsCrossovers, phCrossovers, ppdSlopes, phSlopes, pdMinInterval});
  });
}

extern "C" VomoStatus Vomo_FIND_CROSSOVERS_EX(
    const VomoWaveform *psWaveform, float fThreshold, uint32_t ulFilterCount, uint32_t ulStartIdx,
    uint32_t ulStopIdx, double dUnitInterval, uint32_t eCrossoverTypes,
    VomoCrossoverData **ppsCrossovers, VomoHandle *phCrossovers, double **ppdSlopes,
    VomoHandle *phSlopes, double *pdMinInterval) noexcept {
  return Vomo_FIND_CROSSOVERS_FILT(psWaveform, fThreshold, ulFilterCount, nullptr, ulStartIdx,
                                   ulStopIdx, dUnitInterval, eCrossoverTypes, ppsCrossovers,
                                   phCrossovers, ppdSlopes, phSlopes, pdMinInterval);
}

extern "C" VomoStatus Vomo_FIND_CROSSOVERS(const VomoWaveform *psWaveform, uint32_t ulStartIdx,
                                           uint32_t ulStopIdx, double dUnitInterval,
                                           uint32_t eCrossoverTypes,
                                           VomoCrossoverData **ppsCrossovers,
                                           VomoHandle *phCrossovers, double **ppdSlopes,
                                           VomoHandle *phSlopes, double *pdMinInterval) noexcept {
  return Vomo_FIND_CROSSOVERS_FILT(psWaveform, kDefaultThreshold, kDefaultFilterCount, nullptr,
                                   ulStartIdx, ulStopIdx, dUnitInterval, eCrossoverTypes,
                                   ppsCrossovers, phCrossovers, ppdSlopes, phSlopes, pdMinInterval);
}
