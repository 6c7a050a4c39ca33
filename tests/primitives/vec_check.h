// Drives a vector operation through lengths, misalignments, special values, aliasings and processor
// levels, and compares it with a scalar reference.
#ifndef VOMO_TESTS_PRIMITIVES_VEC_CHECK_H
#define VOMO_TESTS_PRIMITIVES_VEC_CHECK_H

#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "primitives/cpu_level.h"

namespace vomo::test {

// Runs the body at each level that this machine can run, then goes back to the best.
template <class Body>
void AtEachLevel(Body body) {
  constexpr struct {
    CpuLevel level;
    const char *name;
  } kLevels[] = {
      {CpuLevel::kBaseline, "baseline"}, {CpuLevel::kAvx2, "AVX2"}, {CpuLevel::kAvx512, "AVX-512"}};
  for (const auto &[level, name] : kLevels) {
    if (!ForceCpuLevel(level)) continue;
    SCOPED_TRACE(name);
    body();
  }
  SelectCpuLevel();
}

// Every length up to beyond four of the widest vectors, then the borders of larger blocks.
inline std::vector<int32_t> Lengths() {
  std::vector<int32_t> lengths;
  for (int32_t length = 1; length <= 70; ++length) lengths.push_back(length);
  for (int32_t length : {127, 128, 129, 255, 1023, 1024, 1025, 2049, 4099}) {
    lengths.push_back(length);
  }
  return lengths;
}

inline std::string Text(double value) {
  std::ostringstream out;
  out << std::setprecision(17) << value << " (" << std::hexfloat << value << ")";
  return out.str();
}
inline std::string Text(VomoComplexFloat z) {
  return Text(double{z.fRe}) + " + i " + Text(double{z.fIm});
}
inline std::string Text(VomoComplexDouble z) {
  return Text(z.dRe) + " + i " + Text(z.dIm);
}

// The same bits, except that every NaN equals every other.
template <class T>
requires std::is_arithmetic_v<T>
bool Same(T a, T b) {
  return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
}
inline bool Same(VomoComplexFloat a, VomoComplexFloat b) {
  return Same(a.fRe, b.fRe) && Same(a.fIm, b.fIm);
}
inline bool Same(VomoComplexDouble a, VomoComplexDouble b) {
  return Same(a.dRe, b.dRe) && Same(a.dIm, b.dIm);
}

template <class T>
struct PartOf {
  using Type = T;
};
template <>
struct PartOf<VomoComplexFloat> {
  using Type = float;
};
template <>
struct PartOf<VomoComplexDouble> {
  using Type = double;
};
template <class T>
using Part = typename PartOf<T>::Type;

// An ordinary number of one of many magnitudes, or now and then one that arithmetic treats
// specially.
template <class T>
T RandomValue(std::mt19937 &random) {
  if constexpr (std::is_same_v<T, Part<T>>) {
    using Limits = std::numeric_limits<T>;
    constexpr T kSpecial[] = {T{0},
                              -T{0},
                              T{1},
                              T{-1},
                              Limits::infinity(),
                              -Limits::infinity(),
                              Limits::quiet_NaN(),
                              Limits::denorm_min(),
                              -Limits::denorm_min(),
                              Limits::min(),
                              Limits::max(),
                              Limits::lowest()};
    const uint32_t choice = random() % 64;
    if (choice < std::size(kSpecial)) return kSpecial[choice];
    std::uniform_real_distribution<double> mantissa(-2, 2);
    std::uniform_int_distribution<int> exponent(-8, 8);
    return static_cast<T>(std::ldexp(mantissa(random), exponent(random)));
  } else {
    const Part<T> re = RandomValue<Part<T>>(random);
    return {re, RandomValue<Part<T>>(random)};
  }
}

template <class T>
std::vector<T> RandomArray(std::size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<T> values(count);
  for (T &value : values) value = RandomValue<T>(random);
  return values;
}

enum class Aliasing { kSeparate, kDstIsA, kDstIsB };

// One run at one length, offset and aliasing: status 0, each element as the reference says, the
// sources and the elements around the destination unchanged. False at the first deviation.
template <class Src, class Dst, class Run, class Reference>
bool RunOnce(const std::string &name, int32_t length, std::size_t offset, Aliasing aliasing,
             const std::vector<Src> &a_values, const std::vector<Src> &b_values, Run run,
             Reference reference) {
  const auto count = static_cast<std::size_t>(length);
  const auto compare = [&](const char *what, std::size_t i, auto expected, auto actual) {
    if (Same(expected, actual)) return true;
    ADD_FAILURE() << name << ": " << what << " length " << length << " offset " << offset
                  << " aliasing " << static_cast<int>(aliasing) << " index " << i << "\n  a "
                  << Text(a_values[offset + i]) << "\n  b " << Text(b_values[offset + i])
                  << "\n  expected " << Text(expected) << "\n  actual   " << Text(actual);
    return false;
  };
  std::vector<Src> a = a_values, b = b_values;
  std::vector<Dst> separate(offset + count + 1, Dst{});
  Dst *dst = separate.data() + offset;
  if constexpr (std::is_same_v<Src, Dst>) {
    if (aliasing == Aliasing::kDstIsA) dst = a.data() + offset;
    if (aliasing == Aliasing::kDstIsB) dst = b.data() + offset;
  }
  const Dst behind = dst[count];
  if (run(a.data() + offset, b.data() + offset, dst, length) != 0) {
    ADD_FAILURE() << name << ": status";
    return false;
  }
  if (!compare("behind the end", 0, behind, dst[count])) return false;
  for (std::size_t i = 0; i < count; ++i) {
    const Dst expected = reference(a_values[offset + i], b_values[offset + i], i);
    if (!compare("result", i, expected, dst[i])) return false;
    if (aliasing != Aliasing::kDstIsA &&
        !compare("source a", i, a_values[offset + i], a[offset + i]))
      return false;
    if (aliasing != Aliasing::kDstIsB &&
        !compare("source b", i, b_values[offset + i], b[offset + i]))
      return false;
  }
  return true;
}

// run(a, b, dst, length) against reference(a[i], b[i], i), bit for bit, over everything.
template <class Src, class Dst = Src, class Run, class Reference>
void CheckMap(const std::string &name, Run run, Reference reference) {
  const std::vector<Src> a = RandomArray<Src>(4200, 1), b = RandomArray<Src>(4200, 2);
  AtEachLevel([&] {
    for (int32_t length : Lengths()) {
      for (std::size_t offset : {0u, 1u, 3u}) {
        for (Aliasing aliasing : {Aliasing::kSeparate, Aliasing::kDstIsA, Aliasing::kDstIsB}) {
          if (!std::is_same_v<Src, Dst> && aliasing != Aliasing::kSeparate) continue;
          if (!RunOnce<Src, Dst>(name, length, offset, aliasing, a, b, run, reference)) return;
        }
      }
    }
  });
}

}  // namespace vomo::test

#endif
