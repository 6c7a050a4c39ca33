#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "core/handle_table.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// The upper Gaussian tail beyond Q must be the probability again. Forming 1 - 2p rounds by 2^-54,
// which moves p by 2^-55; an inverse good to 4 rounding steps moves p by up to
// phi(Q) Q 2^-50, where phi(Q) Q is at most p (Q^2 + 1).
TEST(QScale, IsTheInverseOfTheGaussianTail) {
  const std::vector<double> p{1e-12,      1e-9, 3.4e-6, 0.001, 0.02,    0.25,
                              0.5 - 1e-9, 0.5,  0.75,   0.999, 1 - 1e-9};
  double *q = nullptr;
  VomoHandle handle = 0;
  ASSERT_EQ(VomoCREATE_QSCALE_FROM_CDF(p.data(), nullptr, 1.0, 0.0, static_cast<uint32_t>(p.size()),
                                       &q, nullptr, &handle),
            Vomo_STATUS_SUCCESS);
  EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), q);
  for (size_t i = 0; i < p.size(); ++i) {
    const long double tail =
        0.5L * std::erfc(static_cast<long double>(q[i]) / std::numbers::sqrt2_v<long double>);
    const double near = std::min(p[i], 1.0 - p[i]);
    EXPECT_NEAR(static_cast<double>(tail - static_cast<long double>(p[i])), 0.0,
                0x1p-55 + near * (q[i] * q[i] + 1.0) * 0x1p-50)
        << "p " << p[i] << " q " << q[i];
  }
  EXPECT_EQ(q[7], 0.0);
  Vomo_HANDLE_FREE(handle);
}

TEST(QScale, EndsOfTheRangeAndLayoutOfBothCurves) {
  const double right[]{0.0, 0.5, 1.0}, left[]{1.0, 0.5, 1.0 + 1e-12};
  double *q_right = nullptr, *q_left = nullptr;
  VomoHandle handle = 0;
  // Bin size and first bin have no part in it, whatever they are.
  ASSERT_EQ(
      VomoCREATE_QSCALE_FROM_CDF(right, left, -kInf, std::nan(""), 3, &q_right, &q_left, &handle),
      Vomo_STATUS_SUCCESS);
  EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), q_right);
  EXPECT_EQ(q_left, q_right + 3);
  EXPECT_EQ(q_right[0], kInf);
  EXPECT_EQ(q_right[1], 0.0);
  EXPECT_EQ(q_right[2], -kInf);
  EXPECT_EQ(q_left[0], -kInf);
  EXPECT_TRUE(std::isnan(q_left[2]));
  Vomo_HANDLE_FREE(handle);

  ASSERT_EQ(VomoCREATE_QSCALE_FROM_CDF(nullptr, left, 1, 0, 3, nullptr, &q_left, &handle),
            Vomo_STATUS_SUCCESS);
  EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), q_left);
  Vomo_HANDLE_FREE(handle);
}

TEST(QScale, Refusals) {
  const double p[]{0.5};
  double kept = 0.0, *right = &kept, *left = &kept;
  VomoHandle handle = 99;
  const struct {
    const char *what;
    const double *from_right, *from_left;
    uint32_t count;
    double **q_right, **q_left;
    VomoHandle *handle;
    VomoStatus status;
  } cases[] = {
      {"nothing wanted", p, p, 1, nullptr, nullptr, &handle, Vomo_STATUS_PARAM_NOT_VALID},
      {"no right input", nullptr, p, 1, &right, &left, &handle, Vomo_STATUS_PARAM_NOT_VALID},
      {"no left input", p, nullptr, 1, &right, &left, &handle, Vomo_STATUS_PARAM_NOT_VALID},
      {"no handle", p, p, 1, &right, &left, nullptr, Vomo_STATUS_PARAM_NOT_VALID},
      {"no points", p, p, 0, &right, &left, &handle, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
      {"too many points", p, p, 1u << 31, &right, &left, &handle,
       Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(VomoCREATE_QSCALE_FROM_CDF(c.from_right, c.from_left, 1.0, 0.0, c.count, c.q_right,
                                         c.q_left, c.handle),
              c.status);
    EXPECT_EQ(right, &kept);
    EXPECT_EQ(left, &kept);
    EXPECT_EQ(handle, 99u);
  }
}

}  // namespace
