// The continuous-time linear equaliser, applied to one waveform with any number of settings.
#ifndef VOMO_FILTERS_CTLE_H
#define VOMO_FILTERS_CTLE_H

#include <vomo.h>

#include <cstdint>
#include <memory>

#include "core/handle_table.h"
#include "primitives/alloc.h"
#include "primitives/dft.h"

namespace vomo {

// Whether the setting's gain and frequencies are above 0.
bool IsUsable(const VomoCTLEParams &setting);

// Transforms a waveform once and then equalises it with one setting after another. The waveform's
// ends are trimmed to meet, for the transform goes round in a circle.
class CtleStage {
 public:
  using Allocate = void *(*)(int32_t bytes);

  // allocate: where the work buffer of the transforms comes from.
  explicit CtleStage(Allocate allocate = VecAllocBytes) : allocate_(allocate) {}

  // When no more than the work buffer is missing, the waveform itself loses visible samples at its
  // end until a shorter transform can be had. PARAM_OUT_OF_RANGE for a sample interval not above 0
  // and when fewer than 7 samples are left to transform; PARAM_NOT_VALID for samples that are NULL;
  // MEMORY_ALLOCATION_FAILED, also by exception.
  VomoStatus Prepare(VomoWaveform &waveform);

  // After Prepare. Three samples more are hidden at either end of the result, where the circle
  // closes; hidden samples keep the waveform's values. ApplyOnce spends what Prepare made.
  VomoStatus Apply(const VomoCTLEParams &setting);
  VomoStatus ApplyOnce(const VomoCTLEParams &setting);

  // Holds what the latest setting made of the waveform, until the next one.
  BlockOf<VomoWaveform> &result() { return result_; }

 private:
  struct FreeBuffer {
    void operator()(void *buffer) const { VecFree(buffer); }
  };

  VomoStatus Trim(VomoWaveform &waveform);
  VomoStatus MakeTransform();
  bool HasBuffer() const { return buffer_size_ == 0 || buffer_ != nullptr; }
  VomoStatus Equalise(const VomoCTLEParams &setting, VomoComplexFloat *equalised);

  Allocate allocate_;
  BlockOf<VomoWaveform> result_;
  VomoWaveform trimmed_{};  // the record as it was before a result hid more
  Scratch<VomoComplexFloat> spectrum_;
  Scratch<VomoComplexFloat> equalised_;
  DftSpecOwner spec_;
  int32_t buffer_size_ = 0;
  std::unique_ptr<void, FreeBuffer> buffer_;
};

}  // namespace vomo

#endif
