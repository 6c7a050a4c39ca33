// Filters of first and second order: a rational function of frequency, entry by entry.
#include <cmath>

#include "core/boundary.h"
#include "core/handle_table.h"

namespace vomo {
namespace {

// Fills an array with a response that is given as a function of frequency in hertz. The frequency
// is accumulated. A failed allocation leaves 0 in the handle.
template <class Response>
VomoStatus Generate(double delta_f, uint32_t count, Response response,
                    VomoComplexDouble **filter_out, VomoHandle *handle_out) {
  if (filter_out == nullptr || handle_out == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    *handle_out = 0;
    auto filter = BlockOf<VomoComplexDouble>::Allocate(count);
    double f = 0.0;
    for (uint32_t i = 0; i < count; ++i, f += delta_f) filter[i] = response(f);
    filter.Deliver(filter_out, handle_out);
    return Vomo_STATUS_SUCCESS;
  });
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoGENERATE_FIRST_ORDER_FILTER(double dDeltaF, uint32_t ulCount,
                                                      int32_t iHighPass, double dFc,
                                                      VomoComplexDouble **ppsFilter,
                                                      VomoHandle *phFilter) noexcept {
  const double fc2 = dFc * dFc;
  if (iHighPass != 0) {
    // jf / (fc + jf)
    const auto high_pass = [=](double f) {
      const double d = fc2 + f * f;
      return VomoComplexDouble{f * f / d, f * dFc / d};
    };
    return Generate(dDeltaF, ulCount, high_pass, ppsFilter, phFilter);
  }
  // fc / (fc + jf)
  const auto low_pass = [=](double f) {
    const double d = fc2 + f * f;
    return VomoComplexDouble{fc2 / d, -(f * dFc) / d};
  };
  return Generate(dDeltaF, ulCount, low_pass, ppsFilter, phFilter);
}

extern "C" VomoStatus VomoGENERATE_SECOND_ORDER_FILTER(double dDeltaF, uint32_t ulCount,
                                                       int32_t iHighPass, double dFc, double dZ,
                                                       VomoComplexDouble **ppsFilter,
                                                       VomoHandle *phFilter) noexcept {
  const double fc2 = dFc * dFc, damping = 2.0 * dZ * dFc;
  if (iHighPass != 0) {
    // -f^2 / (a - jb): the phase runs opposite to that of the H3 form below, on purpose.
    const auto high_pass = [=](double f) {
      const double a = fc2 - f * f, b = f * damping, d = a * a + b * b;
      return VomoComplexDouble{-(f * f) * a / d, -(f * f) * b / d};
    };
    return Generate(dDeltaF, ulCount, high_pass, ppsFilter, phFilter);
  }
  // fc^2 / (a + jb)
  const auto low_pass = [=](double f) {
    const double a = fc2 - f * f, b = f * damping, d = a * a + b * b;
    return VomoComplexDouble{a * fc2 / d, -b * fc2 / d};
  };
  return Generate(dDeltaF, ulCount, low_pass, ppsFilter, phFilter);
}

extern "C" VomoStatus VomoGENERATE_SECOND_ORDER_H3_FILTER(double dDeltaF, uint32_t ulCount,
                                                          double dFc, float fZ,
                                                          VomoComplexDouble **ppsFilter,
                                                          VomoHandle *phFilter) noexcept {
  const float zz = fZ * fZ;
  const float r = 1.0f - zz;
  const double fn = dFc / std::sqrt(static_cast<double>(r)), fn2 = fn * fn, two_fn = 2.0 * fn;
  // -f^2 / (a + jb)
  const auto high_pass = [=](double f) {
    const double a = fn2 - f * f, b = two_fn * f * static_cast<double>(fZ), d = b * b + a * a;
    return VomoComplexDouble{-(f * f * a) / d, b * f * f / d};
  };
  return Generate(dDeltaF, ulCount, high_pass, ppsFilter, phFilter);
}
