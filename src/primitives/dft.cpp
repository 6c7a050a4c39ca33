#include "primitives/dft.h"

#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "primitives/alloc.h"
#include "primitives/dft_fftw.h"
#include "primitives/status_text.h"

namespace vomo {
namespace {

enum class DftType { kComplexFloat, kComplexDouble, kRealFloat, kRealDouble };

}  // namespace

struct DftSpec {
  DftSpec(DftType spec_type, int32_t spec_length) : type(spec_type), length(spec_length) {}
  virtual ~DftSpec() = default;

  DftType type;
  int32_t length;
  double forward_divisor = 1;
  double inverse_divisor = 1;
};

namespace fftw {
std::mutex &PlannerMutex() {
  static std::mutex mutex;
  return mutex;
}
}  // namespace fftw

namespace {

template <class T>
struct FreeBlock {
  void operator()(T *block) const { std::free(block); }
};

// Aligned working memory; throws std::bad_alloc.
template <class T>
class Work {
 public:
  T *Reserve(int64_t count) {
    if (data_ == nullptr) {
      const auto bytes = (static_cast<std::size_t>(count) * sizeof(T) + 63) / 64 * 64;
      data_.reset(static_cast<T *>(std::aligned_alloc(64, bytes)));
      if (data_ == nullptr) throw std::bad_alloc();
    }
    return data_.get();
  }

 private:
  std::unique_ptr<T, FreeBlock<T>> data_;
};

template <class T>
void Divide(T *values, int64_t count, double divisor) {
  if (divisor == 1) return;
  for (int64_t i = 0; i < count; ++i) values[i] = static_cast<T>(values[i] / divisor);
}

// Plans of one direction by what they depend on, made when first needed: most specifications run
// once.
template <class Real>
class PlanSet {
 public:
  template <class In, class Out, class MakePlan>
  void Run(In *in, Out *out, MakePlan make) {
    using Plan = fftw::Plan<Real>;
    const bool in_place = static_cast<void *>(in) == static_cast<void *>(out);
    const bool aligned = Plan::Aligned(in) && Plan::Aligned(out);
    Plan &plan = plans_[(in_place ? 2u : 0u) + (aligned ? 1u : 0u)];
    if (!plan) plan = make(in, out);
    plan.Run(in, out);
  }

 private:
  std::array<fftw::Plan<Real>, 4> plans_;
};

template <class Real, DftType kType>
struct ComplexSpec : DftSpec {
  using Complex = std::complex<Real>;
  explicit ComplexSpec(int32_t spec_length) : DftSpec(kType, spec_length) {}

  void Run(Complex *src, Complex *dst, int sign) {
    const auto make = [&](Complex *in, Complex *out) {
      return fftw::Plan<Real>::ForComplex({length}, in, out, sign);
    };
    (sign == FFTW_FORWARD ? forward : inverse).Run(src, dst, make);
    Divide(reinterpret_cast<Real *>(dst), 2 * int64_t{length},
           sign == FFTW_FORWARD ? forward_divisor : inverse_divisor);
  }

  PlanSet<Real> forward;
  PlanSet<Real> inverse;
};

template <class Real, DftType kType>
struct RealSpec : DftSpec {
  using Complex = std::complex<Real>;
  explicit RealSpec(int32_t spec_length) : DftSpec(kType, spec_length) {}

  int64_t BinCount() const { return length / 2 + 1; }

  void Forward(Real *src, Complex *dst) {
    if (static_cast<void *>(src) == static_cast<void *>(dst)) {
      auto *copy = reinterpret_cast<Real *>(work.Reserve(BinCount()));
      std::memcpy(copy, src, sizeof(Real) * static_cast<std::size_t>(length));
      src = copy;
    }
    forward.Run(src, dst, [&](Real *in, Complex *out) {
      return fftw::Plan<Real>::ForRealToBins(length, in, out);
    });
    dst[0].imag(0);
    if (length % 2 == 0) dst[length / 2].imag(0);
    Divide(reinterpret_cast<Real *>(dst), 2 * BinCount(), forward_divisor);
  }

  // FFTW uses up the bins that it is given.
  void Inverse(const Complex *src, Real *dst) {
    Complex *bins = work.Reserve(BinCount());
    std::memcpy(static_cast<void *>(bins), src,
                sizeof(Complex) * static_cast<std::size_t>(BinCount()));
    bins[0].imag(0);
    if (length % 2 == 0) bins[length / 2].imag(0);
    inverse.Run(bins, dst, [&](Complex *in, Real *out) {
      return fftw::Plan<Real>::ForBinsToReal(length, in, out);
    });
    Divide(dst, length, inverse_divisor);
  }

  PlanSet<Real> forward;
  PlanSet<Real> inverse;
  Work<Complex> work;
};

using SpecC32 = ComplexSpec<float, DftType::kComplexFloat>;
using SpecC64 = ComplexSpec<double, DftType::kComplexDouble>;
using SpecR32 = RealSpec<float, DftType::kRealFloat>;
using SpecR64 = RealSpec<double, DftType::kRealDouble>;

// False for an unknown flag.
bool SetScaling(DftSpec &spec, int32_t flag) {
  const double length = spec.length;
  switch (flag) {
    case kDftDivideForward:
      spec.forward_divisor = length;
      return true;
    case kDftDivideInverse:
      spec.inverse_divisor = length;
      return true;
    case kDftDivideBoth:
      spec.forward_divisor = spec.inverse_divisor = std::sqrt(length);
      return true;
    case kDftDivideNeither:
      return true;
    default:
      return false;
  }
}

template <class Body>
int32_t WithinMemory(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return kMemAllocError;
  }
}

template <class Spec>
int32_t Create(DftSpec **result, int32_t length, int32_t flag) {
  if (length <= 0) return kSizeError;
  if (result == nullptr) return kNullPtrError;
  return WithinMemory([&] {
    DftSpecOwner spec(new Spec(length));
    if (!SetScaling(*spec, flag)) return kFftFlagError;
    *result = spec.release();
    return kNoError;
  });
}

template <class Spec>
constexpr DftType kTypeOf{};
template <class Real, DftType kType>
constexpr DftType kTypeOf<ComplexSpec<Real, kType>> = kType;
template <class Real, DftType kType>
constexpr DftType kTypeOf<RealSpec<Real, kType>> = kType;

template <class Spec>
int32_t Check(const DftSpec *spec) {
  if (spec == nullptr) return kNullPtrError;
  return spec->type == kTypeOf<Spec> ? kNoError : kContextMatchError;
}

template <class Spec>
int32_t Free(DftSpec *spec) {
  const int32_t status = Check<Spec>(spec);
  if (status == kNoError) DftSpecDeleter{}(spec);
  return status;
}

// Values of the public complex types are read as std::complex, which has the same layout.
template <class Public>
struct Inner {
  using Type = Public;
};
template <>
struct Inner<VomoComplexFloat> {
  using Type = std::complex<float>;
};
template <>
struct Inner<VomoComplexDouble> {
  using Type = std::complex<double>;
};
template <class Public>
auto *AsInner(const Public *values) {
  return reinterpret_cast<typename Inner<Public>::Type *>(const_cast<Public *>(values));
}

template <class Spec, class Src, class Dst, class Body>
int32_t Run(const Src *src, Dst *dst, DftSpec *spec, Body body) {
  if (src == nullptr || dst == nullptr) return kNullPtrError;
  const int32_t status = Check<Spec>(spec);
  if (status != kNoError) return status;
  return WithinMemory([&] {
    body(static_cast<Spec &>(*spec), AsInner(src), AsInner(dst));
    return kNoError;
  });
}

constexpr auto kForwardComplex = [](auto &spec, auto *src, auto *dst) {
  spec.Run(src, dst, FFTW_FORWARD);
};
constexpr auto kInverseComplex = [](auto &spec, auto *src, auto *dst) {
  spec.Run(src, dst, FFTW_BACKWARD);
};
constexpr auto kForwardReal = [](auto &spec, auto *src, auto *dst) { spec.Forward(src, dst); };
constexpr auto kInverseReal = [](auto &spec, auto *src, auto *dst) { spec.Inverse(src, dst); };

}  // namespace

void DftSpecDeleter::operator()(DftSpec *spec) const {
  delete spec;
}

int32_t DftSpecCreate_C_32fc(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t) {
  return Create<SpecC32>(ppSpec, iLen, iFlag);
}
int32_t DftSpecCreate_C_64fc(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t) {
  return Create<SpecC64>(ppSpec, iLen, iFlag);
}
int32_t DftSpecCreate_R_32f(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t) {
  return Create<SpecR32>(ppSpec, iLen, iFlag);
}
int32_t DftSpecCreate_R_64f(DftSpec **ppSpec, int32_t iLen, int32_t iFlag, int32_t) {
  return Create<SpecR64>(ppSpec, iLen, iFlag);
}

int32_t DftSpecFree_C_32fc(DftSpec *pSpec) {
  return Free<SpecC32>(pSpec);
}
int32_t DftSpecFree_C_64fc(DftSpec *pSpec) {
  return Free<SpecC64>(pSpec);
}
int32_t DftSpecFree_R_32f(DftSpec *pSpec) {
  return Free<SpecR32>(pSpec);
}
int32_t DftSpecFree_R_64f(DftSpec *pSpec) {
  return Free<SpecR64>(pSpec);
}

int32_t DftScratchSize_R_32f(const DftSpec *pSpec, int32_t *pSize) {
  if (pSize == nullptr) return kNullPtrError;
  const int32_t status = Check<SpecR32>(pSpec);
  if (status == kNoError) *pSize = 32;
  return status;
}

int32_t DftForward_C_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC32>(pSrc, pDst, pSpec, kForwardComplex);
}
int32_t DftForward_C_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC64>(pSrc, pDst, pSpec, kForwardComplex);
}
int32_t DftInverse_C_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC32>(pSrc, pDst, pSpec, kInverseComplex);
}
int32_t DftInverse_C_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC64>(pSrc, pDst, pSpec, kInverseComplex);
}

int32_t DftForward_R_32f(const float *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR32>(pSrc, pDst, pSpec, kForwardReal);
}
int32_t DftForward_R_64f(const double *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR64>(pSrc, pDst, pSpec, kForwardReal);
}
int32_t DftInverse_R_32f(const VomoComplexFloat *pSrc, float *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR32>(pSrc, pDst, pSpec, kInverseReal);
}
int32_t DftInverse_R_64f(const VomoComplexDouble *pSrc, double *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR64>(pSrc, pDst, pSpec, kInverseReal);
}

}  // namespace vomo
