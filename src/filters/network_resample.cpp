#include "filters/network_resample.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "core/numeric.h"
#include "core/status.h"
#include "core/waveform.h"
#include "primitives/resampler.h"

namespace vomo {
namespace {

constexpr int32_t kWaveformTaps = 4;
constexpr int32_t kSpectrumTaps = 8;
constexpr uint32_t kMostDoublings = 9;
constexpr RateRatio kDoubling{1, 2};
constexpr float kUnscaled = 1.0f;

struct FreeResampler {
  void operator()(ResamplerState *state) const { ResamplerFree(state); }
};
using ResamplerOwner = std::unique_ptr<ResamplerState, FreeResampler>;

VomoStatus Create(RateRatio ratio, int32_t taps, ResamplerOwner &owner) {
  constexpr float kRollOff = 0.95f, kAlpha = 9.0f;
  constexpr int32_t kAccurate = 2;
  ResamplerState *created = nullptr;
  const int32_t status =
      ResamplerCreate(&created, ratio.in, ratio.out, taps, kRollOff, kAlpha, kAccurate);
  owner.reset(created);
  return Computed(status);
}

// Outputs of so many inputs. Throws std::bad_alloc for more than a block could hold.
uint64_t OutputCount(uint64_t count, RateRatio ratio) {
  constexpr uint64_t kMost = std::numeric_limits<int32_t>::max() / sizeof(float);
  if (ratio.in < 1 || ratio.out < 1) return 0;
  const auto in = static_cast<uint64_t>(ratio.in), out = static_cast<uint64_t>(ratio.out);
  if (count > kMost) throw std::bad_alloc();
  const uint64_t outputs = (count * out + in - 1) / in;
  if (outputs > kMost) throw std::bad_alloc();
  return outputs;
}

// The inputs that the first outputs are made of.
uint64_t InputsOf(uint64_t outputs, RateRatio ratio) {
  const uint64_t last =
      (outputs - 1) * static_cast<uint64_t>(ratio.in) / static_cast<uint64_t>(ratio.out);
  return last + kWaveformTaps / 2 + 1;
}

VomoStatus ResampleWaveform(const VomoWaveform &waveform, const ResamplerState *state,
                            RateRatio ratio, float to_nyquist_hz,
                            BlockOf<VomoWaveform> &resampled) {
  const uint64_t total = StoredSampleCount(waveform);
  const uint64_t count = std::min(total, OutputCount(total, ratio));
  const uint64_t used = std::min(total, InputsOf(count, ratio));
  const Scratch<float> outputs(OutputCount(used, ratio));
  double time = 0;
  int32_t written = 0;
  const VomoStatus status =
      Computed(ResamplerRun(state, FirstStoredSample(waveform), static_cast<int32_t>(used),
                            outputs.get(), kUnscaled, &time, &written));
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (uint64_t{waveform.ulTrimFront} + waveform.ulTrimBack >= count) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const float interval_s = 0.5f / to_nyquist_hz;
  resampled = NewWaveform(static_cast<uint32_t>(count), double{interval_s});
  std::copy_n(outputs.get(), count, resampled->pfSamples);
  HideEnds(*resampled, waveform.ulTrimFront, waveform.ulTrimBack);
  return status;
}

// The steps that lead from one number of points to another.
struct SpectrumSteps {
  SpectrumSteps(uint32_t from, uint32_t to) {
    uint32_t count = from;
    for (; to > 2 * uint64_t{count} && doublings < kMostDoublings; count *= 2) ++doublings;
    last_ratio = VomoRateRatio(static_cast<float>(count), static_cast<float>(to));
    written = OutputCount(count, last_ratio);
    room = std::max({written, uint64_t{to}, uint64_t{count}});
  }

  uint32_t doublings = 0;
  RateRatio last_ratio{};
  uint64_t written = 0;  // by the last step
  uint64_t room = 0;     // that all of them need
};

// Real and imaginary parts, which change places with two arrays of equal room at each step.
struct Curve {
  explicit Curve(uint64_t room) : re(room), im(room), re_work(room), im_work(room) {}

  VomoStatus Step(const ResamplerState *state, uint64_t count) {
    double time = 0;
    int32_t written = 0;
    const int32_t status =
        ResamplerRunPair(state, re.get(), im.get(), static_cast<int32_t>(count), re_work.get(),
                         im_work.get(), kUnscaled, &time, &written);
    std::swap(re, re_work);
    std::swap(im, im_work);
    return Computed(status);
  }

  Scratch<float> re, im, re_work, im_work;
};

}  // namespace

RateRatio VomoRateRatio(float in, float out) {
  constexpr double kLog2Of10 = 3.321928094887362, kLog10Of2 = 0.3010299956639812;
  static const double bit_limit = std::trunc(std::log10(2147483647.0) * kLog2Of10);
  const double in_bits = std::log10(double{in}) * kLog2Of10;
  const double out_bits = std::log10(double{out}) * kLog2Of10;
  const double shift = bit_limit - std::max(std::trunc(in_bits), std::trunc(out_bits));
  const auto rate = [shift](double bits) {
    return VomoToI32(std::pow(10.0, (shift + bits) * kLog10Of2) + 0.5);
  };
  RateRatio ratio{rate(in_bits), rate(out_bits)};
  while (ratio.in != 0 && ratio.out != 0 && ratio.in % 10 == 0 && ratio.out % 10 == 0) {
    ratio.in /= 10;
    ratio.out /= 10;
  }
  return ratio;
}

VomoStatus VomoResampleWaveformPair(const VomoWaveform &positive, const VomoWaveform &negative,
                                    float from_nyquist_hz, float to_nyquist_hz,
                                    BlockOf<VomoWaveform> &positive_out,
                                    BlockOf<VomoWaveform> &negative_out) {
  const RateRatio ratio = VomoRateRatio(from_nyquist_hz, to_nyquist_hz);
  ResamplerOwner state;
  VomoStatus status = Create(ratio, kWaveformTaps, state);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = ResampleWaveform(positive, state.get(), ratio, to_nyquist_hz, positive_out);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  return ResampleWaveform(negative, state.get(), ratio, to_nyquist_hz, negative_out);
}

VomoStatus VomoResampleSpectrum(const float *re, const float *im, uint32_t in_count,
                                uint32_t out_count, Scratch<float> &re_out,
                                Scratch<float> &im_out) {
  const SpectrumSteps steps(in_count, out_count);
  ResamplerOwner doubler, last;
  VomoStatus status = Create(kDoubling, kSpectrumTaps, doubler);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = Create(steps.last_ratio, kSpectrumTaps, last);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  Curve curve(steps.room);
  std::copy_n(re, in_count, curve.re.get());
  std::copy_n(im, in_count, curve.im.get());
  uint64_t count = in_count;
  for (uint32_t k = 0; k <= steps.doublings; ++k, count *= 2) {
    status = curve.Step(k < steps.doublings ? doubler.get() : last.get(), count);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  // The last ratio is rounded: points that it falls short of repeat the last one.
  for (Scratch<float> *part : {&curve.re, &curve.im}) {
    float *const values = part->get();
    for (uint64_t k = steps.written; k < out_count; ++k) values[k] = values[steps.written - 1];
  }
  re_out = std::move(curve.re);
  im_out = std::move(curve.im);
  return status;
}

}  // namespace vomo
