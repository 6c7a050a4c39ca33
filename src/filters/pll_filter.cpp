// The closed loop of a clock recovery PLL, and the delay of its feedback.
#include <cmath>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr double kTwoPi = 6.283185307179586;

// exp(-j omega delay).
VomoComplexDouble Delay(double omega, float delay_s) {
  const double angle = -omega * static_cast<double>(delay_s);
  return {std::cos(angle), std::sin(angle)};
}

// Turns s into the loop's response. With s squared in the other array, which is spent:
// (2 z wn s + wn^2) / (s^2 + 2 z wn s + wn^2).
void CloseLoop(double z, double wn, VomoComplexDouble *s, VomoComplexDouble *s_squared,
               uint32_t count) {
  const auto length = static_cast<int32_t>(count);
  VecScaleInPlace_64fc({2.0 * z * wn, 0.0}, s, length);
  VecAddConstInPlace_64fc({wn * wn, 0.0}, s, length);
  VecAddInPlace_64fc(s, s_squared, length);
  VecDivInPlace_64fc(s_squared, s, length);
}

VomoStatus GeneratePll(double delta_f, uint32_t count, double fc, float damping, float delay_s,
                       VomoComplexDouble **filter_out, VomoHandle *handle_out) {
  const double z = damping;
  const double c = 1.0 + 2.0 * z * z;
  // Natural frequency of a loop whose bandwidth at 3 dB is fc.
  const double wn = kTwoPi * fc / std::sqrt(c + std::sqrt(c * c + 1.0));
  const Scratch<VomoComplexDouble> s(count), delay(count);
  const double omega_step = kTwoPi * delta_f;
  for (uint32_t i = 0; i < count; ++i) {
    const double omega = i * omega_step;
    s[i] = {0.0, omega};
    delay[i] = Delay(omega, delay_s);
  }
  Received<VomoComplexDouble> filter;
  const VomoStatus status = VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY(
      s.get(), s.get(), 0, count - 1, filter.pointer(), filter.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  CloseLoop(z, wn, s.get(), filter.get(), count);
  VecMul_64fc(s.get(), delay.get(), filter.get(), static_cast<int32_t>(count));
  filter.Deliver(filter_out, handle_out);
  return status;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoGENERATE_PLL_FILTER_WITH_DELAY(double dDeltaF, uint32_t ulCount,
                                                         double dFc, float fZ, float fDel,
                                                         VomoComplexDouble **ppsFilter,
                                                         VomoHandle *phFilter) noexcept {
  if (ppsFilter == nullptr || phFilter == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  if (ulCount == 0) return Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
  return Guarded([&] { return GeneratePll(dDeltaF, ulCount, dFc, fZ, fDel, ppsFilter, phFilter); });
}

extern "C" VomoStatus VomoGENERATE_PLL_FILTER(double dDeltaF, uint32_t ulCount, double dFc,
                                              float fZ, VomoComplexDouble **ppsFilter,
                                              VomoHandle *phFilter) noexcept {
  return VomoGENERATE_PLL_FILTER_WITH_DELAY(dDeltaF, ulCount, dFc, fZ, 0.0f, ppsFilter, phFilter);
}

extern "C" VomoStatus VomoADD_PLL_FILTER_DELAY(const VomoComplexDouble *psFilter, double dDeltaF,
                                               uint32_t ulCount, float fDel,
                                               VomoComplexDouble **ppsFilter,
                                               VomoHandle *phFilter) noexcept {
  if (psFilter == nullptr || ppsFilter == nullptr || phFilter == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    auto delayed = BlockOf<VomoComplexDouble>::Allocate(ulCount);
    const double omega_step = kTwoPi * dDeltaF;
    for (uint32_t i = 0; i < ulCount; ++i) delayed[i] = Delay(i * omega_step, fDel);
    VecMulInPlace_64fc(psFilter, delayed.get(), static_cast<int32_t>(ulCount));
    delayed.Deliver(ppsFilter, phFilter);
    return Vomo_STATUS_SUCCESS;
  });
}
