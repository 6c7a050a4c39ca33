#include "filters/dfe_walk.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

#include "core/numeric.h"
#include "filters/dfe_feedback.h"

namespace vomo {
namespace {

// A failed walk leaves a line in the working directory; a file that can't be written is no failure
// of its own.
void VomoDfeLogFailure(float first_tap, uint64_t sample, double now_s, uint64_t element,
                       double begin_s, double edge_s, uint64_t run_ui, float threshold_v) {
  char line[512];
  std::snprintf(line, sizeof line,
                "Tap %f, WaveIdx %d, Time %13lg, C2Idx %d, Begin %13lg, End %13lg, UICount %d, "
                "EnterThresh %f\n",
                double{first_tap}, static_cast<int>(sample), now_s, static_cast<int>(element),
                begin_s, edge_s, static_cast<int>(run_ui), double{threshold_v});
  std::ofstream("DFE_Error.txt", std::ios::app) << line;
}

class Walk {
 public:
  Walk(const VomoWaveform &waveform, const DfeWalkSettings &settings, VomoCrossoverData &clock)
      : samples_(waveform.pfSamples),
        interval_s_(waveform.dSampleInterval),
        unit_interval_s_(settings.unit_interval_s),
        filter_count_(settings.filter_count),
        last_(std::max(settings.stop, 1u) - 1),
        first_tap_(settings.tap_count > 0 ? settings.taps[0] : 0.0f),
        elements_(clock.psTwoPartArray),
        element_limit_(clock.ulTwoPartCount - 1),
        feedback_(settings.taps, settings.tap_count, element_limit_),
        sample_(settings.start) {}

  // The number of elements goes to count, also when the walk fails.
  VomoStatus Run(uint32_t *count) {
    Start();
    VomoStatus status = Vomo_STATUS_SUCCESS;
    while (sample_ < last_ && !IsFull()) {
      const Step step = TakeSample();
      if (step.outcome == Outcome::kFailed) status = Vomo_STATUS_DFE_SEARCH_FAILED;
      if (step.outcome != Outcome::kMoveOn) break;
      if (tracking_) PassUnitInterval();
      sample_ += step.move;
      now_s_ += static_cast<double>(step.move) * interval_s_;
    }
    *count = static_cast<uint32_t>(element_);
    return status;
  }

 private:
  // How often one sample is probed. Each probe of an edge moves the level that the next one
  // crosses, and with it the edge's time and the run's length, which need not come to rest.
  static constexpr int kMostProbes = 17;

  enum class Finding { kNoEdge, kEdge, kEndOfData };
  struct Probe {
    Finding finding;
    uint64_t move;   // samples to go on by
    float decision;  // behind the edge
  };

  enum class Outcome { kMoveOn, kProbeAgain, kEnd, kFailed };
  struct Step {
    Outcome outcome;
    uint64_t move;
  };

  // Once edges are tracked, the elements of the run in hand must have a place.
  bool IsFull() const { return tracking_ && element_ + run_ui_ >= element_limit_; }

  void Start() {
    while (sample_ < last_ && samples_[sample_] == 0) ++sample_;
    decision_ = VomoSign3(samples_[sample_], 0.0f);
    threshold_v_ = feedback_.Push(decision_, 1);
  }

  // Probes the sample until its edge, if there is one, fits the length of the run before it.
  Step TakeSample() {
    for (int probes = 1;; ++probes) {
      const Probe probe = ProbeSample();
      if (probe.finding == Finding::kEndOfData) return {Outcome::kEnd, 0};
      if (probe.finding == Finding::kNoEdge) return {Outcome::kMoveOn, probe.move};
      const Outcome outcome =
          tracking_ ? TakeEdge(probe, probes == kMostProbes) : TakeFirstEdge(probe);
      if (outcome != Outcome::kProbeAgain) return {outcome, probe.move};
    }
  }

  // An edge leaves the present level for longer than the filter asks for, and reaches the level
  // that a change of the bit would bring.
  Probe ProbeSample() const {
    const float ahead = samples_[sample_ + 1];
    float from_present = VomoSign3(ahead, threshold_v_);
    if (from_present == decision_) return {Finding::kNoEdge, 1, 0};
    const float changed_v = feedback_.Peek(from_present);
    float from_changed = VomoSign3(ahead, changed_v);

    uint64_t length = 2, at = sample_ + 2;
    for (; at < last_; ++at, ++length) {
      from_present = VomoSign3(samples_[at], threshold_v_);
      if (length > filter_count_ || from_present == decision_) break;
    }
    if (at >= last_) return {Finding::kEndOfData, 0, 0};
    if (length <= filter_count_) return {Finding::kNoEdge, length, 0};

    // Gone from the one level and not yet at the other. The first comparison is with the sample at
    // which the count above stopped.
    uint64_t move = 1;
    at = sample_ + 1;
    while (from_present != decision_ && from_changed == decision_) {
      ++move;
      if (++at >= last_) return {Finding::kEndOfData, 0, 0};
      from_present = VomoSign3(samples_[at], threshold_v_);
      from_changed = VomoSign3(samples_[at], changed_v);
    }
    const bool edge = from_present != decision_ && from_changed != decision_;
    return {edge ? Finding::kEdge : Finding::kNoEdge, move, from_present};
  }

  // Where the line through the probed sample and the next one crosses the feedback level, also
  // outside the two.
  double EdgeTime() const {
    const double here = samples_[sample_], ahead = samples_[sample_ + 1];
    const double position =
        static_cast<double>(sample_) + (double{threshold_v_} - here) / (ahead - here);
    return position * interval_s_;
  }

  Outcome TakeFirstEdge(const Probe &probe) {
    const double edge_s = EdgeTime();
    if (!std::isfinite(edge_s)) return Fail(0.0, edge_s);
    tracking_ = true;
    elements_[0].dBegin = edge_s;
    BeginRun(probe.decision, edge_s);
    return Outcome::kMoveOn;
  }

  Outcome TakeEdge(const Probe &probe, bool is_last_probe) {
    const double edge_s = EdgeTime();
    const double begin_s = elements_[element_].dBegin;
    const double span_s = edge_s - begin_s;
    if (!(span_s > 0) || !std::isfinite(span_s)) return Fail(begin_s, edge_s);
    const uint64_t ui = std::max(VomoToU32(span_s / unit_interval_s_ + 0.5), 1u);
    if (!is_last_probe && run_ui_ < ui) {
      const Outcome outcome = LengthenRun(ui);
      if (outcome != Outcome::kMoveOn) return outcome;
    } else if (!is_last_probe && run_ui_ > ui) {
      threshold_v_ = feedback_.Push(decision_, static_cast<int64_t>(ui - run_ui_));
      run_ui_ = ui;
      return Outcome::kProbeAgain;
    }
    EndRun(begin_s, span_s);
    BeginRun(probe.decision, edge_s);
    return Outcome::kMoveOn;
  }

  // More unit intervals have gone by than were counted. One is added with the level in force; those
  // beyond it push decisions, and the new level asks for a new probe.
  Outcome LengthenRun(uint64_t ui) {
    AddToRun();
    const Outcome fitting = run_ui_ < ui ? Outcome::kProbeAgain : Outcome::kMoveOn;
    while (run_ui_ < ui && !IsFull()) {
      threshold_v_ = feedback_.Push(decision_, 1);
      AddToRun();
    }
    return IsFull() ? Outcome::kEnd : fitting;
  }

  void AddToRun() {
    elements_[element_ + run_ui_].fEnterThresh = threshold_v_;
    ++run_ui_;
  }

  // The run's elements share its span evenly.
  void EndRun(double begin_s, double span_s) {
    const double step_s = span_s / static_cast<double>(run_ui_);
    double at_s = begin_s;
    for (uint64_t left = run_ui_; left > 0; --left, ++element_) {
      elements_[element_].dBegin = at_s;
      elements_[element_].dEnd = at_s += step_s;
      elements_[element_].ulRunLeft = static_cast<uint32_t>(left);
      elements_[element_].cLevel = static_cast<int8_t>(decision_);
    }
    elements_[element_].dBegin = at_s;
  }

  void BeginRun(float decision, double edge_s) {
    elements_[element_].fEnterThresh = threshold_v_;
    decision_ = decision;
    run_ui_ = 1;
    threshold_v_ = feedback_.Push(decision, 1);
    next_s_ = edge_s + unit_interval_s_;
  }

  // A unit interval that goes by without an edge lengthens the run.
  void PassUnitInterval() {
    if (!(now_s_ > next_s_) || element_ + run_ui_ > element_limit_) return;
    AddToRun();
    threshold_v_ = feedback_.Push(decision_, 1);
    next_s_ += unit_interval_s_;
  }

  Outcome Fail(double begin_s, double edge_s) const {
    VomoDfeLogFailure(first_tap_, sample_, now_s_, element_, begin_s, edge_s, run_ui_,
                      threshold_v_);
    return Outcome::kFailed;
  }

  const float *const samples_;
  const double interval_s_, unit_interval_s_;
  const uint64_t filter_count_;
  const uint64_t last_;
  const float first_tap_;
  VomoTwoPartCrossover *const elements_;
  const uint64_t element_limit_;
  DfeFeedback feedback_;

  uint64_t sample_;
  float decision_ = 0;     // in force
  float threshold_v_ = 0;  // the feedback level behind the decisions so far
  double now_s_ = 0;       // counts samples from the first that is not 0
  bool tracking_ = false;  // the first edge has been found
  uint64_t element_ = 0;   // the first of the run in hand
  uint64_t run_ui_ = 0;    // counted unit intervals of that run
  double next_s_ = 0;      // when the unit interval in hand has gone by
};

}  // namespace

VomoStatus VomoDfeWalk(const VomoWaveform &waveform, const DfeWalkSettings &settings,
                       VomoCrossoverData &clock) {
  if (clock.ulTwoPartCount == 0) return Vomo_STATUS_SUCCESS;
  return Walk(waveform, settings, clock).Run(&clock.ulTwoPartCount);
}

}  // namespace vomo
