// What the vector operations and the allocators refuse.
#include <array>
#include <type_traits>
#include <utility>

#include "primitives/alloc.h"
#include "primitives/vec.h"
#include "vec_check.h"

namespace vomo::test {
namespace {

// One array for each argument of an operation, with a content that a write would change.
template <std::size_t kCount>
struct Arrays {
  static constexpr unsigned char kContent = 0x3C;
  alignas(16) std::array<std::array<unsigned char, 64>, kCount> bytes;

  Arrays() {
    for (auto &array : bytes) array.fill(kContent);
  }
  bool Untouched() const {
    for (const auto &array : bytes) {
      for (unsigned char byte : array) {
        if (byte != kContent) return false;
      }
    }
    return true;
  }
};

// A pointer to the array, or NULL; integers (lengths, hints, scales) get the length; values get 1.
template <class Argument>
Argument Make(std::array<unsigned char, 64> &array, bool null, int32_t length) {
  if constexpr (std::is_pointer_v<Argument>) {
    return null ? nullptr : reinterpret_cast<Argument>(array.data());
  } else if constexpr (std::is_same_v<Argument, int32_t>) {
    return length;
  } else if constexpr (std::is_arithmetic_v<Argument>) {
    return Argument{1};
  } else {
    return Argument{1, 1};
  }
}

template <class... Arguments, std::size_t... i>
int32_t Call(int32_t (*operation)(Arguments...), Arrays<sizeof...(Arguments)> &arrays,
             int64_t null_mask, int32_t length, std::index_sequence<i...>) {
  return operation(Make<Arguments>(arrays.bytes[i], (null_mask >> i & 1) != 0, length)...);
}

template <class... Arguments>
void CheckRefusals(const char *name, int32_t (*operation)(Arguments...)) {
  constexpr bool kIsPointer[] = {std::is_pointer_v<Arguments>...};
  constexpr std::index_sequence_for<Arguments...> kIndices;
  Arrays<sizeof...(Arguments)> arrays;
  for (int32_t length : {0, -1, INT32_MIN}) {
    EXPECT_EQ(Call(operation, arrays, 0, length, kIndices), -6) << name << " length " << length;
    EXPECT_EQ(Call(operation, arrays, -1, length, kIndices), -6) << name << ": -6 before -8";
  }
  for (std::size_t i = 0; i < sizeof...(Arguments); ++i) {
    if (!kIsPointer[i]) continue;
    EXPECT_EQ(Call(operation, arrays, int64_t{1} << i, 2, kIndices), -8)
        << name << " NULL as argument " << i;
  }
  EXPECT_TRUE(arrays.Untouched()) << name;
}

#define REFUSES(operation) CheckRefusals(#operation, operation)

TEST(VecRefusal, LengthThenPointers) {
  REFUSES(VecSet_32f);
  REFUSES(VecSet_64f);
  REFUSES(VecCopy_32f);
  REFUSES(VecConvert_32f64f);
  REFUSES(VecConvert_64f32f);
  REFUSES(VecRamp_64f);
  REFUSES(VecAdd_32f);
  REFUSES(VecAdd_32fc);
  REFUSES(VecAdd_64fc);
  REFUSES(VecAddInPlace_32f);
  REFUSES(VecAddInPlace_64fc);
  REFUSES(VecSub_32f);
  REFUSES(VecSub_64f);
  REFUSES(VecSub_32fc);
  REFUSES(VecSub_64fc);
  REFUSES(VecSubInPlace_32f);
  REFUSES(VecMul_64f);
  REFUSES(VecMul_32fc);
  REFUSES(VecMul_64fc);
  REFUSES(VecMulInPlace_32fc);
  REFUSES(VecMulInPlace_64fc);
  REFUSES(VecDivInPlace_64fc);
  REFUSES(VecSquare_64f);
  REFUSES(VecScale_32f);
  REFUSES(VecScale_64f);
  REFUSES(VecScaleInPlace_32f);
  REFUSES(VecScaleInPlace_64f);
  REFUSES(VecScaleInPlace_32fc);
  REFUSES(VecScaleInPlace_64fc);
  REFUSES(VecDivConstInPlace_32f);
  REFUSES(VecDivConstInPlace_64f);
  REFUSES(VecDivConstInPlace_32fc);
  REFUSES(VecDivConst_64fc);
  REFUSES(VecConstMinus_64f);
  REFUSES(VecSubConst_64f);
  REFUSES(VecSubConstInPlace_32f);
  REFUSES(VecSubConstInPlace_64f);
  REFUSES(VecAddConstInPlace_64f);
  REFUSES(VecAddConstInPlace_64fc);
  REFUSES(VecLnInPlace_64f);
  REFUSES(VecLog10_32f);
  REFUSES(VecErfInv_64f);
  REFUSES(VecMagnitude_32fc);
  REFUSES(VecMagnitude_64fc);
  REFUSES(VecToPolar_32fc);
  REFUSES(VecFromPolar_32f);
  REFUSES(VecConjMirror_32fc);
  REFUSES(VecMean_32f);
  REFUSES(VecMean_64f);
  REFUSES(VecSum_64f);
  REFUSES(VecSum_16s);
  REFUSES(VecSum_32s);
  REFUSES(VecMax_16s);
  REFUSES(VecMinMax_32f);
  REFUSES(VecMinMax_64f);
  REFUSES(VecMinMaxIndex_32f);
  REFUSES(VecMinMaxIndex_64f);
  REFUSES(VecStdDev_32f);
  REFUSES(VecStdDev_64f);
}

TEST(VecRefusal, ToComplexNeedsOnePart) {
  float part = 1;
  VomoComplexFloat z = {7, 7};
  EXPECT_EQ(VecToComplex_32f(nullptr, nullptr, &z, 0), -6);
  EXPECT_EQ(VecToComplex_32f(nullptr, nullptr, &z, 1), -8);
  EXPECT_EQ(VecToComplex_32f(&part, &part, nullptr, 1), -8);
  EXPECT_TRUE(Same(z, VomoComplexFloat{7, 7}));
}

TEST(VecRefusal, DivisionByConstantZero) {
  float real = 7;
  double real_double = 7;
  VomoComplexFloat z = {7, 7};
  VomoComplexDouble w = {7, 7};
  for (double zero : {0.0, -0.0}) {
    const auto zero_float = static_cast<float>(zero);
    EXPECT_EQ(VecDivConstInPlace_32f(zero_float, &real, 1), -10);
    EXPECT_EQ(VecDivConstInPlace_64f(zero, &real_double, 1), -10);
    EXPECT_EQ(VecDivConstInPlace_32fc({zero_float, 0}, &z, 1), -10);
    EXPECT_EQ(VecDivConst_64fc(&w, {0, zero}, &w, 1), -10);
    EXPECT_EQ(VecDivConstInPlace_64f(zero, nullptr, 1), -8);
    EXPECT_EQ(VecDivConst_64fc(nullptr, {0, zero}, &w, 0), -6);
  }
  EXPECT_TRUE(Same(real, 7.0f) && Same(real_double, 7.0) && Same(z, VomoComplexFloat{7, 7}) &&
              Same(w, VomoComplexDouble{7, 7}));
  // One part is enough for a divisor.
  EXPECT_EQ(VecDivConst_64fc(&w, {0, 7}, &w, 1), 0);
  EXPECT_TRUE(Same(w, VomoComplexDouble{1, -1})) << Text(w);
}

TEST(Allocation, AlignedOrNull) {
  for (int32_t count : {1, 3, 1000}) {
    void *blocks[] = {VecAllocBytes(count), VecAlloc_32f(count), VecAlloc_64f(count),
                      VecAlloc_32fc(count)};
    const std::size_t sizes[] = {1, sizeof(float), sizeof(double), sizeof(VomoComplexFloat)};
    for (std::size_t i = 0; i < std::size(blocks); ++i) {
      ASSERT_NE(blocks[i], nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(blocks[i]) % 32, 0u);
      std::memset(blocks[i], 1, sizes[i] * static_cast<std::size_t>(count));
      VecFree(blocks[i]);
    }
  }
  for (int32_t count : {0, -1, INT32_MIN}) {
    EXPECT_EQ(VecAllocBytes(count), nullptr);
    EXPECT_EQ(VecAlloc_32f(count), nullptr);
    EXPECT_EQ(VecAlloc_64f(count), nullptr);
    EXPECT_EQ(VecAlloc_32fc(count), nullptr);
  }
  VecFree(nullptr);
}

}  // namespace
}  // namespace vomo::test
