#include "eye/eye_stage.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "eye/diagram_points.h"

namespace vomo {
namespace {

constexpr int kPlots = 5;

struct Inputs {
  const VomoComplianceParams &params;
  const VomoComplianceResults &results;
  const VomoWaveform &waveform;
  const VomoCrossoverData &clock;
  const double *error_s;
  // Last interval that has the error of its own end, clock index.
  uint32_t last_interval;
};

// The jitter sequence ends with the last edge, which begins no interval; a clock may be shorter.
uint32_t LastInterval(const VomoComplianceResults &results, const VomoCrossoverData &clock) {
  const uint32_t last = results.ulLastIndex > 0 ? results.ulLastIndex - 1 : 0;
  const uint32_t last_of_clock = clock.ulCount > 0 ? clock.ulCount - 1 : 0;
  return std::min({results.ulLastValidIndex, last, last_of_clock});
}

// One diagram of the stage.
class Diagram {
 public:
  Diagram() = default;
  Diagram(Diagram &&) = default;
  Diagram &operator=(Diagram &&) = default;

  // Draws the intervals around the given clock index.
  VomoStatus Make(const Inputs &in, DiagramType type, uint64_t center) {
    const uint64_t first = in.results.ulFirstValidIndex, reach = in.params.ulEyeDiagramOffset;
    const uint64_t from = center < first + reach ? first : center - reach;
    const uint64_t to = std::min<uint64_t>(std::max(center, first) + reach, in.last_interval);
    VomoHandle handle = 0;
    const VomoStatus status = Vomo_SINGLE_DIAGRAM(
        type, 0, in.params.dTargetUI, &in.waveform, static_cast<uint32_t>(from),
        static_cast<uint32_t>(to), &in.clock, in.results.ulFirstIndex, in.error_s,
        in.params.dEyePlotWrapLeftValue, in.params.dEyePlotWrapRightValue, &points_, &handle);
    if (!Vomo_STATUS_IS_ERROR(status)) block_ = Block(points_.adXArray, handle);
    return status;
  }

  bool Exists() const { return static_cast<bool>(block_); }
  // 0 for one that doesn't exist.
  uint32_t length() const { return points_.ulArrayLength; }
  const VomoTemplate &points() const { return points_; }

 private:
  VomoTemplate points_{};
  Block block_;
};

// Where a margin was taken.
struct MarginPoint {
  double x;
  float y;
};

// The diagrams of one class in one plot: two in the first plot, one in the others.
struct Group {
  std::array<Diagram, 2> diagrams;
  MarginPoint margin{-1.0, 0.0f};

  bool Exists() const { return diagrams[0].Exists() || diagrams[1].Exists(); }
  uint32_t length() const { return diagrams[0].length() + diagrams[1].length(); }
};

struct Plot {
  Group transition, non_transition;
};

// The diagrams of all plots. One that can't be made is left out, except that the failure of the
// last one is the stage's.
class PlotDiagrams {
 public:
  VomoStatus Make(const Inputs &in) {
    const VomoComplianceResults &r = in.results;
    const VomoTemplateMargins &t = r.sTransMargins, &n = r.sNonTransMargins;
    MakePair(in, 0, 0, r.ulMaxJitterIndex, r.ulMaxJitterIndex);
    MakePair(in, 0, 1, r.ulMinJitterIndex, r.ulMinJitterIndex);
    MakePair(in, 1, 0, r.ulTransMaxIndex, r.ulNonTransMaxIndex);
    MakePair(in, 2, 0, r.ulTransMinIndex, r.ulNonTransMinIndex);
    MakePair(in, 3, 0, t.ulHighMarginInterval, n.ulHighMarginInterval);
    plots_[3].transition.margin = {t.dMarginX, t.fHighLevel};
    plots_[3].non_transition.margin = {n.dMarginX, n.fHighLevel};
    plots_[4].transition.margin = {t.dMarginX, t.fLowLevel};
    plots_[4].non_transition.margin = {n.dMarginX, n.fLowLevel};
    return MakePair(in, 4, 0, t.ulLowMarginInterval, n.ulLowMarginInterval);
  }

  uint64_t point_count() const {
    uint64_t count = 0;
    for (const Plot &plot : plots_) {
      count += uint64_t{plot.transition.length()} + plot.non_transition.length();
    }
    return count;
  }
  const Plot &plot(int index) const { return plots_[static_cast<std::size_t>(index)]; }

 private:
  VomoStatus MakePair(const Inputs &in, std::size_t plot, std::size_t place,
                      uint32_t transition_interval, uint32_t non_transition_interval) {
    Plot &into = plots_[plot];
    into.transition.diagrams[place].Make(in, kTransitionBits, transition_interval);
    return into.non_transition.diagrams[place].Make(in, kNonTransitionBits,
                                                    non_transition_interval);
  }

  std::array<Plot, kPlots> plots_;
};

// What the caller asked for, and the place of each part in the block: abscissae, voltages, status
// bytes, histogram arrays.
struct Layout {
  uint64_t points;
  uint64_t status_bytes;
  bool with_histogram;
  uint64_t histogram_bins;  // in each of three arrays

  uint64_t VoltagesAt() const { return points * sizeof(double); }
  uint64_t StatusAt() const { return points * kPointBytes; }
  uint64_t StatusEnd() const { return StatusAt() + status_bytes; }
  uint64_t HistogramAt() const { return (StatusEnd() + 7) / 8 * 8; }
  uint64_t Bytes() const {
    return with_histogram ? HistogramAt() + 3 * histogram_bins * sizeof(double) : StatusEnd();
  }
};

// Copies diagrams into the block, one behind the other.
class PlotWriter {
 public:
  PlotWriter(double *x, float *y) : x_(x), y_(y) {}

  void Write(const PlotDiagrams &diagrams, VomoTemplate *plots, VomoTemplate *transition_plots) {
    for (int k = 0; k < kPlots; ++k) {
      const Plot &plot = diagrams.plot(k);
      if (plot.non_transition.Exists()) WriteNew(plot.non_transition, plots[k]);
      if (!plot.transition.Exists()) continue;
      if (transition_plots != nullptr) {
        WriteNew(plot.transition, transition_plots[k]);
      } else if (plot.non_transition.Exists()) {
        plots[k].ulArrayLength += plot.transition.length();
        Copy(plot.transition);
      } else {
        Begin(plot.transition, plots[k]);
      }
    }
  }

 private:
  void WriteNew(const Group &group, VomoTemplate &plot) {
    // The first diagram of a pair carries the margin; the other one alone leaves what stood there.
    if (group.diagrams[0].Exists()) {
      plot.dXMargin = group.margin.x;
      plot.fYMargin = group.margin.y;
    }
    Begin(group, plot);
  }

  void Begin(const Group &group, VomoTemplate &plot) {
    plot.ulArrayLength = group.length();
    plot.adXArray = x_;
    plot.afYArray = y_;
    Copy(group);
  }

  void Copy(const Group &group) {
    for (const Diagram &diagram : group.diagrams) {
      const VomoTemplate &points = diagram.points();
      x_ = std::copy_n(points.adXArray, points.ulArrayLength, x_);
      y_ = std::copy_n(points.afYArray, points.ulArrayLength, y_);
    }
  }

  double *x_;
  float *y_;
};

struct Outputs {
  uint8_t **point_status;
  VomoTemplate *plots;
  VomoTemplate *transition_plots;
  VomoHistogramData *histogram;

  // Nothing writes status bytes or histograms: both areas are delivered as zeros.
  void Deliver(const Block &block, const Layout &layout, const PlotDiagrams &diagrams) const {
    auto *const bytes = static_cast<uint8_t *>(block.memory());
    if (bytes != nullptr) {
      std::memset(bytes + layout.StatusAt(), 0, layout.Bytes() - layout.StatusAt());
    }
    if (point_status != nullptr) *point_status = bytes + layout.StatusAt();
    if (histogram != nullptr) {
      auto *const arrays = reinterpret_cast<double *>(bytes + layout.HistogramAt());
      histogram->pdSecond = arrays;
      histogram->pdThird = arrays + layout.histogram_bins;
      histogram->pdFirst = arrays + 2 * layout.histogram_bins;
    }
    if (plots != nullptr) {
      PlotWriter(reinterpret_cast<double *>(bytes),
                 reinterpret_cast<float *>(bytes + layout.VoltagesAt()))
          .Write(diagrams, plots, transition_plots);
    }
  }
};

// Samples of each bin of the histogram arrays, which hold two bins for each such stretch.
uint64_t SamplesPerBin(const VomoComplianceParams &params, const VomoComplianceResults &results,
                       const VomoWaveform &waveform) {
  const uint32_t samples_per_ui = VomoToU32(results.dUnitInterval / waveform.dSampleInterval + 0.5);
  return uint64_t{samples_per_ui} * params.ulHistogramBinSizeUI;
}

VomoStatus RunStage(const Inputs &in, VomoComplianceResults &results, void *pass_through,
                    const Outputs &outputs, VomoHandle *handle) {
  Layout layout{};
  if (outputs.histogram != nullptr) {
    const uint64_t samples_per_bin = SamplesPerBin(in.params, results, in.waveform);
    if (samples_per_bin == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
    layout.with_histogram = true;
    layout.histogram_bins = 2 * uint64_t{in.waveform.ulNumSamples} / samples_per_bin;
  }
  if (outputs.point_status != nullptr) layout.status_bytes = in.waveform.ulNumSamples;

  VomoFIND_VOLTAGES(&in.waveform, &in.clock, results.ulFirstValidIndex, results.ulLastValidIndex,
                    &in.params, &results);
  const VomoStatus measured = VomoFIND_MARGINS(
      &in.params, &in.waveform, results.ulFirstValidIndex, in.last_interval, &in.clock,
      results.ulFirstIndex, in.error_s, &results, pass_through, nullptr, nullptr);
  if (Vomo_STATUS_IS_ERROR(measured)) return measured;

  PlotDiagrams diagrams;
  if (outputs.plots != nullptr) {
    const VomoStatus drawn = diagrams.Make(in);
    if (Vomo_STATUS_IS_ERROR(drawn)) return drawn;
  }
  layout.points = diagrams.point_count();
  Block block;
  if (layout.Bytes() > 0) {
    block = Block::TryAllocate(layout.Bytes(), 1);
    if (!block) return Vomo_STATUS_HANDLES_EXHAUSTED;
  }
  outputs.Deliver(block, layout, diagrams);
  if (handle != nullptr) *handle = block.Release();
  return Vomo_STATUS_SUCCESS;
}

}  // namespace

VomoStatus Vomo_EyeStage(const VomoComplianceParams *psParams, VomoComplianceResults *psResults,
                         const VomoWaveform *psWaveform, const VomoCrossoverData *psClock,
                         void *pvPassThrough, uint8_t **ppbyPointStatus,
                         const double *pdIntervalError, VomoTemplate *psPlots,
                         VomoTemplate *psTransPlots, VomoHistogramData *psHistogramData,
                         VomoHandle *pHandle) {
  if (psParams == nullptr || psResults == nullptr || psWaveform == nullptr || psClock == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  // Outputs without a place for their handle would point into a block that is already freed.
  Outputs outputs{};
  if (pHandle != nullptr) {
    if (psParams->usIndividualPointInfo != 0) outputs.point_status = ppbyPointStatus;
    if (psParams->usGetJitterHistogramData != 0) outputs.histogram = psHistogramData;
    outputs.plots = psPlots;
    outputs.transition_plots = psTransPlots;
  }
  return Guarded([&] {
    const Inputs in{*psParams, *psResults,      *psWaveform,
                    *psClock,  pdIntervalError, LastInterval(*psResults, *psClock)};
    return RunStage(in, *psResults, pvPassThrough, outputs, pHandle);
  });
}

}  // namespace vomo
