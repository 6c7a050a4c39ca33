// The jitter curves that survive a call: the working records that a run builds and the published
// ones that the results of the last successful run point into.
#ifndef VOMO_STATS_JITTER_SLOTS_H
#define VOMO_STATS_JITTER_SLOTS_H

#include <vomo.h>

#include <cstdint>
#include <utility>

#include "core/handle_table.h"

namespace vomo {

// A handle that the library keeps from one call to the next. In between the application may empty
// the handle table as a whole, after which the number can belong to another owner's block; such a
// handle counts as none and is never freed.
class HeldHandle {
 public:
  // Keeps a handle obtained since the table was last emptied; what was kept before is freed.
  void Hold(VomoHandle handle) {
    Free();
    handle_ = handle;
    generation_ = HandleGeneration();
  }
  // Gives the handle up to a new owner; 0 if there is none.
  VomoHandle Release() {
    const VomoHandle handle = std::exchange(handle_, 0u);
    return generation_ == HandleGeneration() ? handle : 0;
  }
  VomoStatus Free() { return Vomo_HANDLE_FREE(Release()); }

 private:
  VomoHandle handle_ = 0;
  uint64_t generation_ = 0;
};

// Leaves a record without curves: counts 0, pointers NULL.
void EmptyCurves(VomoJitterPdfRecord &record);
void EmptyCurves(VomoJitterQRecord &record);
void EmptyCurves(VomoJitterSpectrumRecord &record);

// A record and the block that its pointers lead into.
template <class Record>
struct JitterSlot {
  Record record{};
  HeldHandle block;

  void Drop() {
    block.Free();
    EmptyCurves(record);
  }
};

template <class Record>
struct JitterSlotPair {
  JitterSlot<Record> working, published;
};

struct VomoJitterSlots {
  JitterSlotPair<VomoJitterPdfRecord> pdf;
  JitterSlotPair<VomoJitterQRecord> q;
  JitterSlotPair<VomoJitterSpectrumRecord> spectrum;
};

// The one instance in the process. Unguarded: one run at a time.
VomoJitterSlots &JitterSlots();

// Each ends the published curves of its kind and puts the working ones in their place; the working
// record is then without curves.
void Vomo_PublishJitterPdf();
void Vomo_PublishJitterQ();
void Vomo_PublishJitterSpectrum();

}  // namespace vomo

#endif
