// Folds a stretch of a waveform over the intervals of its clock into the points of an eye diagram.
#include <cstring>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "eye/diagram_points.h"

namespace vomo {
namespace {

// The arrays of a diagram in its block: doubles, floats, indices.
struct PointArrays {
  PointArrays(void *block, uint32_t capacity, bool with_indices)
      : x(static_cast<double *>(block)),
        y(reinterpret_cast<float *>(x + capacity)),
        interval(with_indices ? reinterpret_cast<uint32_t *>(y + capacity) : nullptr) {}

  void Store(Trace &trace, double ui_s, uint32_t at) const {
    NextAbscissae(trace, ui_s, trace.count, x + at);
    std::memcpy(y + at, trace.samples, trace.count * sizeof(float));
    if (interval != nullptr) std::fill_n(interval + at, trace.count, trace.interval);
  }

  double *x;
  float *y;
  uint32_t *interval;
};

VomoStatus MakeDiagram(const DiagramRequest &request, bool with_indices, VomoTemplate *diagram,
                       VomoHandle *handle) {
  const uint32_t capacity = DiagramCapacity(request);
  Block block = Block::Allocate(capacity, with_indices ? kIndexedPointBytes : kPointBytes);
  const PointArrays arrays(block.memory(), capacity, with_indices);
  uint32_t stored = 0;
  TraceWalk(request).Run(capacity, [&](Trace &trace) {
    arrays.Store(trace, request.ui_s, stored);
    stored += static_cast<uint32_t>(trace.count);
  });
  *diagram = {stored, arrays.x, arrays.y, arrays.interval, -1.0, 0.0f};
  *handle = block.Release();
  return Vomo_STATUS_SUCCESS;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_SINGLE_DIAGRAM(
    uint32_t eDiagramType, uint32_t bWithIntervalIdx, double dUI, const VomoWaveform *psWaveform,
    uint32_t ulFirstInterval, uint32_t ulLastInterval, const VomoCrossoverData *psClock,
    uint32_t ulClockOffset, const double *pdIntervalError, double dEyePlotWrapLeftValue,
    double dEyePlotWrapRightValue, VomoTemplate *psDiagram, VomoHandle *pHandle) noexcept {
  if (psDiagram == nullptr || pHandle == nullptr) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const DiagramRequest request{
      eDiagramType, dUI,           psWaveform,      ulFirstInterval,       ulLastInterval,
      psClock,      ulClockOffset, pdIntervalError, dEyePlotWrapLeftValue, dEyePlotWrapRightValue};
  const VomoStatus status = CheckRequest(request);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  return Guarded([&] { return MakeDiagram(request, bWithIntervalIdx != 0, psDiagram, pHandle); });
}
