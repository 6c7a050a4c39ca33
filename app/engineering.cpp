#include "engineering.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace app {
namespace {

constexpr const char *kPrefixes[] = {"a", "f", "p", "n", "u", "m", "", "k", "M", "G", "T"};
constexpr int kUnity = 6;  // position of the empty prefix

bool TakesPrefix(const std::string &unit) {
  return unit == "s" || unit == "V" || unit == "Vs" || unit == "Hz" || unit == "bit/s";
}

// Power of ten of the first digit, after rounding to the given digits: 999.96 at 4 digits gives 3.
int LeadingPower(double value, int digits) {
  const std::string text = fmt::format("{:.{}e}", value, digits - 1);
  return std::stoi(text.substr(text.find('e') + 1));
}

}  // namespace

std::string Engineering(double value, const std::string &unit, int digits) {
  if (!std::isfinite(value)) return "none";
  const int power = value == 0 ? 0 : LeadingPower(value, digits);
  int prefix = kUnity;
  if (TakesPrefix(unit) && value != 0) {
    const int thousands = static_cast<int>(std::floor(power / 3.0));
    prefix = std::clamp(kUnity + thousands, 0, static_cast<int>(std::size(kPrefixes)) - 1);
  }
  const int shift = 3 * (prefix - kUnity);
  const int decimals = std::clamp(digits - 1 - (power - shift), 0, digits + 3);
  const std::string number = fmt::format("{:.{}f}", value * std::pow(10.0, -shift), decimals);
  if (unit.empty()) return number;
  return fmt::format("{} {}{}", number, kPrefixes[prefix], unit);
}

}  // namespace app
