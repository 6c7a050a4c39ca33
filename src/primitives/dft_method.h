// How a transform of a given length is carried out, by what it costs.
#ifndef VOMO_PRIMITIVES_DFT_METHOD_H
#define VOMO_PRIMITIVES_DFT_METHOD_H

#include <cstdint>

namespace vomo {

struct PlaneShape {
  int64_t rows;
  int64_t columns;
};

enum class DftMethod {
  kShort,   // one short transform
  kPlane,   // many short ones, for a length that is a product of two
  kChirp,   // a convolution with a chirp, for any length
  kPacked,  // real data of even length as complex data of half the length
};

struct DftChoice {
  DftMethod method;
  PlaneShape shape;  // of kPlane
};

// Anything but kPacked.
template <class Real>
DftChoice ChooseComplexDft(int64_t length);

template <class Real>
DftChoice ChooseRealDft(int64_t length);

// The cheapest shape for a convolution of at least min_length values: one column, or a multiple of
// 8 of them.
template <class Real>
PlaneShape ConvolutionShape(int64_t min_length);

}  // namespace vomo

#endif
