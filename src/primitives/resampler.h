// Change of the sample rate by a ratio of two integers, with a windowed sinc filter.
#ifndef VOMO_PRIMITIVES_RESAMPLER_H
#define VOMO_PRIMITIVES_RESAMPLER_H

#include <cstdint>

namespace vomo {

struct ResamplerState;

// iLength is the number of filter taps, in input samples; fRoll the pass band as a fraction of the
// smaller of the two Nyquist frequencies, above 0 and up to 1; fAlpha the shape of the Kaiser
// window, above 0 and up to 700, where its Bessel function still fits a double. The hint is
// accepted and not used: there is one, accurate, version.
// Refusals, in this order: NULL -8; a rate below 1, a length below 2 or an odd one -6; roll-off or
// shape out of range -5; memory -9, also for a length above 65536.
int32_t ResamplerCreate(ResamplerState **ppState, int32_t iInRate, int32_t iOutRate,
                        int32_t iLength, float fRoll, float fAlpha, int32_t iHint);

// Resamples a whole array; nothing is remembered between calls.
// Output m of the call belongs to input position t = *pTime + m * in rate / out rate and lands in
// pDst[*pOutLen + m], scaled by fNorm. The outputs end before the first t that is not below iLen;
// *pTime becomes that t and *pOutLen grows by their number. There is no delay, and beyond either
// end of the input its first or last sample repeats. From time 0 the call writes iLen * out rate /
// in rate outputs, rounded up; pDst must have room for them and must not overlap the source.
// Refusals, in this order: iLen -6; NULL -8; a time that is negative or NaN, or a negative
// *pOutLen, -5; more outputs than *pOutLen can count -6.
int32_t ResamplerRun(const ResamplerState *pState, const float *pSrc, int32_t iLen, float *pDst,
                     float fNorm, double *pTime, int32_t *pOutLen);

// The same for two arrays of one length, at little more than the cost of one: each gets what a call
// of its own would give it.
int32_t ResamplerRunPair(const ResamplerState *pState, const float *pSrcA, const float *pSrcB,
                         int32_t iLen, float *pDstA, float *pDstB, float fNorm, double *pTime,
                         int32_t *pOutLen);

// NULL gives -8.
int32_t ResamplerFree(ResamplerState *pState);

}  // namespace vomo

#endif
