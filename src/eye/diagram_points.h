// The points of a diagram one after the other, without the diagram.
#ifndef VOMO_EYE_DIAGRAM_POINTS_H
#define VOMO_EYE_DIAGRAM_POINTS_H

#include <new>

#include "core/handle_table.h"
#include "eye/trace.h"

namespace vomo {

// Bytes that a diagram takes for each of its points.
constexpr uint64_t kPointBytes = sizeof(double) + sizeof(float);
constexpr uint64_t kIndexedPointBytes = kPointBytes + sizeof(uint32_t);

// Part of one trace: count neighbouring points of the diagram, all of one interval.
struct TracePiece {
  const double *x;  // unit intervals, rising
  const float *y;   // volts
  uint64_t count;   // 1 or more
  uint32_t interval;
};

// Forms the points of a diagram with indices, as often as asked, in pieces of a small buffer. It
// stands for the stored diagram that it replaces: the same points, the same cut, and the same
// refusal where the stored one would exceed the largest block or find no free handle.
class DiagramPoints {
 public:
  // For a request that CheckRequest has passed. Throws std::bad_alloc.
  explicit DiagramPoints(const DiagramRequest &request)
      : ui_s_(request.ui_s), walk_(request), capacity_(DiagramCapacity(request)) {
    constexpr uint64_t kMostBytes = std::numeric_limits<int32_t>::max();
    if (capacity_ == 0 || capacity_ > kMostBytes / kIndexedPointBytes) throw std::bad_alloc();
    abscissae_ = BlockOf<double>::Allocate(kPieceLength);
  }

  // Calls take(piece) over all points in order. Returns their number.
  template <class Take>
  uint32_t Run(Take &&take) const {
    return walk_.Run(capacity_, [&](Trace &trace) {
      for (uint64_t done = 0; done < trace.count;) {
        const uint64_t count = std::min(trace.count - done, kPieceLength);
        NextAbscissae(trace, ui_s_, count, abscissae_.get());
        take(TracePiece{abscissae_.get(), trace.samples + done, count, trace.interval});
        done += count;
      }
    });
  }

 private:
  // A few traces of usual length.
  static constexpr uint64_t kPieceLength = 512;

  double ui_s_;
  TraceWalk walk_;
  uint32_t capacity_;
  BlockOf<double> abscissae_;
};

}  // namespace vomo

#endif
