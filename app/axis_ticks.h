// Where an axis is labelled.
#ifndef VOMO_APP_AXIS_TICKS_H
#define VOMO_APP_AXIS_TICKS_H

#include <vector>

namespace app {

// Round numbers, about as many as wanted, from lowest to highest.
std::vector<double> AxisTicks(double lowest, double highest, int wanted);

}  // namespace app

#endif
