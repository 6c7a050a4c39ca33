// The element-wise vector operations, bit for bit against scalar arithmetic.
#include <cfloat>

#include "primitives/status_text.h"
#include "primitives/vec.h"
#include "vec_check.h"

namespace vomo::test {
namespace {

using Cf = VomoComplexFloat;
using Cd = VomoComplexDouble;

constexpr float kF = 1.7f;
constexpr double kD = -0.3;
constexpr Cf kCf = {0.75f, -1.3f};
constexpr Cd kCd = {-2.1, 0.6};

// The references of the complex operations take their products apart, one rounding each, which the
// compiler may not fuse.
template <class C, class T>
C Times(T are, T aim, T bre, T bim) {
  return {static_cast<Part<C>>(are * bre - aim * bim), static_cast<Part<C>>(are * bim + aim * bre)};
}
template <class C>
C Over(double are, double aim, double bre, double bim) {
  const double norm = bre * bre + bim * bim;
  return {static_cast<Part<C>>((are * bre + aim * bim) / norm),
          static_cast<Part<C>>((aim * bre - are * bim) / norm)};
}

// An operation that changes its last argument, as one that leaves b alone.
template <class T, class InPlace>
auto OnCopyOf(InPlace in_place) {
  return [in_place](const T *a, const T *b, T *dst, int32_t length) {
    const std::vector<T> source(a, a + length);
    std::vector<T> changed(b, b + length);
    const int32_t status = in_place(source.data(), changed.data(), length);
    std::copy(changed.begin(), changed.end(), dst);
    return status;
  };
}
// The same for an operation with a constant in front.
template <class T, class Operation>
auto WithConstant(Operation operation, T value) {
  return OnCopyOf<T>(
      [=](const T *, T *changed, int32_t length) { return operation(value, changed, length); });
}
template <class Src, class Dst, class Operation>
auto Unary(Operation operation) {
  return [operation](const Src *a, const Src *, Dst *dst, int32_t length) {
    return operation(a, dst, length);
  };
}
template <class T, class Operation>
auto Unary(Operation operation, T value) {
  return [operation, value](const T *a, const T *, T *dst, int32_t length) {
    return operation(a, value, dst, length);
  };
}

TEST(VecMap, RealArithmetic) {
  const auto sum = [](auto a, auto b, std::size_t) { return a + b; };
  const auto second_minus_first = [](auto a, auto b, std::size_t) { return b - a; };
  const auto product = [](auto a, auto b, std::size_t) { return a * b; };
  CheckMap<float>("VecAdd_32f", VecAdd_32f, sum);
  CheckMap<float>("VecAddInPlace_32f", OnCopyOf<float>(VecAddInPlace_32f), sum);
  CheckMap<float>("VecSub_32f", VecSub_32f, second_minus_first);
  CheckMap<double>("VecSub_64f", VecSub_64f, second_minus_first);
  CheckMap<float>("VecSubInPlace_32f", OnCopyOf<float>(VecSubInPlace_32f), second_minus_first);
  CheckMap<double>("VecMul_64f", VecMul_64f, product);
  CheckMap<double>("VecSquare_64f", Unary<double, double>(VecSquare_64f),
                   [](double a, double, std::size_t) { return a * a; });
}

TEST(VecMap, RealConstants) {
  CheckMap<float>("VecScale_32f", Unary(VecScale_32f, kF),
                  [](float a, float, std::size_t) { return a * kF; });
  CheckMap<double>("VecScale_64f", Unary(VecScale_64f, kD),
                   [](double a, double, std::size_t) { return a * kD; });
  CheckMap<float>("VecScaleInPlace_32f", WithConstant(VecScaleInPlace_32f, kF),
                  [](float, float b, std::size_t) { return b * kF; });
  CheckMap<double>("VecScaleInPlace_64f", WithConstant(VecScaleInPlace_64f, kD),
                   [](double, double b, std::size_t) { return b * kD; });
  // The product with the reciprocal, which differs from the quotient in the last bit here and
  // there.
  CheckMap<float>("VecDivConstInPlace_32f", WithConstant(VecDivConstInPlace_32f, kF),
                  [](float, float b, std::size_t) { return b * (1.0f / kF); });
  CheckMap<double>("VecDivConstInPlace_64f", WithConstant(VecDivConstInPlace_64f, kD),
                   [](double, double b, std::size_t) { return b * (1.0 / kD); });
  CheckMap<double>("VecConstMinus_64f", Unary(VecConstMinus_64f, kD),
                   [](double a, double, std::size_t) { return kD - a; });
  CheckMap<double>("VecSubConst_64f", Unary(VecSubConst_64f, kD),
                   [](double a, double, std::size_t) { return a - kD; });
  CheckMap<float>("VecSubConstInPlace_32f", WithConstant(VecSubConstInPlace_32f, kF),
                  [](float, float b, std::size_t) { return b - kF; });
  CheckMap<double>("VecSubConstInPlace_64f", WithConstant(VecSubConstInPlace_64f, kD),
                   [](double, double b, std::size_t) { return b - kD; });
  CheckMap<double>("VecAddConstInPlace_64f", WithConstant(VecAddConstInPlace_64f, kD),
                   [](double, double b, std::size_t) { return b + kD; });
}

TEST(VecMap, ComplexArithmetic) {
  const auto float_sum = [](Cf a, Cf b, std::size_t) { return Cf{a.fRe + b.fRe, a.fIm + b.fIm}; };
  const auto double_sum = [](Cd a, Cd b, std::size_t) { return Cd{a.dRe + b.dRe, a.dIm + b.dIm}; };
  const auto float_product = [](Cf a, Cf b, std::size_t) {
    return Times<Cf>(a.fRe, a.fIm, b.fRe, b.fIm);
  };
  const auto double_product = [](Cd a, Cd b, std::size_t) {
    return Times<Cd>(a.dRe, a.dIm, b.dRe, b.dIm);
  };
  CheckMap<Cf>("VecAdd_32fc", VecAdd_32fc, float_sum);
  CheckMap<Cd>("VecAdd_64fc", VecAdd_64fc, double_sum);
  CheckMap<Cd>("VecAddInPlace_64fc", OnCopyOf<Cd>(VecAddInPlace_64fc), double_sum);
  CheckMap<Cf>("VecSub_32fc", VecSub_32fc, [](Cf a, Cf b, std::size_t) {
    return Cf{b.fRe - a.fRe, b.fIm - a.fIm};
  });
  CheckMap<Cd>("VecSub_64fc", VecSub_64fc, [](Cd a, Cd b, std::size_t) {
    return Cd{b.dRe - a.dRe, b.dIm - a.dIm};
  });
  CheckMap<Cf>("VecMul_32fc", VecMul_32fc, float_product);
  CheckMap<Cd>("VecMul_64fc", VecMul_64fc, double_product);
  CheckMap<Cf>("VecMulInPlace_32fc", OnCopyOf<Cf>(VecMulInPlace_32fc), float_product);
  CheckMap<Cd>("VecMulInPlace_64fc", OnCopyOf<Cd>(VecMulInPlace_64fc), double_product);
  CheckMap<Cd>("VecDivInPlace_64fc", OnCopyOf<Cd>(VecDivInPlace_64fc),
               [](Cd a, Cd b, std::size_t) { return Over<Cd>(b.dRe, b.dIm, a.dRe, a.dIm); });
}

TEST(VecMap, ComplexConstants) {
  CheckMap<Cf>("VecScaleInPlace_32fc", WithConstant(VecScaleInPlace_32fc, kCf),
               [](Cf, Cf b, std::size_t) {
                 return Times<Cf>(double{b.fRe}, double{b.fIm}, double{kCf.fRe}, double{kCf.fIm});
               });
  CheckMap<Cd>("VecScaleInPlace_64fc", WithConstant(VecScaleInPlace_64fc, kCd),
               [](Cd, Cd b, std::size_t) { return Times<Cd>(b.dRe, b.dIm, kCd.dRe, kCd.dIm); });
  CheckMap<Cf>("VecDivConstInPlace_32fc", WithConstant(VecDivConstInPlace_32fc, kCf),
               [](Cf, Cf b, std::size_t) {
                 return Over<Cf>(double{b.fRe}, double{b.fIm}, double{kCf.fRe}, double{kCf.fIm});
               });
  CheckMap<Cd>("VecDivConst_64fc", Unary(VecDivConst_64fc, kCd),
               [](Cd a, Cd, std::size_t) { return Over<Cd>(a.dRe, a.dIm, kCd.dRe, kCd.dIm); });
  CheckMap<Cd>("VecAddConstInPlace_64fc", WithConstant(VecAddConstInPlace_64fc, kCd),
               [](Cd, Cd b, std::size_t) {
                 return Cd{b.dRe + kCd.dRe, b.dIm + kCd.dIm};
               });
}

TEST(VecMap, FillAndConversion) {
  CheckMap<float>(
      "VecSet_32f",
      [](const float *, const float *, float *dst, int32_t n) { return VecSet_32f(kF, dst, n); },
      [](float, float, std::size_t) { return kF; });
  CheckMap<double>(
      "VecSet_64f",
      [](const double *, const double *, double *dst, int32_t n) { return VecSet_64f(kD, dst, n); },
      [](double, double, std::size_t) { return kD; });
  CheckMap<float>("VecCopy_32f", Unary<float, float>(VecCopy_32f),
                  [](float a, float, std::size_t) { return a; });
  CheckMap<float, double>("VecConvert_32f64f", Unary<float, double>(VecConvert_32f64f),
                          [](float a, float, std::size_t) { return double{a}; });
  CheckMap<double, float>("VecConvert_64f32f", Unary<double, float>(VecConvert_64f32f),
                          [](double a, double, std::size_t) {
                            if (std::fabs(a) > double{FLT_MAX}) return a > 0 ? FLT_MAX : -FLT_MAX;
                            return static_cast<float>(a);
                          });
  CheckMap<double>(
      "VecRamp_64f",
      [](const double *, const double *, double *dst, int32_t n) {
        return VecRamp_64f(dst, n, 0.1f, -3.3f);
      },
      [](double, double, std::size_t i) {
        return double{0.1f} + static_cast<double>(i) * double{-3.3f};
      });
}

TEST(VecMap, ToComplexTakesAMissingPartAsZero) {
  CheckMap<float, Cf>("VecToComplex_32f", VecToComplex_32f, [](float a, float b, std::size_t) {
    return Cf{a, b};
  });
  CheckMap<double, Cd>("VecToComplex_64f", VecToComplex_64f, [](double a, double b, std::size_t) {
    return Cd{a, b};
  });
  CheckMap<float, Cf>(
      "VecToComplex_32f without imaginary part",
      [](const float *a, const float *, Cf *dst, int32_t n) {
        return VecToComplex_32f(a, nullptr, dst, n);
      },
      [](float a, float, std::size_t) {
        return Cf{a, 0};
      });
  CheckMap<double, Cd>(
      "VecToComplex_64f without real part",
      [](const double *, const double *b, Cd *dst, int32_t n) {
        return VecToComplex_64f(nullptr, b, dst, n);
      },
      [](double, double b, std::size_t) {
        return Cd{0, b};
      });
}

// Conversions at the borders of the float range: half a unit beyond the largest float is the first
// number that rounding alone would make infinite, and below the smallest one results go to zero.
TEST(VecMap, NarrowingAtTheBorders) {
  const double largest = FLT_MAX, half_unit = 0x1p103;
  const double in[] = {1e300,
                       -1e300,
                       largest + half_unit,
                       largest + half_unit / 2,
                       HUGE_VAL,
                       -HUGE_VAL,
                       0x1p-150,
                       0x1.8p-150,
                       -0x1p-151};
  const float expected[] = {FLT_MAX,  -FLT_MAX, FLT_MAX,   FLT_MAX, FLT_MAX,
                            -FLT_MAX, 0.0f,     0x1p-149f, -0.0f};
  AtEachLevel([&] {
    float out[std::size(in)];
    ASSERT_EQ(VecConvert_64f32f(in, out, std::size(in)), 0);
    for (std::size_t i = 0; i < std::size(in); ++i) {
      EXPECT_TRUE(Same(out[i], expected[i])) << Text(in[i]) << " gave " << Text(double{out[i]});
    }
  });
}

// Known products and quotients, so that the formulas above are not their own judge.
TEST(VecMap, ComplexByHand) {
  AtEachLevel([] {
    Cd z[] = {{1, 2}, {0, 1}};
    const Cd w[] = {{3, 4}, {0, 1}};
    ASSERT_EQ(VecMulInPlace_64fc(w, z, 2), 0);  // (1 + 2i)(3 + 4i) = -5 + 10i, i i = -1
    EXPECT_TRUE(Same(z[0], Cd{-5, 10}) && Same(z[1], Cd{-1, 0})) << Text(z[0]);
    ASSERT_EQ(VecDivInPlace_64fc(w, z, 2), 0);
    EXPECT_TRUE(Same(z[0], Cd{1, 2}) && Same(z[1], Cd{0, 1})) << Text(z[0]);
    // The squares of these parts are beyond the float range, the quotient is not.
    Cf big = {2e30f, 4e30f};
    ASSERT_EQ(VecDivConstInPlace_32fc({0, 2e30f}, &big, 1), 0);
    EXPECT_TRUE(Same(big, Cf{2, -1})) << Text(big);
    // A zero divisor among the elements is not refused.
    Cd by_zero = {1, 0};
    const Cd zero = {0, 0};
    ASSERT_EQ(VecDivInPlace_64fc(&zero, &by_zero, 1), 0);
    EXPECT_FALSE(std::isfinite(by_zero.dRe));
  });
}

TEST(VecMap, InPlaceOnItself) {
  AtEachLevel([] {
    std::vector<float> x(37, 3.0f);
    ASSERT_EQ(VecAddInPlace_32f(x.data(), x.data(), 37), 0);
    EXPECT_EQ(x, std::vector<float>(37, 6.0f));
    ASSERT_EQ(VecSubInPlace_32f(x.data(), x.data(), 37), 0);
    EXPECT_EQ(x, std::vector<float>(37, 0.0f));
  });
}

TEST(VecMap, ConjugateMirror) {
  for (int32_t length : Lengths()) {
    const auto source = RandomArray<Cf>(static_cast<std::size_t>(length), 3);
    std::vector<Cf> apart(source.size()), in_place = source;
    ASSERT_EQ(VecConjMirror_32fc(source.data(), apart.data(), length), 0);
    ASSERT_EQ(VecConjMirror_32fc(in_place.data(), in_place.data(), length), 0);
    for (std::size_t i = 0; i < source.size(); ++i) {
      const Cf mirrored = source[source.size() - 1 - i];
      const Cf expected = {mirrored.fRe, -mirrored.fIm};
      ASSERT_TRUE(Same(apart[i], expected) && Same(in_place[i], expected))
          << "length " << length << " index " << i << " expected " << Text(expected) << " actual "
          << Text(apart[i]) << " and in place " << Text(in_place[i]);
    }
  }
}

}  // namespace
}  // namespace vomo::test
