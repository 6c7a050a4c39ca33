#include "signal_summary.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace app {
namespace {

// What the estimate of the unit interval looks at.
constexpr size_t kSamplesLookedAt = 1 << 22;
constexpr size_t kFewestEdges = 16;
// An edge counts when the signal goes on this share of the swing beyond the middle.
constexpr double kHysteresis = 0.15;
// Rms distance of the intervals from whole multiples of the unit interval. For intervals that have
// no unit at all it is 1 / sqrt(12) = 0.29 of whatever is taken for one.
constexpr double kMostResidual = 0.15;

struct Levels {
  double middle, swing;
};

// The middle between the mean of what is above it and of what is below it.
Levels FindLevels(std::span<const float> samples, double middle) {
  Levels levels{middle, 0};
  for (int pass = 0; pass < 4; ++pass) {
    double sums[2] = {}, counts[2] = {};
    for (const float sample : samples) {
      const bool above = sample > levels.middle;
      sums[above] += double{sample};
      counts[above] += 1;
    }
    if (counts[0] == 0 || counts[1] == 0) break;
    const double low = sums[0] / counts[0], high = sums[1] / counts[1];
    levels = {(low + high) / 2, high - low};
  }
  return levels;
}

// Samples between successive crossings of the middle.
std::vector<double> EdgeGaps(std::span<const float> samples, const Levels &levels) {
  std::vector<double> gaps;
  const double reach = kHysteresis * levels.swing;
  double crossing = 0, last_edge = -1;
  int state = 0;  // -1 or 1 when last seen clearly below or above
  double before = double{samples[0]} - levels.middle;
  for (size_t i = 0; i < samples.size(); ++i) {
    const double v = double{samples[i]} - levels.middle;
    if ((v > 0) != (before > 0)) crossing = static_cast<double>(i) - v / (v - before);
    before = v;
    const int seen = v > reach ? 1 : v < -reach ? -1 : 0;
    if (seen == 0 || seen == state) continue;
    if (state != 0) {
      if (last_edge >= 0) gaps.push_back(crossing - last_edge);
      last_edge = crossing;
    }
    state = seen;
  }
  return gaps;
}

// The unit of which the gaps are multiples: first guessed from the shortest, then made the one that
// fits them all.
std::optional<double> UnitOf(std::vector<double> gaps) {
  if (gaps.size() < kFewestEdges) return std::nullopt;
  std::sort(gaps.begin(), gaps.end());
  const auto shortest =
      std::upper_bound(gaps.begin(), gaps.end(), 1.5 * gaps[gaps.size() / 20]) - gaps.begin();
  double unit = gaps[static_cast<size_t>(shortest) / 2];
  double residual = 0;
  for (int pass = 0; pass < 6; ++pass) {
    double length = 0, units = 0, squares = 0;
    for (const double gap : gaps) {
      const double count = std::max(1.0, std::round(gap / unit));
      length += gap;
      units += count;
      squares += (gap / unit - count) * (gap / unit - count);
    }
    unit = length / units;
    residual = std::sqrt(squares / static_cast<double>(gaps.size()));
  }
  if (!(unit >= 2) || !(residual < kMostResidual)) return std::nullopt;
  return unit;
}

}  // namespace

SignalSummary Summarize(std::span<const float> samples) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  SignalSummary summary{kInfinity, -kInfinity, 0, 0, std::nullopt};
  for (const float sample : samples) {
    const double v = sample;
    if (!std::isfinite(v)) {
      ++summary.not_finite;
      continue;
    }
    summary.lowest = std::min(summary.lowest, v);
    summary.highest = std::max(summary.highest, v);
    summary.mean += v;
  }
  if (summary.not_finite == samples.size()) {
    summary.lowest = summary.highest = summary.mean = std::nan("");
    return summary;
  }
  summary.mean /= static_cast<double>(samples.size() - summary.not_finite);
  if (summary.not_finite == 0) {
    const auto seen = samples.first(std::min(samples.size(), kSamplesLookedAt));
    summary.samples_per_ui = UnitOf(EdgeGaps(seen, FindLevels(seen, summary.mean)));
  }
  return summary;
}

double Correlation(std::span<const float> a, std::span<const float> b) {
  const size_t count = std::min(a.size(), b.size());
  double sum_a = 0, sum_b = 0;
  for (size_t i = 0; i < count; ++i) {
    sum_a += double{a[i]};
    sum_b += double{b[i]};
  }
  const double mean_a = sum_a / static_cast<double>(count);
  const double mean_b = sum_b / static_cast<double>(count);
  double aa = 0, bb = 0, ab = 0;
  for (size_t i = 0; i < count; ++i) {
    const double da = double{a[i]} - mean_a, db = double{b[i]} - mean_b;
    aa += da * da;
    bb += db * db;
    ab += da * db;
  }
  return ab / std::sqrt(aa * bb);
}

}  // namespace app
