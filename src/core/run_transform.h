// Makes and runs transforms and speaks the library's status words.
#ifndef VOMO_CORE_RUN_TRANSFORM_H
#define VOMO_CORE_RUN_TRANSFORM_H

#include <vomo.h>

#include <cstdint>
#include <limits>

#include "core/status.h"
#include "primitives/dft.h"
#include "primitives/status_text.h"

namespace vomo {

// The primitives count in signed 32 bits; a length beyond becomes one that they refuse.
inline int32_t PrimitiveLength(uint64_t count) {
  return count <= std::numeric_limits<int32_t>::max() ? static_cast<int32_t>(count) : 0;
}

// create: a Dft creation operation.
inline VomoStatus CreateTransform(int32_t (*create)(DftSpec **, int32_t, int32_t, int32_t),
                                  uint64_t length, int32_t flag, DftSpecOwner &spec) {
  DftSpec *created = nullptr;
  const int32_t status = create(&created, PrimitiveLength(length), flag, 0);
  if (status != kNoError) return PrimitiveFailure(status, Vomo_STATUS_FFT_DESCRIPTOR_ERROR);
  spec.reset(created);
  return Vomo_STATUS_SUCCESS;
}

// run: a Dft run operation from Src to Dst.
template <class Src, class Dst>
VomoStatus RunTransform(int32_t (*run)(const Src *, Dst *, DftSpec *, void *), const Src *source,
                        Dst *out, const DftSpecOwner &spec, void *work = nullptr) {
  const int32_t status = run(source, out, spec.get(), work);
  return status == kNoError ? Vomo_STATUS_SUCCESS
                            : PrimitiveFailure(status, Vomo_STATUS_FFT_COMPUTE_ERROR);
}

}  // namespace vomo

#endif
