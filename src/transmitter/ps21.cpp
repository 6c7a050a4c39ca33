// Ratio of the swing of toggling bits to that of long flat runs, from patterns of two flat runs of
// opposite polarity with a stretch of single bits beside them.
#include <algorithm>
#include <cmath>
#include <optional>

#include "core/status.h"
#include "transmitter/pattern_signal.h"

namespace vomo {
namespace {

// Where the toggling stretch is looked for. Any other number acts as the first.
enum SearchMode : uint16_t {
  kAfterThenBefore = 0,
  kBeforeThenAfter = 1,
  kOnlyAfter = 2,
  kOnlyBefore = 3
};

struct Ps21Search {
  double ui_s;
  float ui_ratio, ui_tolerance;
  uint16_t mode;
  // UI. The windows count from 1, at the beginning of a flat run and of the toggling stretch.
  int flat_run, flat_run_max, toggle_run;
  int flat_first, flat_last, toggle_first, toggle_last;

  Ps21Search WithDefaults() const {
    constexpr int kRun = 32, kShortestFlat = 16;
    Ps21Search search = *this;
    search.ui_ratio = UiRatioOrDefault(ui_ratio);
    search.ui_tolerance = UiToleranceOrDefault(ui_tolerance);
    if (flat_run < kShortestFlat) search.flat_run = kRun;
    if (flat_run_max < kShortestFlat) search.flat_run_max = kRun;
    if (toggle_run < kRun) search.toggle_run = kRun;
    SetWindow(search.flat_run, search.flat_first, search.flat_last);
    SetWindow(search.toggle_run, search.toggle_first, search.toggle_last);
    return search;
  }
  // As many low as high bits are measured, so the toggling window is even.
  bool HasGoodWindows() const {
    return (toggle_last - toggle_first) % 2 != 0 && flat_first <= flat_last &&
           flat_last <= flat_run && toggle_first <= toggle_last && toggle_last <= toggle_run;
  }

  // Bits between the measured ones and the stretch's end, the first and the last measured.
  uint64_t FirstBitFromEnd() const { return static_cast<uint64_t>(toggle_run - toggle_first + 1); }
  uint64_t LastBitFromEnd() const { return static_cast<uint64_t>(toggle_run - toggle_last + 1); }

 private:
  static void SetWindow(int run, int &first, int &last) {
    if (first != 0 && last != 0) return;
    first = run - 7;
    last = run - 2;
  }
};

struct Ps21Limits {
  explicit Ps21Limits(const Ps21Search &s) {
    const double tolerance_s = double{s.ui_tolerance} * s.ui_s;
    const double wide_ui_s = (2.0 - double{s.ui_ratio}) * s.ui_s;
    flat_min_s = double{s.ui_ratio} * s.ui_s * s.flat_run - tolerance_s;
    flat_max_s = s.flat_run_max * wide_ui_s + tolerance_s;
    bit_max_s = 2 * tolerance_s + wide_ui_s;
    stretch_max_s = (s.toggle_run + 1) * wide_ui_s;
    flat_end_s = (s.flat_run - s.flat_last) * s.ui_s;
  }

  double flat_min_s, flat_max_s, bit_max_s, stretch_max_s;
  double flat_end_s;  // from the window's end in a flat run to the run's end
};

// Looks for the first bit that is too long in stretches whose begin and end never move back, so
// that no bit is looked at twice.
class LongBitSearch {
 public:
  LongBitSearch(const double *crossings_s, double bit_max_s)
      : crossings_s_(crossings_s), bit_max_s_(bit_max_s) {}

  // end: none.
  uint64_t FirstIn(uint64_t begin, uint64_t end) {
    next_ = std::max(next_, begin);
    while (next_ < end && !(crossings_s_[next_ + 1] - crossings_s_[next_] > bit_max_s_)) ++next_;
    return next_;
  }

 private:
  const double *crossings_s_;
  double bit_max_s_;
  uint64_t next_ = 0;
};

struct ToggleStretch {
  uint64_t end;  // crossover
  bool starts_high;
  double mean_bit_s;
};

enum class Found { kYes, kNo, kOutsideSamples };

// Mean of what was measured in one pattern and its extremes, volts.
struct Ps21Level {
  double mean;
  float least, greatest;
};

struct Ps21Levels {
  Ps21Level low_toggle, low_flat, high_toggle, high_flat;
};

std::optional<Ps21Level> FlatLevel(const Stretch &stretch) {
  if (!stretch || stretch.count == 0) return std::nullopt;
  LevelSum sum;
  sum.Add(stretch);
  Ps21Level level{sum.sum_v / static_cast<double>(sum.samples), *stretch.begin, *stretch.begin};
  for (uint64_t i = 1; i < stretch.count; ++i) {
    const float v = stretch.begin[i];
    if (v < level.least) level.least = v;
    if (v > level.greatest) level.greatest = v;
  }
  return level;
}

// Greatest of sign * sample.
float PeakOf(const Stretch &stretch, float sign) {
  float peak = sign * *stretch.begin;
  for (uint64_t i = 1; i < stretch.count; ++i) {
    const float v = sign * stretch.begin[i];
    if (v > peak) peak = v;
  }
  return peak;
}

// Five numbers of one polarity over all patterns.
class Ps21Group {
 public:
  void Add(const Ps21Level &level) {
    const auto mean = static_cast<float>(level.mean);
    least_ = std::min(least_, level.least);
    least_mean_ = std::min(least_mean_, mean);
    greatest_mean_ = std::max(greatest_mean_, mean);
    greatest_ = std::max(greatest_, level.greatest);
    mean_sum_ += level.mean;
    ++count_;
  }
  void WriteTo(float *five) const {
    five[0] = least_;
    five[1] = least_mean_;
    five[2] = static_cast<float>(mean_sum_ / count_);
    five[3] = greatest_mean_;
    five[4] = greatest_;
  }

 private:
  // Levels beyond these don't move an extreme.
  float least_ = 999.9f, least_mean_ = 999.9f, greatest_mean_ = -999.9f, greatest_ = -999.9f;
  double mean_sum_ = 0.0;
  uint32_t count_ = 0;
};

class Ps21Meter {
 public:
  Ps21Meter(const PatternSignal &signal, uint32_t first, uint32_t last, const Ps21Search &search)
      : signal_(signal),
        first_(first),
        last_(last),
        search_(search),
        run_(static_cast<uint64_t>(search.toggle_run)),
        limits_(search),
        long_bits_after_(signal.crossings_s, limits_.bit_max_s),
        long_bits_before_(signal.crossings_s, limits_.bit_max_s) {}

  void Run() {
    const bool only_before = search_.mode == kOnlyBefore;
    uint64_t i = only_before ? first_ + run_ : first_;
    for (; i + 2 <= last_; ++i) {
      if (!IsFlatPair(i)) continue;
      ToggleStretch stretch;
      const Found found = FindToggling(i, stretch);
      if (found == Found::kNo && only_before) i += 2 + run_;
      if (found != Found::kYes) continue;
      if (const auto levels = Measure(i, stretch)) Count(*levels);
    }
  }

  uint32_t found() const { return found_; }
  float Ratio() const { return static_cast<float>(ratio_sum_ / found_); }
  void WriteStatistics(float *statistics) const {
    low_toggle_.WriteTo(statistics);
    low_flat_.WriteTo(statistics + 5);
    high_toggle_.WriteTo(statistics + 10);
    high_flat_.WriteTo(statistics + 15);
  }

 private:
  double Time(uint64_t crossover) const { return signal_.crossings_s[crossover]; }
  bool IsFlat(uint64_t span) const {
    const double length_s = Time(span + 1) - Time(span);
    return length_s >= limits_.flat_min_s && length_s <= limits_.flat_max_s;
  }
  Stretch AtFlatEnd(uint64_t end) const { return signal_.At(Time(end) - limits_.flat_end_s); }

  // Two flat runs from crossover i on, one high and one low.
  bool IsFlatPair(uint64_t i) const {
    if (!IsFlat(i) || !IsFlat(i + 1)) return false;
    const Stretch one = AtFlatEnd(i + 1), other = AtFlatEnd(i + 2);
    return one && other && one.IsHigh() != other.IsHigh();
  }

  Found FindToggling(uint64_t i, ToggleStretch &stretch) {
    const bool begins_before = search_.mode == kBeforeThenAfter || search_.mode == kOnlyBefore;
    const Found found = FindOnSide(i, begins_before, stretch);
    if (found != Found::kNo || search_.mode == kOnlyAfter || search_.mode == kOnlyBefore) {
      return found;
    }
    return FindOnSide(i, !begins_before, stretch);
  }

  Found FindOnSide(uint64_t i, bool before, ToggleStretch &stretch) {
    if (before) {
      if (i < first_ + run_) return Found::kNo;
      return CheckToggling(i - run_, i, long_bits_before_, stretch);
    }
    if (i + 2 + run_ > last_) return Found::kNo;
    return CheckToggling(i + 2, i + 2 + run_, long_bits_after_, stretch);
  }

  // A last bit that is too long belongs to what follows: it is left out.
  Found CheckToggling(uint64_t from, uint64_t to, LongBitSearch &long_bits,
                      ToggleStretch &stretch) const {
    if (Time(to) - Time(from) > limits_.stretch_max_s) return Found::kNo;
    const uint64_t long_bit = long_bits.FirstIn(from, to);
    if (long_bit < to - 1) return Found::kNo;
    const Stretch start = AtMiddleOf(to - search_.FirstBitFromEnd());
    const Stretch end = AtMiddleOf(to - search_.LastBitFromEnd());
    if (!start || !end) return Found::kOutsideSamples;
    if (start.IsHigh() == end.IsHigh()) return Found::kNo;
    stretch = {to, start.IsHigh(), (Time(long_bit) - Time(from)) / search_.toggle_run};
    return Found::kYes;
  }
  Stretch AtMiddleOf(uint64_t bit) const { return signal_.At((Time(bit) + Time(bit + 1)) * 0.5); }

  // Nothing when a window lies outside the samples.
  std::optional<Ps21Levels> Measure(uint64_t i, const ToggleStretch &stretch) const {
    const double window_s = (search_.flat_last - search_.flat_first + 1) * stretch.mean_bit_s;
    const auto one = MeasureFlat(i + 1, window_s), other = MeasureFlat(i + 2, window_s);
    const auto low = MeasureToggling(stretch, false), high = MeasureToggling(stretch, true);
    if (!one || !other || !low || !high) return std::nullopt;
    const bool one_is_high = AtFlatEnd(i + 1).IsHigh();
    return Ps21Levels{*low, one_is_high ? *other : *one, *high, one_is_high ? *one : *other};
  }

  std::optional<Ps21Level> MeasureFlat(uint64_t end, double window_s) const {
    const double end_s = Time(end) - limits_.flat_end_s;
    return FlatLevel(signal_.Between(end_s - window_s, end_s));
  }

  // Mean and extremes of the peaks of every second bit.
  std::optional<Ps21Level> MeasureToggling(const ToggleStretch &stretch, bool high) const {
    const float sign = high ? 1.0f : -1.0f;
    const uint64_t last_bit = stretch.end - search_.LastBitFromEnd();
    uint64_t bit = stretch.end - search_.FirstBitFromEnd() + (stretch.starts_high != high ? 1 : 0);
    LevelSum peaks;
    Ps21Level level{};
    for (; bit <= last_bit; bit += 2) {
      // The sample in front of the crossover belongs to the bit's search.
      const Stretch samples = signal_.Between(Time(bit), Time(bit + 1), 1);
      if (!samples || samples.count == 0) return std::nullopt;
      const float peak = PeakOf(samples, sign), volts = sign * peak;
      if (peaks.samples == 0 || volts < level.least) level.least = volts;
      if (peaks.samples == 0 || volts > level.greatest) level.greatest = volts;
      peaks.Add({&peak, 1});
    }
    level.mean = peaks.sum_v / static_cast<double>(peaks.samples) / double{sign};
    return level;
  }

  // The statistics hold every measured pattern, the ratio only those with a swing.
  void Count(const Ps21Levels &levels) {
    low_toggle_.Add(levels.low_toggle);
    low_flat_.Add(levels.low_flat);
    high_toggle_.Add(levels.high_toggle);
    high_flat_.Add(levels.high_flat);
    const auto flat_swing = static_cast<float>(levels.high_flat.mean - levels.low_flat.mean);
    const double toggle_swing = levels.high_toggle.mean - levels.low_toggle.mean;
    if (!(flat_swing > 0.0f) || !(toggle_swing > 0.0)) return;
    ++found_;
    ratio_sum_ += toggle_swing / double{flat_swing};
  }

  PatternSignal signal_;
  uint64_t first_, last_;
  Ps21Search search_;
  uint64_t run_;
  Ps21Limits limits_;
  LongBitSearch long_bits_after_, long_bits_before_;
  Ps21Group low_toggle_, low_flat_, high_toggle_, high_flat_;
  double ratio_sum_ = 0.0;
  uint32_t found_ = 0;
};

// The three outputs are optional and cleared once signal and intervals have passed.
int32_t MeasurePs21(const PatternSignal &signal, uint32_t first, uint32_t last, Ps21Search search,
                    float *ratio, float *statistics, uint32_t *found) {
  if (signal.samples == nullptr || signal.crossings_s == nullptr ||
      !(search.ui_s >= kShortestUiS) || !IsPatternInterval(signal.interval_s, search.ui_s)) {
    return 1;
  }
  if (ratio != nullptr) *ratio = 0.0f;
  if (statistics != nullptr) std::fill_n(statistics, 20, 0.0f);
  if (found != nullptr) *found = 0;
  search = search.WithDefaults();
  if (!search.HasGoodWindows()) return 1;
  Ps21Meter meter(signal, first, last, search);
  meter.Run();
  if (meter.found() == 0) return 0;
  if (ratio != nullptr) *ratio = meter.Ratio();
  if (statistics != nullptr) meter.WriteStatistics(statistics);
  if (found != nullptr) *found = meter.found();
  return 0;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" int32_t Meas_VTxDiff_PS21_wMinMax(
    const float *pfSamples, double dStartTime, double dSampleInterval, const double *pdCrossTimes,
    uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio, float fUITolerance,
    uint16_t eSearchMode, uint16_t usPS21ShortRun, uint16_t usPS21ShortRunMax,
    uint16_t usPS21LongRun, uint16_t usPS21ShortFirst, uint16_t usPS21ShortLast,
    uint16_t usPS21LongFirst, uint16_t usPS21LongLast, float *pfRatio, float *psStatistics,
    uint32_t *pulFound) noexcept {
  return MeasurePs21(
      {pfSamples, PatternSignal::kUnknownCount, dStartTime, dSampleInterval, pdCrossTimes}, ulFirst,
      ulLast,
      {dUI, fUIRatio, fUITolerance, eSearchMode, usPS21ShortRun, usPS21ShortRunMax, usPS21LongRun,
       usPS21ShortFirst, usPS21ShortLast, usPS21LongFirst, usPS21LongLast},
      pfRatio, psStatistics, pulFound);
}

extern "C" int32_t Meas_VTxDiff_PS21(const float *pfSamples, double dStartTime,
                                     double dSampleInterval, const double *pdCrossTimes,
                                     uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio,
                                     float fUITolerance, uint16_t eSearchMode,
                                     uint16_t usPS21ShortRun, uint16_t usPS21LongRun,
                                     uint16_t usPS21ShortFirst, uint16_t usPS21ShortLast,
                                     uint16_t usPS21LongFirst, uint16_t usPS21LongLast,
                                     float *pfRatio, uint32_t *pulFound) noexcept {
  return Meas_VTxDiff_PS21_wMinMax(pfSamples, dStartTime, dSampleInterval, pdCrossTimes, ulFirst,
                                   ulLast, dUI, fUIRatio, fUITolerance, eSearchMode, usPS21ShortRun,
                                   usPS21ShortRun, usPS21LongRun, usPS21ShortFirst, usPS21ShortLast,
                                   usPS21LongFirst, usPS21LongLast, pfRatio, nullptr, pulFound);
}

extern "C" VomoStatus VomoCOMPUTE_PS21_AVERAGE_VOLTAGE(
    const VomoWaveform *psWaveform, const VomoCrossoverData *psClock, uint32_t ulFirst,
    uint32_t ulLast, const void *pvPassThrough, double dUI, uint32_t ulPS21ShortRun,
    uint32_t ulPS21ShortRunMax, uint32_t ulPS21LongRun, uint32_t ulPS21ShortFirst,
    uint32_t ulPS21ShortLast, uint32_t ulPS21LongFirst, uint32_t ulPS21LongLast, float *pfRatioDB,
    uint32_t *pulFound) noexcept {
  if (pvPassThrough == nullptr || pfRatioDB == nullptr || pulFound == nullptr ||
      !IsPatternSignal(psWaveform, psClock, ulFirst, ulLast, dUI)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  constexpr uint32_t kLongest = std::numeric_limits<uint16_t>::max();
  if (ulPS21ShortRun == 0 || ulPS21ShortRun > ulPS21ShortRunMax || ulPS21ShortRunMax > kLongest ||
      ulPS21LongRun < 32 || ulPS21LongRun > kLongest || ulPS21ShortFirst >= ulPS21ShortLast ||
      ulPS21ShortLast > ulPS21ShortRun || ulPS21LongFirst >= ulPS21LongLast ||
      ulPS21LongLast > ulPS21LongRun || (ulPS21LongLast - ulPS21LongFirst) % 2 == 0) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const auto ui = [](uint32_t count) { return static_cast<int>(count); };
  float ratio = 0.0f;
  uint32_t found = 0;
  if (MeasurePs21(PatternSignal::Of(*psWaveform, *psClock), ulFirst, ulLast,
                  {dUI, 0.99f, 0.09f, kAfterThenBefore, ui(ulPS21ShortRun), ui(ulPS21ShortRunMax),
                   ui(ulPS21LongRun), ui(ulPS21ShortFirst), ui(ulPS21ShortLast),
                   ui(ulPS21LongFirst), ui(ulPS21LongLast)},
                  &ratio, nullptr, &found) != 0) {
    Vomo_Set_Error_Context("Error computing PS21 average voltage.");
    return Vomo_STATUS_COMPUTATION_ERROR;
  }
  *pulFound = found;
  if (ratio == 0.0f) return Vomo_STATUS_PATTERN_NOT_FOUND;
  *pfRatioDB = static_cast<float>(20.0 * std::log10(double{ratio}));
  return Vomo_STATUS_SUCCESS;
}
