// The inverse of the error function, for one value.
#ifndef VOMO_PRIMITIVES_ERF_INVERSE_H
#define VOMO_PRIMITIVES_ERF_INVERSE_H

namespace vomo {

// y with erf(y) = x, to a few units in the last place over the whole range, next to plus and minus
// 1 too. Plus and minus 1 give the infinities; NaN and anything beyond give NaN; a zero keeps its
// sign.
double ErfInverse(double x);

}  // namespace vomo

#endif
