// Runs a transform and speaks the library's status words.
#ifndef VOMO_CORE_RUN_TRANSFORM_H
#define VOMO_CORE_RUN_TRANSFORM_H

#include <vomo.h>

#include <cstdint>

#include "core/status.h"
#include "primitives/dft.h"
#include "primitives/status_text.h"

namespace vomo {

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
