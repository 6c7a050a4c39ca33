// The scan over the traces of a diagram that finds the innermost voltage of every column.
#ifndef VOMO_EYE_RANGE_SCAN_H
#define VOMO_EYE_RANGE_SCAN_H

#include <vomo.h>

#include <cstdint>
#include <functional>

#include "core/handle_table.h"
#include "eye/column_table.h"
#include "eye/diagram_points.h"

namespace vomo {

// The straight line between two neighbouring points. The difference of the voltages rounds to
// float, all else is double.
struct Segment {
  Segment() = default;
  Segment(double left_x, float left_y, double right_x, float right_y)
      : x(left_x), y(left_y), width(right_x - left_x), rise(right_y - left_y) {
    // Two points at one abscissa stand for the first of them.
    if (right_x == left_x) width = 1.0, rise = 0.0;
  }
  double At(double abscissa) const { return rise * (abscissa - x) / width + y; }

  double x, y, width, rise;
};

// Columns begin to end (exclusive) of one trace, all read from the same segment, and the clock
// index of the point on its left.
struct ColumnRun {
  Segment segment;
  uint32_t begin, end;
  uint32_t interval;
};

// One side of the eye as traces narrow it. Inner(a, b) says that voltage a lies further inside the
// eye than b.
template <class Inner>
class NarrowingSide {
 public:
  // side: cleared, count columns at the given abscissae. Throws std::bad_alloc.
  NarrowingSide(const EyeSide &side, const double *abscissae, uint32_t count)
      : side_(side), abscissae_(abscissae), count_(count), outermost_((count - 1) / kBlock + 1) {
    for (uint32_t block = 0; block < outermost_.size(); ++block) Measure(block);
  }

  // Takes over the values that lie further inside than the side's. Along a segment the values rise
  // or fall all the way, roundings included, so those at its ends tell whether any can.
  void Take(const ColumnRun &run) {
    const double outermost = OutermostOf(run.begin / kBlock, (run.end - 1) / kBlock);
    const double first = run.segment.At(abscissae_[run.begin]);
    const double last = run.segment.At(abscissae_[run.end - 1]);
    if (inner_(first, outermost) || inner_(last, outermost)) Replace(run);
  }

  // Whether all of the trace lies inside the bound. A NaN is passed over, except in the first
  // column.
  bool IsInside(const ColumnRun *runs, uint32_t run_count, float bound) const {
    const double limit = bound;
    if (!inner_(runs[0].segment.At(abscissae_[0]), limit)) return false;
    for (uint32_t k = 0; k < run_count; ++k) {
      for (uint32_t j = runs[k].begin; j < runs[k].end; ++j) {
        const double value = runs[k].segment.At(abscissae_[j]);
        if (inner_(limit, value) || value == limit) return false;
      }
    }
    return true;
  }

 private:
  static constexpr uint32_t kBlock = 16;

  void Replace(const ColumnRun &run) {
    for (uint32_t j = run.begin; j < run.end; ++j) {
      const double value = run.segment.At(abscissae_[j]);
      if (!inner_(value, side_.volts[j])) continue;
      side_.volts[j] = value;
      side_.intervals[j] = run.interval;
    }
    for (uint32_t block = run.begin / kBlock; block <= (run.end - 1) / kBlock; ++block) {
      Measure(block);
    }
  }

  void Measure(uint32_t block) {
    const uint32_t begin = block * kBlock;
    const uint32_t end = count_ - begin < kBlock ? count_ : begin + kBlock;
    double outermost = side_.volts[begin];
    for (uint32_t j = begin + 1; j < end; ++j) {
      if (inner_(outermost, side_.volts[j])) outermost = side_.volts[j];
    }
    outermost_[block] = outermost;
  }

  double OutermostOf(uint32_t first_block, uint32_t last_block) const {
    double outermost = outermost_[first_block];
    for (uint32_t block = first_block + 1; block <= last_block; ++block) {
      if (inner_(outermost, outermost_[block])) outermost = outermost_[block];
    }
    return outermost;
  }

  Inner inner_;
  EyeSide side_;
  const double *abscissae_;
  uint32_t count_;
  // Of each block of columns, the voltage that lies least far inside.
  Scratch<double> outermost_;
};

// Takes the points of a diagram in order. What it has found is complete after the last one; a trace
// that ends before it has passed all columns counts for nothing.
class RangeScan {
 public:
  // columns: cleared, count of them, at least 1, across the width of info. Counts go to margins.
  // Throws std::bad_alloc.
  RangeScan(const VomoPassFailInfo &info, uint32_t count, const EyeColumns &columns,
            VomoTemplateMargins &margins);

  double column_step_ui() const { return column_step_ui_; }

  void Take(const TracePiece &piece) {
    for (uint64_t i = 0; i < piece.count; ++i) {
      // Within a piece the abscissae rise.
      if (i > 0 && stage_ == Stage::kToNextTrace) break;
      if (has_before_) TakeNext({piece.x[i], piece.y[i], piece.interval});
      before_ = {piece.x[i], piece.y[i], piece.interval};
      has_before_ = true;
    }
    const uint64_t last = piece.count - 1;
    before_ = {piece.x[last], piece.y[last], piece.interval};
  }

 private:
  struct Point {
    double x;
    float y;
    uint32_t interval;
  };
  enum class Stage { kBeforeTemplate, kAcross, kToNextTrace, kBehindTemplate };

  // A trace is taken up at the first point to the right of the template's left bound. From there
  // the columns are read one by one and the points move along with them, at most one for each
  // column: samples denser than the columns fall behind them, and the columns are then
  // extrapolated.
  void TakeNext(const Point &point) {
    const bool begins_trace = point.x < before_.x;
    if (stage_ == Stage::kAcross) {
      passed_trace_end_ |= begins_trace;
      if (!ReadColumns(point)) return;
      stage_ = passed_trace_end_ ? Stage::kBehindTemplate : Stage::kToNextTrace;
      if (!passed_trace_end_) return;
    } else if (stage_ == Stage::kToNextTrace) {
      if (!begins_trace) return;
      stage_ = Stage::kBehindTemplate;
    }
    if (stage_ == Stage::kBehindTemplate) {
      if (point.x >= info_.dEyeXMax) return;
      stage_ = Stage::kBeforeTemplate;
    }
    if (!(point.x > info_.dEyeXMin)) return;
    next_column_ = 0;
    run_count_ = 0;
    passed_trace_end_ = false;
    stage_ = ReadColumns(point) ? Stage::kToNextTrace : Stage::kAcross;
  }

  // Reads the next column and those to the left of the point from the segment that the point ends.
  // True: that was the last column, and the trace is in.
  bool ReadColumns(const Point &point) {
    const uint32_t begin = next_column_;
    next_column_ = FirstColumnFrom(point.x, begin + 1);
    runs_[run_count_++] = {
        {before_.x, before_.y, point.x, point.y}, begin, next_column_, before_.interval};
    if (next_column_ < count_) return false;
    TakeTrace();
    return true;
  }

  // First column from the given one on that x does not lie to the right of; the guess may be off by
  // rounding.
  uint32_t FirstColumnFrom(double x, uint32_t column) const {
    const double guess = (x - info_.dEyeXMin) * columns_per_ui_;
    uint32_t end = guess > column ? guess < count_ ? static_cast<uint32_t>(guess) : count_ : column;
    while (end > column && x <= abscissae_[end - 1]) --end;
    while (end < count_ && !(x <= abscissae_[end])) ++end;
    return end;
  }

  void TakeTrace();
  double MiddleVolts() const;

  const VomoPassFailInfo info_;
  const uint32_t count_;
  VomoTemplateMargins &margins_;
  double column_step_ui_;
  double columns_per_ui_;
  Scratch<double> abscissae_;
  Scratch<ColumnRun> runs_;
  NarrowingSide<std::less<double>> high_;
  NarrowingSide<std::greater<double>> low_;
  uint32_t run_count_ = 0;
  uint32_t next_column_ = 0;
  Stage stage_ = Stage::kBeforeTemplate;
  bool passed_trace_end_ = false;
  bool has_before_ = false;
  Point before_{};
};

}  // namespace vomo

#endif
