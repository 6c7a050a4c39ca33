// A recursive low pass of one pole, run over a waveform in place.
#include "core/waveform.h"

extern "C" VomoStatus VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(VomoWaveform *psWaveform,
                                                         double dFc) noexcept {
  constexpr double kTwoPi = 6.283185307179586;
  if (!vomo::HasSamples(psWaveform) || psWaveform->ulNumSamples < 2) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const double interval_s = psWaveform->dSampleInterval;
  if (!(interval_s > 0) || !(dFc > 0) || dFc >= 1.0 / (2.0 * interval_s)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  const double rc_s = 1.0 / (dFc * kTwoPi);
  const double of_input = interval_s / (rc_s + interval_s);
  const double of_previous = rc_s / (rc_s + interval_s);
  float *const samples = psWaveform->pfSamples;
  for (uint32_t i = 1; i < psWaveform->ulNumSamples; ++i) {
    // The previous output is the float that was stored.
    samples[i] =
        static_cast<float>(double{samples[i - 1]} * of_previous + double{samples[i]} * of_input);
  }
  return Vomo_STATUS_SUCCESS;
}
