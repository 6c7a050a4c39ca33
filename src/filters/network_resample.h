// Brings a waveform and the measured curves of a network onto one frequency grid.
#ifndef VOMO_FILTERS_NETWORK_RESAMPLE_H
#define VOMO_FILTERS_NETWORK_RESAMPLE_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

struct RateRatio {
  int32_t in, out;
};

// Two integers in the ratio of two numbers: as large as 31 bits allow, less the tens that they have
// in common. A number that is 0, negative, NaN or too small against the other gives a 0.
RateRatio VomoRateRatio(float in, float out);

// Interpolates both waveforms, each from its first stored sample on, so that their Nyquist
// frequency moves from the one to the other. The trim counts stay as they are, and no more samples
// are stored than before: what a higher rate makes more of is lost at the end. PARAM_OUT_OF_RANGE
// when the trim leaves nothing visible; COMPUTATION_ERROR for frequencies without a ratio.
VomoStatus VomoResampleWaveformPair(const VomoWaveform &positive, const VomoWaveform &negative,
                                    float from_nyquist_hz, float to_nyquist_hz,
                                    BlockOf<VomoWaveform> &positive_out,
                                    BlockOf<VomoWaveform> &negative_out);

// Stretches a curve of complex values, given as real and imaginary parts, from one number of points
// to another: doubling as often as fits, then by the ratio that is left. The points count as
// equally spaced, and point 0 stays in its place. Each part of the result has out_count values, or
// room for more.
VomoStatus VomoResampleSpectrum(const float *re, const float *im, uint32_t in_count,
                                uint32_t out_count, Scratch<float> &re_out, Scratch<float> &im_out);

}  // namespace vomo

#endif
