#include "eye/range_scan.h"

namespace vomo {
namespace {

// The columns' abscissae, each formed from the one before.
Scratch<double> Abscissae(double first, double step, uint32_t count) {
  Scratch<double> abscissae(count);
  for (double &abscissa : abscissae) {
    abscissa = first;
    first += step;
  }
  return abscissae;
}

double ColumnStep(const VomoPassFailInfo &info, uint32_t count) {
  return count > 1 ? (info.dEyeXMax - info.dEyeXMin) / (count - 1) : 0.0;
}

}  // namespace

RangeScan::RangeScan(const VomoPassFailInfo &info, uint32_t count, const EyeColumns &columns,
                     VomoTemplateMargins &margins)
    : info_(info),
      count_(count),
      margins_(margins),
      column_step_ui_(ColumnStep(info, count)),
      columns_per_ui_(column_step_ui_ > 0 ? 1.0 / column_step_ui_ : 0.0),
      abscissae_(Abscissae(info.dEyeXMin, column_step_ui_, count)),
      runs_(count),
      high_(columns.high, abscissae_.get(), count),
      low_(columns.low, abscissae_.get(), count) {}

double RangeScan::MiddleVolts() const {
  const uint32_t middle = count_ / 2;
  const ColumnRun *run = runs_.get();
  while (run->end <= middle) ++run;
  return run->segment.At(abscissae_[middle]);
}

void RangeScan::TakeTrace() {
  const auto take = [this](auto &side, float bound, uint32_t &inside_count) {
    for (uint32_t k = 0; k < run_count_; ++k) side.Take(runs_[k]);
    if (side.IsInside(runs_.get(), run_count_, bound)) ++inside_count;
  };
  if (MiddleVolts() <= 0.0) {
    take(low_, info_.fEyeYMin, margins_.ulLowMarginCount);
  } else {
    take(high_, info_.fEyeYMax, margins_.ulHighMarginCount);
  }
}

}  // namespace vomo
