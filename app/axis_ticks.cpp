#include "axis_ticks.h"

#include <cmath>

namespace app {

std::vector<double> AxisTicks(double lowest, double highest, int wanted) {
  std::vector<double> ticks;
  const double rough = (highest - lowest) / wanted;
  if (!(rough > 0) || !std::isfinite(rough)) return ticks;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  const double lead = rough / power;
  const double step = power * (lead <= 1 ? 1 : lead <= 2 ? 2 : lead <= 5 ? 5 : 10);
  for (double i = std::ceil(lowest / step); i * step <= highest; ++i) ticks.push_back(i * step);
  return ticks;
}

}  // namespace app
