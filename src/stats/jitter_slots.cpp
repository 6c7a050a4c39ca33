#include "stats/jitter_slots.h"

namespace vomo {
namespace {

constinit VomoJitterSlots g_slots{};

template <class Record>
void Publish(JitterSlotPair<Record> &slots) {
  const VomoHandle handle = slots.working.block.Release();
  // Without a block behind them the pointers must not reach the results.
  if (handle == 0) EmptyCurves(slots.working.record);
  slots.published.block.Hold(handle);
  slots.published.record = slots.working.record;
  // A rebuild that fails later would otherwise publish these pointers a second time, by then into a
  // freed block.
  EmptyCurves(slots.working.record);
}

}  // namespace

void EmptyCurves(VomoJitterPdfRecord &record) {
  record.ulBinCount = 0;
  record.pdPDF = nullptr;
}

void EmptyCurves(VomoJitterQRecord &record) {
  record.ulFitCount = 0;
  record.pdQFromRight = nullptr;
  record.pdQFromLeft = nullptr;
}

void EmptyCurves(VomoJitterSpectrumRecord &record) {
  record.ulBinCount = 0;
  record.pdRawMagnitude = nullptr;
  record.pdFilteredMagnitude = nullptr;
  record.ulDiffBinCount = 0;
  record.pdDiffMagnitude = nullptr;
}

VomoJitterSlots &JitterSlots() {
  return g_slots;
}

void Vomo_PublishJitterPdf() {
  Publish(g_slots.pdf);
}

void Vomo_PublishJitterQ() {
  Publish(g_slots.q);
}

void Vomo_PublishJitterSpectrum() {
  Publish(g_slots.spectrum);
}

}  // namespace vomo
