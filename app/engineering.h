// Numbers for readers: engineering prefixes and a fixed number of significant digits.
#ifndef VOMO_APP_ENGINEERING_H
#define VOMO_APP_ENGINEERING_H

#include <string>

namespace app {

// 1.25e-10, "s", 4 gives "125.0 ps". Not finite gives "none". Units without prefixes ("ppm", "UI",
// empty) keep the number as it is.
std::string Engineering(double value, const std::string &unit, int digits);

}  // namespace app

#endif
