#include "primitives/dft.h"

#include <cmath>
#include <complex>
#include <new>
#include <optional>

#include "primitives/dft_complex.h"
#include "primitives/dft_real.h"
#include "primitives/status_text.h"

namespace vomo {
namespace {

enum class DftType { kComplexFloat, kComplexDouble, kRealFloat, kRealDouble };

}  // namespace

struct DftSpec {
  DftSpec(DftType spec_type, int64_t spec_length) : type(spec_type), length(spec_length) {}
  virtual ~DftSpec() = default;

  DftType type;
  int64_t length;
  double forward_scale = 1;
  double inverse_scale = 1;
};

namespace {

// Tables and plans are made by the first run: a caller that finds out that it has no room for the
// result has not waited for them.
template <class Transform, DftType kType>
class SpecOf : public DftSpec {
 public:
  static constexpr DftType kSpecType = kType;
  explicit SpecOf(int64_t spec_length) : DftSpec(kType, spec_length) {}

  template <class Src, class Dst>
  void Forward(const Src *src, Dst *dst) {
    Prepared().Forward(src, dst, forward_scale);
  }
  template <class Src, class Dst>
  void Inverse(const Src *src, Dst *dst) {
    Prepared().Inverse(src, dst, inverse_scale);
  }

 private:
  Transform &Prepared() {
    if (!transform_) transform_.emplace(length);
    return *transform_;
  }

  std::optional<Transform> transform_;
};

using SpecC32 = SpecOf<ComplexDft<float>, DftType::kComplexFloat>;
using SpecC64 = SpecOf<ComplexDft<double>, DftType::kComplexDouble>;
using SpecR32 = SpecOf<RealDft<float>, DftType::kRealFloat>;
using SpecR64 = SpecOf<RealDft<double>, DftType::kRealDouble>;

struct Scales {
  double forward, inverse;
};

std::optional<Scales> ScalesOf(int32_t flag, double length) {
  switch (flag) {
    case kDftDivideForward:
      return Scales{1 / length, 1};
    case kDftDivideInverse:
      return Scales{1, 1 / length};
    case kDftDivideBoth:
      return Scales{1 / std::sqrt(length), 1 / std::sqrt(length)};
    case kDftDivideNeither:
      return Scales{1, 1};
    default:
      return std::nullopt;
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
  const std::optional<Scales> scales = ScalesOf(flag, length);
  if (!scales) return kFftFlagError;
  return WithinMemory([&] {
    auto *spec = new Spec(length);
    spec->forward_scale = scales->forward;
    spec->inverse_scale = scales->inverse;
    *result = spec;
    return kNoError;
  });
}

template <class Spec>
int32_t Check(const DftSpec *spec) {
  if (spec == nullptr) return kNullPtrError;
  return spec->type == Spec::kSpecType ? kNoError : kContextMatchError;
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

constexpr auto kForward = [](auto &spec, auto *src, auto *dst) { spec.Forward(src, dst); };
constexpr auto kInverse = [](auto &spec, auto *src, auto *dst) { spec.Inverse(src, dst); };

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
  return Run<SpecC32>(pSrc, pDst, pSpec, kForward);
}
int32_t DftForward_C_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC64>(pSrc, pDst, pSpec, kForward);
}
int32_t DftInverse_C_32fc(const VomoComplexFloat *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC32>(pSrc, pDst, pSpec, kInverse);
}
int32_t DftInverse_C_64fc(const VomoComplexDouble *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec,
                          void *) {
  return Run<SpecC64>(pSrc, pDst, pSpec, kInverse);
}

int32_t DftForward_R_32f(const float *pSrc, VomoComplexFloat *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR32>(pSrc, pDst, pSpec, kForward);
}
int32_t DftForward_R_64f(const double *pSrc, VomoComplexDouble *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR64>(pSrc, pDst, pSpec, kForward);
}
int32_t DftInverse_R_32f(const VomoComplexFloat *pSrc, float *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR32>(pSrc, pDst, pSpec, kInverse);
}
int32_t DftInverse_R_64f(const VomoComplexDouble *pSrc, double *pDst, DftSpec *pSpec, void *) {
  return Run<SpecR64>(pSrc, pDst, pSpec, kInverse);
}

}  // namespace vomo
