// Straight-line interpolation between two points.
#ifndef VOMO_CORE_INTERPOLATE_H
#define VOMO_CORE_INTERPOLATE_H

namespace vomo {

// Writes the abscissa at which the line through (dX1, dY1) and (dX2, dY2) has the ordinate dY.
// Equal ordinates of the two points divide by zero.
inline void Vomo_Interpolate_X(double dX1, double dY1, double dX2, double dY2, double *pdX,
                               double dY) {
  *pdX = dX1 + (dY - dY1) / ((dY2 - dY1) / (dX2 - dX1));
}

}  // namespace vomo

#endif
