// Flattens the line that spread-spectrum clocking leaves in a spectrum, and its odd harmonics.
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/numeric.h"

namespace vomo {
namespace {

// A number of bins, whole and far from the ends of 64 bits so that sums of a few can't wrap.
int64_t Bins(double count) {
  constexpr int64_t kMost = int64_t{1} << 40;
  return std::clamp(TruncateSaturated<int64_t>(count), -kMost, kMost);
}

struct Peak {
  double magnitude = 0.0;  // single-sided
  int64_t bin = 0;
};

// A stretch of bins about a line, and the two bins next to it that the flat part is drawn between.
struct Stretch {
  int64_t first, last;
};

class Spectrum {
 public:
  Spectrum(VomoComplexDouble *bins, uint32_t count) : bins_(bins), count_(count) {}

  int64_t half() const { return count_ / 2; }
  bool Holds(int64_t bin) const { return bin >= 0 && bin < count_; }
  bool HoldsAround(const Stretch &s) const { return Holds(s.first - 1) && Holds(s.last + 1); }
  double Magnitude(int64_t bin) const { return 2 * std::fabs(bins_[bin].dRe); }

  // The largest of the bins from first to last that there are, the first of equal ones.
  Peak Largest(int64_t first, int64_t last) const {
    Peak peak;
    for (int64_t i = std::max<int64_t>(first, 0); i <= std::min(last, count_ - 1); ++i) {
      if (Magnitude(i) > peak.magnitude) peak = {Magnitude(i), i};
    }
    return peak;
  }

  // Bin i becomes the rise of |end - |begin|| times part(i), on top of |begin|. True if a bin
  // changed.
  template <class Part>
  bool Flatten(const Stretch &stretch, Part part) {
    bool changed = false;
    const double begin = std::fabs(bins_[stretch.first - 1].dRe);
    const double rise = std::fabs(bins_[stretch.last + 1].dRe - begin);
    for (int64_t i = stretch.first; i <= stretch.last; ++i) {
      const VomoComplexDouble flat{part(rise, i) + begin, bins_[stretch.first - 1].dIm};
      changed |= !(flat.dRe == bins_[i].dRe && flat.dIm == bins_[i].dIm);
      bins_[i] = flat;
    }
    return changed;
  }

  void MirrorUpperHalf() {
    for (int64_t k = 1; k < half(); ++k) {
      bins_[count_ - k] = {bins_[k].dRe, bins_[k].dIm * -1.0};
    }
  }

 private:
  VomoComplexDouble *bins_;
  int64_t count_;
};

// The band's peak on the exact grid; its height also counts what lies in the band on a grid rounded
// to whole hertz, which does not move it.
Peak FindFundamental(const Spectrum &spectrum, const VomoSSCSquelchParams &p, double delta_f,
                     double rounded_delta_f) {
  Peak peak = spectrum.Largest(Bins(std::floor(p.dSSC_min_freq / delta_f)),
                               Bins(std::ceil(p.dSSC_max_freq / delta_f)) - 1);
  for (int64_t k = 0; k <= spectrum.half() && spectrum.Holds(k); ++k) {
    const double frequency = static_cast<double>(k) * rounded_delta_f;
    if (frequency > p.dSSC_min_freq && frequency < p.dSSC_max_freq) {
      peak.magnitude = std::max(peak.magnitude, spectrum.Magnitude(k));
    }
  }
  return peak;
}

void FlattenFundamental(Spectrum &spectrum, int64_t fundamental, int64_t half_width) {
  const Stretch stretch{fundamental - half_width, fundamental + half_width};
  if (!spectrum.HoldsAround(stretch)) return;
  const double width = 2.0 * static_cast<double>(half_width);
  spectrum.Flatten(stretch, [&](double rise, int64_t i) {
    return rise * static_cast<double>(i - stretch.first) / width;
  });
}

// Each harmonic is expected two fundamentals above the one found last. Its stretch becomes one
// constant, unlike the fundamental's ramp. The first that the spectrum does not hold ends it.
void FlattenHarmonics(Spectrum &spectrum, int64_t fundamental, int64_t half_width, int64_t look,
                      int32_t highest) {
  int64_t expected = 3 * fundamental, former = 0;
  for (int64_t harmonic = 3; harmonic <= highest; harmonic += 2) {
    if (!spectrum.Holds(expected - look) || !spectrum.Holds(expected + look)) return;
    const int64_t bin = spectrum.Largest(expected - look, expected + look).bin;
    const Stretch stretch{bin - half_width, bin + half_width};
    if (!spectrum.HoldsAround(stretch)) return;
    const auto weight = static_cast<double>(half_width - bin + expected + look + 1);
    const double width = 2.0 * static_cast<double>(half_width);
    const bool changed =
        spectrum.Flatten(stretch, [&](double rise, int64_t) { return rise * weight / width; });
    // Nothing moves any more, so nothing will.
    if (!changed && bin == former) return;
    former = bin;
    expected = bin + 2 * fundamental;
  }
}

void Squelch(Spectrum spectrum, const VomoSSCSquelchParams &p, double delta_f) {
  const double rounded_delta_f = std::floor(delta_f + 0.5);
  const Peak peak = FindFundamental(spectrum, p, delta_f, rounded_delta_f);
  const int64_t fundamental_width = Bins(std::floor(p.dSSC_fund_squelch_range / rounded_delta_f));
  if (peak.bin < 1 || !(peak.magnitude > p.dSSC_min_fund_mag) ||
      peak.bin - fundamental_width - 1 < 1) {
    return;
  }
  FlattenFundamental(spectrum, peak.bin, fundamental_width);
  FlattenHarmonics(spectrum, peak.bin, Bins(std::floor(p.dSSC_squelch_range / rounded_delta_f)),
                   Bins(std::floor(p.dSSC_look_range / rounded_delta_f)), p.iSSC_max_harmonic);
  spectrum.MirrorUpperHalf();
}

}  // namespace
}  // namespace vomo

extern "C" VomoStatus Vomo_SSC_SQUELCH(VomoComplexDouble *psSpectrum, uint32_t ulCount,
                                       double dDeltaF,
                                       const VomoSSCSquelchParams *psSSCSquelchParams) noexcept {
  if (psSpectrum == nullptr || psSSCSquelchParams == nullptr || ulCount == 0) {
    return Vomo_STATUS_SUCCESS;
  }
  vomo::Squelch({psSpectrum, ulCount}, *psSSCSquelchParams, dDeltaF);
  return Vomo_STATUS_SUCCESS;
}
