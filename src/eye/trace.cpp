#include "eye/trace.h"

#include <cmath>

#include "core/numeric.h"
#include "core/waveform.h"

namespace vomo {
namespace {

uint32_t SamplesPerUI(const DiagramRequest &request) {
  return VomoToU32(request.ui_s / request.waveform->dSampleInterval + 0.5);
}

}  // namespace

VomoStatus CheckRequest(const DiagramRequest &request) {
  const bool readable = HasSamples(request.waveform) && request.clock != nullptr &&
                        request.clock->pdTimes != nullptr && request.error_s != nullptr;
  if (!readable) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const bool in_range = request.waveform->dSampleInterval > 0 && request.ui_s > 0 &&
                        request.wrap_left_ui <= 1.0 && request.wrap_right_ui <= 1.0 &&
                        request.last_interval > request.first_interval &&
                        request.last_interval < request.clock->ulCount &&
                        request.clock_offset < request.clock->ulCount;
  return in_range ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PARAM_OUT_OF_RANGE;
}

uint32_t DiagramCapacity(const DiagramRequest &request) {
  // This product wraps at 32 bits, which leaves so large a diagram with fewer points.
  const uint32_t samples =
      RangeCount(request.first_interval, request.last_interval) * SamplesPerUI(request);
  return VomoToU32(samples * (request.wrap_left_ui + 1.0 + request.wrap_right_ui) + 0.5);
}

TraceWalk::TraceWalk(const DiagramRequest &request)
    : request_(request),
      sample_interval_s_(request.waveform->dSampleInterval),
      last_sample_(request.waveform->ulNumSamples - 1.0),
      half_ui_samples_(SamplesPerUI(request) * 0.5),
      left_s_(-(request.ui_s * request.wrap_left_ui)),
      right_s_((request.wrap_right_ui + 1.0) * request.ui_s) {
  const int64_t offset = request.clock_offset;
  first_ = std::max<int64_t>(request.first_interval, offset) - offset;
  last_ = std::max<int64_t>(request.last_interval, offset) - offset;
  // An interval ends at the next edge, so the last edge begins none.
  last_ = std::min(last_, int64_t{request.clock->ulCount} - 2 - offset);
}

bool TraceWalk::IsWanted(double edge_sample) const {
  if (request_.type == kAllBits) return true;
  const auto sample_at = [this](double position) {
    const auto index = TruncateSaturated<int64_t>(position);
    const int64_t last = int64_t{request_.waveform->ulNumSamples} - 1;
    return request_.waveform->pfSamples[std::clamp<int64_t>(index, 0, last)];
  };
  const float product =
      sample_at(edge_sample - half_ui_samples_) * sample_at(half_ui_samples_ + edge_sample);
  return request_.type == (product > 0.0f ? kNonTransitionBits : kTransitionBits);
}

bool TraceWalk::Draw(int64_t k, Trace &trace) const {
  const double *times_s = request_.clock->pdTimes + request_.clock_offset + k;
  const double edge_sample = times_s[0] / sample_interval_s_;
  if (!IsWanted(edge_sample)) return false;
  // Stretches the interval so that it spans from its own edge's error to one unit interval and the
  // next edge's error.
  const double error_s = request_.error_s[k], next_error_s = request_.error_s[k + 1];
  const double step_s =
      (next_error_s + request_.ui_s - error_s) * sample_interval_s_ / (times_s[1] - times_s[0]);
  if (!(step_s > 0) || !std::isfinite(step_s)) return false;

  const double first = std::max(0.0, (left_s_ - error_s) / step_s + edge_sample);
  const double end = (right_s_ - error_s) / step_s + edge_sample;
  const auto first_index = TruncateSaturated<int64_t>(first);
  const auto last_index =
      TruncateSaturated<int64_t>((end < last_sample_ ? end : last_sample_) + 0.5);
  if (last_index < first_index) return false;
  trace.samples = request_.waveform->pfSamples + first_index;
  trace.count = static_cast<uint64_t>(last_index - first_index) + 1;
  // Counted from the left end and not from the sample's own time, so a trace that the record's
  // start cuts begins at the left end too.
  trace.time_s = left_s_ - (first - static_cast<double>(first_index)) * step_s;
  trace.step_s = step_s;
  trace.interval = static_cast<uint32_t>(request_.clock_offset + k);
  return true;
}

}  // namespace vomo
