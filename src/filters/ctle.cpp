#include "filters/ctle.h"

#include <algorithm>

#include "core/boundary.h"
#include "core/run_transform.h"
#include "core/waveform.h"
#include "filters/trim_ends.h"

namespace vomo {
namespace {

constexpr uint32_t kWrapped = 3;  // samples at either end that the transform's circle reaches
constexpr uint32_t kFewestSamples = 2 * kWrapped + 1;

// H(w) = (k + ju) / ((p1 + jw) (p2 + jw)), with u in proportion to w; all of it in float.
struct Response {
  Response(const VomoCTLEParams &setting, double sample_interval_s, uint32_t sample_count) {
    constexpr float kTwoPi = 6.2831855f;
    p1 = setting.fFp1 * kTwoPi;
    p2 = setting.fFp2 * kTwoPi;
    const float zero = setting.fFz * kTwoPi;
    w_step =
        1.0f / (static_cast<float>(sample_interval_s) * static_cast<float>(sample_count)) * kTwoPi;
    k = p1 * setting.fAdc * p2;
    u_step = k * w_step / zero;
  }

  float k, p1, p2;
  float w_step, u_step;  // from bin to bin
};

// Product and quotients are formed in double and rounded to float one by one.
VomoComplexFloat Product(VomoComplexFloat a, float re, float im) {
  const double a_re = a.fRe, a_im = a.fIm, b_re = re, b_im = im;
  return {static_cast<float>(a_re * b_re - a_im * b_im),
          static_cast<float>(a_im * b_re + a_re * b_im)};
}
VomoComplexFloat Quotient(VomoComplexFloat a, float re, float im) {
  const double a_re = a.fRe, a_im = a.fIm, b_re = re, b_im = im;
  const double square = b_re * b_re + b_im * b_im;
  return {static_cast<float>((a_re * b_re + a_im * b_im) / square),
          static_cast<float>((a_im * b_re - a_re * b_im) / square)};
}

// The two ramps accumulate in float from bin to bin, piece by piece ahead of the arithmetic, which
// is free of their chain.
void Shape(const VomoComplexFloat *spectrum, const Response &h, VomoComplexFloat *shaped,
           uint64_t bin_count) {
  constexpr uint64_t kPiece = 256;
  float w_of[kPiece], u_of[kPiece];
  float w = 0, u = 0;
  for (uint64_t begin = 0; begin < bin_count; begin += kPiece) {
    const uint64_t length = std::min(kPiece, bin_count - begin);
    for (uint64_t i = 0; i < length; ++i, u += h.u_step, w += h.w_step) {
      w_of[i] = w;
      u_of[i] = u;
    }
    for (uint64_t i = 0; i < length; ++i) {
      const VomoComplexFloat lifted = Product(spectrum[begin + i], h.k, u_of[i]);
      shaped[begin + i] = Quotient(Quotient(lifted, h.p1, w_of[i]), h.p2, w_of[i]);
    }
  }
}

}  // namespace

bool IsUsable(const VomoCTLEParams &setting) {
  return setting.fAdc > 0 && setting.fFz > 0 && setting.fFp1 > 0 && setting.fFp2 > 0;
}

VomoStatus CtleStage::Prepare(VomoWaveform &waveform) {
  if (!(waveform.dSampleInterval > 0) || waveform.ulNumSamples == 0) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  if (waveform.pfSamples == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  VomoStatus too_short = Vomo_STATUS_PARAM_OUT_OF_RANGE;
  while (true) {
    VomoStatus status = Trim(waveform);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    if (trimmed_.ulNumSamples < kFewestSamples) return too_short;
    status = MakeTransform();
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    if (HasBuffer()) break;
    // The trimmed length had no room, so the next one must be shorter.
    too_short = Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
    const uint32_t shorter = trimmed_.ulNumSamples - 1;
    if (shorter < kFewestSamples) return too_short;
    HideEnds(waveform, 0, waveform.ulNumSamples - shorter);
    result_.Free();
    spectrum_ = {};
    spec_.reset();
  }
  return RunTransform(DftForward_R_32f, trimmed_.pfSamples, spectrum_.get(), spec_, buffer_.get());
}

VomoStatus CtleStage::Trim(VomoWaveform &waveform) {
  Received<VomoWaveform> copy;
  if (Vomo_STATUS_IS_ERROR(VomoTrimWaveformEnds(&waveform, copy.pointer(), copy.handle_out()))) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  result_ = copy.Take();
  trimmed_ = *result_;
  return Vomo_STATUS_SUCCESS;
}

VomoStatus CtleStage::MakeTransform() {
  constexpr int32_t kAccurate = 2;
  spectrum_ = Scratch<VomoComplexFloat>(trimmed_.ulNumSamples / 2 + 1);
  DftSpec *created = nullptr;
  if (DftSpecCreate_R_32f(&created, static_cast<int32_t>(trimmed_.ulNumSamples), kDftDivideForward,
                          kAccurate) != kNoError) {
    return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  }
  spec_.reset(created);
  const int32_t status = DftScratchSize_R_32f(created, &buffer_size_);
  if (status != kNoError) return PrimitiveFailure(status, Vomo_STATUS_FFT_COMPUTE_ERROR);
  buffer_.reset(allocate_(buffer_size_));
  return Vomo_STATUS_SUCCESS;
}

VomoStatus CtleStage::Apply(const VomoCTLEParams &setting) {
  if (equalised_.size() == 0) equalised_ = Scratch<VomoComplexFloat>(spectrum_.size());
  return Equalise(setting, equalised_.get());
}

VomoStatus CtleStage::ApplyOnce(const VomoCTLEParams &setting) {
  return Equalise(setting, spectrum_.get());
}

VomoStatus CtleStage::Equalise(const VomoCTLEParams &setting, VomoComplexFloat *equalised) {
  const Response response(setting, trimmed_.dSampleInterval, trimmed_.ulNumSamples);
  Shape(spectrum_.get(), response, equalised, spectrum_.size());
  *result_ = trimmed_;
  HideEnds(*result_, kWrapped, kWrapped);
  return RunTransform(DftInverse_R_32f, equalised, trimmed_.pfSamples, spec_, buffer_.get());
}

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(VomoWaveform *psWaveform, float fAdc,
                                                        float fFz, float fFp1, float fFp2,
                                                        VomoWaveform **ppsFiltered,
                                                        VomoHandle *phFiltered) noexcept {
  if (psWaveform == nullptr || ppsFiltered == nullptr || phFiltered == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const VomoCTLEParams setting{fAdc, fFz, fFp1, fFp2};
  if (!IsUsable(setting)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    CtleStage stage;
    VomoStatus status = stage.Prepare(*psWaveform);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    status = stage.ApplyOnce(setting);
    if (!Vomo_STATUS_IS_ERROR(status)) stage.result().Deliver(ppsFiltered, phFiltered);
    return status;
  });
}
