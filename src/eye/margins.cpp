#include "eye/margins.h"

#include "core/boundary.h"
#include "eye/range_scan.h"

namespace vomo {
namespace {

struct VoltageRange {
  float min_v, max_v;
  bool any = false;

  // A NaN in first place stays, later ones are passed over.
  void Extend(const TracePiece &piece) {
    if (!any) min_v = max_v = piece.y[0];
    any = true;
    float low = min_v, high = max_v;
    for (uint64_t i = 0; i < piece.count; ++i) {
      low = piece.y[i] < low ? piece.y[i] : low;
      high = piece.y[i] > high ? piece.y[i] : high;
    }
    min_v = low;
    max_v = high;
  }
};

// Calls take(left x, left y, right x, right y, interval of the right point) for every two
// neighbouring points.
template <class Take>
void ForEachPair(const DiagramPoints &points, Take &&take) {
  bool has_before = false;
  double before_x = 0.0;
  float before_y = 0.0f;
  points.Run([&](const TracePiece &piece) {
    const double *x = piece.x;
    const float *y = piece.y;
    if (has_before) take(before_x, before_y, x[0], y[0], piece.interval);
    for (uint64_t i = 1; i < piece.count; ++i) take(x[i - 1], y[i - 1], x[i], y[i], piece.interval);
    before_x = x[piece.count - 1];
    before_y = y[piece.count - 1];
    has_before = true;
  });
}

int32_t WidestColumn(const EyeColumns &columns, uint32_t count) {
  uint32_t widest = 0;
  const auto opening = [&columns](uint32_t j) {
    return columns.high.volts[j] - columns.low.volts[j];
  };
  for (uint32_t j = 1; j < count; ++j) {
    if (opening(j) > opening(widest)) widest = j;
  }
  return static_cast<int32_t>(widest);
}

// The levels at one abscissa. Each trace is read once, where it passes there.
EyeLevels LevelsAt(const DiagramPoints &points, double abscissa, const VoltageRange &range,
                   float bin_width_v, const LevelTrim &trim) {
  LevelHistogram histogram(range.min_v, range.max_v, bin_width_v);
  if (!histogram) return {0.0f, 0.0f};
  bool passed = false;
  ForEachPair(points, [&](double left_x, float left_y, double x, float y, uint32_t) {
    const bool behind = x > abscissa;
    if (behind && !passed) histogram.Add(Segment(left_x, left_y, x, y).At(abscissa));
    passed = behind;
  });
  return histogram.Levels(trim);
}

}  // namespace

void VomoFindMarginsAtCenter(const DiagramPoints &points, const VomoPassFailInfo &sInfo,
                             VomoTemplateMargins &sMargins) {
  const double center = (sInfo.dEyeXMax + sInfo.dEyeXMin) * 0.5;
  bool first_high = true, first_low = true;
  ForEachPair(points, [&](double left_x, float left_y, double x, float y, uint32_t interval) {
    if (!(x >= center) || !(left_x < center)) return;
    const auto volts = static_cast<float>(Segment(left_x, left_y, x, y).At(center));
    if (volts >= 0) {
      const float distance = volts - sInfo.fEyeYMax;
      if (distance <= 0) ++sMargins.ulHighMarginCount;
      if (!first_high && !(distance < sMargins.fHighMargin)) return;
      first_high = false;
      sMargins.fHighMargin = distance;
      sMargins.ulHighMarginInterval = interval;
    } else if (volts < 0) {
      const float distance = volts - sInfo.fEyeYMin;
      if (distance >= 0) ++sMargins.ulLowMarginCount;
      if (!first_low && !(distance > sMargins.fLowMargin)) return;
      first_low = false;
      sMargins.fLowMargin = distance;
      sMargins.ulLowMarginInterval = interval;
    }
  });
}

void VomoFindMarginsByRange(const DiagramPoints &points, const VomoPassFailInfo &sInfo,
                            VomoTemplateMargins &sMargins, const EyeColumns &sColumns,
                            uint32_t ulColumnCount, float fVoltageHistBinSize,
                            const LevelTrim &sTrim, int32_t &iBestColumn) {
  RangeScan scan(sInfo, ulColumnCount, sColumns, sMargins);
  VoltageRange range{};
  points.Run([&](const TracePiece &piece) {
    scan.Take(piece);
    range.Extend(piece);
  });
  if (!range.any) return;
  iBestColumn = WidestColumn(sColumns, ulColumnCount);
  sMargins.dMarginX = iBestColumn * scan.column_step_ui() + sInfo.dEyeXMin;
  const EyeLevels levels = LevelsAt(points, sMargins.dMarginX, range, fVoltageHistBinSize, sTrim);
  sMargins.fHighLevel = levels.high_v;
  sMargins.fLowLevel = levels.low_v;
  sMargins.fHighMargin = levels.high_v - sInfo.fEyeYMax;
  sMargins.fLowMargin = levels.low_v - sInfo.fEyeYMin;
  sMargins.ulHighMarginInterval = sColumns.high.intervals[iBestColumn];
  sMargins.ulLowMarginInterval = sColumns.low.intervals[iBestColumn];
}

namespace {

// One search: the settings, and the request of its diagrams with the class left open.
class MarginSearch {
 public:
  MarginSearch(const VomoComplianceParams &params, const DiagramRequest &request)
      : params_(params),
        request_(request),
        trim_{params.iVoltageHistTrimCount, params.dVoltageHistTrimFactor} {}

  VomoStatus Run(VomoComplianceResults &results) {
    columns_.Size(params_.sTransPassFailInfo);
    columns_.Clear(kClassAll);
    columns_.dSharedX = -1.0;
    const VomoStatus status = CheckRequest(request_);
    if (Vomo_STATUS_IS_ERROR(status)) return status;

    if (params_.eVoltageMarginType == Vomo_RANGE_MAX) MeasureAllBits(results.sNonTransMargins);
    const VomoStatus measured = Measure(kTransitionBits, kClassTransition,
                                        params_.sTransPassFailInfo, results.sTransMargins);
    if (Vomo_STATUS_IS_ERROR(measured)) return measured;
    columns_.Size(params_.sNonTransPassFailInfo);
    return Measure(kNonTransitionBits, kClassNonTransition, params_.sNonTransPassFailInfo,
                   results.sNonTransMargins);
  }

 private:
  DiagramRequest OfType(DiagramType type) const {
    DiagramRequest request = request_;
    request.type = type;
    return request;
  }

  void ByRange(const DiagramPoints &points, BitClass bits, const VomoPassFailInfo &info,
               VomoTemplateMargins &margins) {
    VomoFindMarginsByRange(points, info, margins, columns_.Clear(bits), columns_.ulColumnCount,
                           params_.fVoltageHistBinSize, trim_, columns_.aiBestColumn[bits]);
  }

  // Finds where the eye of all bits is widest open and its innermost voltages there, which both
  // classes report. The pass runs with the record and the bounds of the non-transition eye, though
  // the number of columns is that of the transition eye; its counts stay in the record.
  void MeasureAllBits(VomoTemplateMargins &margins) {
    const DiagramRequest all = OfType(kAllBits);
    ByRange(DiagramPoints(all), kClassAll, params_.sNonTransPassFailInfo, margins);
    const int32_t best = columns_.aiBestColumn[kClassAll];
    if (best < 0) return;
    columns_.dSharedX = margins.dMarginX;
    const EyeColumns columns = columns_.Of(kClassAll);
    all_bits_levels_ = {static_cast<float>(columns.high.volts[best]),
                        static_cast<float>(columns.low.volts[best])};
  }

  VomoStatus Measure(DiagramType type, BitClass bits, const VomoPassFailInfo &info,
                     VomoTemplateMargins &margins) {
    const DiagramRequest request = OfType(type);
    const DiagramPoints points(request);
    if (params_.eVoltageMarginType == Vomo_CENTER_MIN) {
      VomoFindMarginsAtCenter(points, info, margins);
      return Vomo_STATUS_SUCCESS;
    }
    if (params_.eVoltageMarginType != Vomo_RANGE_MAX) return Vomo_STATUS_PARAM_NOT_VALID;
    ByRange(points, bits, info, margins);
    margins.dMarginX = columns_.dSharedX;
    margins.fHighLevel = all_bits_levels_.high_v;
    margins.fLowLevel = all_bits_levels_.low_v;
    return Vomo_STATUS_SUCCESS;
  }

  const VomoComplianceParams &params_;
  const DiagramRequest &request_;
  const LevelTrim trim_;
  ColumnTable &columns_ = MarginColumns();
  // Kept apart from the columns, which move when the table grows for the second class.
  EyeLevels all_bits_levels_{0.0f, 0.0f};
};

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_MARGINS(const VomoComplianceParams *psParams,
                                       const VomoWaveform *psWaveform, uint32_t ulFirstInterval,
                                       uint32_t ulLastInterval, const VomoCrossoverData *psClock,
                                       uint32_t ulClockOffset, const double *pdIntervalError,
                                       VomoComplianceResults *psResults, void * /*pvPassThrough*/,
                                       void * /*pvUnused1*/, void * /*pvUnused2*/) noexcept {
  if (psParams == nullptr || psWaveform == nullptr || psResults == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    const DiagramRequest request{kAllBits,
                                 psParams->dTargetUI,
                                 psWaveform,
                                 ulFirstInterval,
                                 ulLastInterval,
                                 psClock,
                                 ulClockOffset,
                                 pdIntervalError,
                                 0.0,
                                 0.0};
    return MarginSearch(*psParams, request).Run(*psResults);
  });
}
