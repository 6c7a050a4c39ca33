#include "average_pattern.h"

#include <algorithm>
#include <cmath>

namespace app {
namespace {

constexpr double kPlacesPerUi = 16;
constexpr double kMostPlaces = 1 << 20;

}  // namespace

AveragePattern AverageOverRepeats(const VomoWaveform &waveform, double from_s,
                                  double unit_interval_s, uint32_t length_ui) {
  AveragePattern average;
  const double samples_per_ui = unit_interval_s / waveform.dSampleInterval;
  const double period = samples_per_ui * length_ui;
  if (!(period >= 1) || !(samples_per_ui > 0) || !(from_s >= 0)) return average;
  const double begin = from_s / waveform.dSampleInterval;
  average.repeats =
      static_cast<uint64_t>(std::max(0.0, std::floor((waveform.ulNumSamples - begin) / period)));
  const auto places = static_cast<size_t>(std::min(kPlacesPerUi * length_ui, kMostPlaces));
  average.step_ui = length_ui / static_cast<double>(places);
  average.volts.assign(places, 0);
  std::vector<uint64_t> counts(places);
  const auto first = static_cast<uint64_t>(std::ceil(begin));
  const auto end = std::min<uint64_t>(
      waveform.ulNumSamples,
      static_cast<uint64_t>(begin + static_cast<double>(average.repeats) * period));
  const double to_place = static_cast<double>(places) / period;
  for (uint64_t i = first; i < end; ++i) {
    const double repeats = (static_cast<double>(i) - begin) / period;
    const double into = (repeats - std::floor(repeats)) * period * to_place;
    const size_t place = std::min(static_cast<size_t>(into), places - 1);
    average.volts[place] += waveform.pfSamples[i];
    ++counts[place];
  }
  for (size_t k = 0; k < places; ++k) average.volts[k] /= static_cast<double>(counts[k]);
  return average;
}

}  // namespace app
