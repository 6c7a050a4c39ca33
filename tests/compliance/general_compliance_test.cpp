#include <gtest/gtest.h>
#include <synth_signal.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "core/handle_table.h"
#include "support/run_settings.h"

namespace {

using vomo_test::kBitRate;
using vomo_test::kTargetQ;
using vomo_test::kUnitInterval;
using vomo_test::RunSettings;

app::SynthSpec Signal(uint64_t ui_count, double samples_per_ui = 10) {
  app::SynthSpec spec;
  spec.bit_rate = kBitRate;
  spec.samples_per_ui = samples_per_ui;
  spec.pattern = app::Pattern::kPrbs15;
  spec.ui_count = ui_count;
  return spec;
}

struct Capture {
  explicit Capture(const app::SynthSpec &spec)
      : synthesized(app::Synthesize(spec)),
        waveform{static_cast<uint32_t>(synthesized.samples.size()), spec.sample_interval(),
                 synthesized.samples.data(), 0, 0} {}
  app::SynthCapture synthesized;
  VomoWaveform waveform;
};

int LiveHandles() {
  int count = 0;
  for (VomoHandle h = 1; h <= vomo::kHandleCount; ++h)
    count += vomo::Vomo_Handle_Lookup(h) != nullptr;
  return count;
}

class GeneralCompliance : public testing::Test {
 protected:
  void TearDown() override { Vomo_Handle_Free_All(); }
};

VomoStatus Measure(Capture &capture, const VomoComplianceParams &parameters,
                   VomoComplianceResults &results, VomoWaveform *complement = nullptr) {
  return Vomo_GENERAL_COMPLIANCE_NO_EYE(&capture.waveform, complement, parameters, &results,
                                        nullptr);
}

// Largest less smallest time interval error at the real edges, from their true times and the given
// unit interval. The mean is off all but the first edge's value, which is 0.
double TrueTiePeakPeak(const app::SynthCapture &capture, double sample_interval,
                       double unit_interval) {
  std::vector<double> tie;
  double sum = 0;
  for (const app::SynthEdge &edge : capture.edges) {
    const double time = (edge.position - capture.edges[0].position) * sample_interval;
    tie.push_back(time - std::round(time / unit_interval) * unit_interval);
    sum += tie.back();
  }
  const double mean = sum / static_cast<double>(tie.size() - 1);
  const auto [low, high] = std::minmax_element(tie.begin() + 1, tie.end());
  return std::max(*high - mean, 0.0) - std::min(*low - mean, 0.0);
}

// Edge times are read off floats: half a rounding of 0.4 V on an edge that climbs 0.1 V or more
// from sample to sample.
constexpr double kEdgeTimeError = 0.4 / 0.1 / 33554432 * kUnitInterval / 10;

// Virtual edges lie on the line between two real ones and so carry less than their variance: of a
// gap of r unit intervals the r entries hold 1 + (r - 1)(2 r - 1) / (3 r) of r variances. With gaps
// of r distributed as 2^-r that sums up to 4/3 + ln 2 / 3 over 2 unit intervals.
const double kRandomDataKeeps = std::sqrt((4.0 + std::numbers::ln2) / 6.0);

TEST_F(GeneralCompliance, MeasuresWhatWasPutIn) {
  const auto kClock = app::Pattern::kClock, kData = app::Pattern::kPrbs15;
  // Jitter in picoseconds; Rj is given to the run where known_rj is set.
  const struct {
    const char *name;
    app::Pattern pattern;
    double samples_per_ui, rj, sj, dirac;
    bool least_squares, known_rj;
    double rj_expected, rj_tolerance, dj_low, dj_high;
  } cases[] = {
      // Rj: a deviation of 200000 values is off by 0.16 %, the noise floor takes 0.36 %, a tone
      // between two bins leaves some of its skirt. Dj: the last bins hold five hits or more, so
      // they
      // are off by 45 % or less, 0.45 / Q = 0.11 Rj at Q = 4; the bins cut off in front of them
      // raise Q by ln 2 / Q = 0.17 Rj at most: 0.28 Rj on either side.
      {"noise on a clock", kClock, 10, 1.5, 0, 0, false, false, 1.5, 0.015, -0.84, 0.84},
      {"odd sample rate, least squares", kClock, 12.34, 1.5, 0, 0, true, false, 1.5, 0.015, -0.84,
       0.84},
      // The rms of a mixture of variances falls short of its tails, which the fit counts as Dj.
      {"noise on data", kData, 10, 1.5, 0, 0, false, false, 1.5 * kRandomDataKeeps, 0.015, -0.84,
       2 * 4 * 1.5 * (1 - kRandomDataKeeps) + 0.84},
      // A sine's two Diracs lie inside its peaks: its density near them is no step.
      {"noise and a sine on a clock", kClock, 10, 1.0, 5, 0, false, false, 1.0, 0.03, 7, 10},
      // Half the weight in each Dirac moves its line inwards by ln 2 / Q.
      {"two Diracs, Rj known", kClock, 16, 1.0, 0, 8, false, true, 1.0, 0, 8 - 2 * 0.45,
       8 + 2 * 0.28},
      {"two Diracs on data, Rj known", kData, 16, 1.0, 0, 8, true, true, 1.0, 0, 8 - 2 * 0.45,
       8 + 2 * 0.28},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    app::SynthSpec spec = Signal(200000, c.samples_per_ui);
    spec.pattern = c.pattern;
    spec.rj_rms = c.rj * 1e-12;
    spec.sj_amplitude = c.sj * 1e-12;
    spec.sj_frequency = 97e6;
    spec.dirac_distance = c.dirac * 1e-12;
    Capture capture(spec);
    VomoComplianceParams parameters = RunSettings();
    if (c.least_squares) parameters.ePhaseErrorIntervalType = Vomo_PHASE_ERROR_LEAST_SQUARES;
    if (c.known_rj) parameters.dRjRMSInput = spec.rj_rms;
    VomoComplianceResults r{};
    ASSERT_EQ(Measure(capture, parameters, r), 0u);

    EXPECT_NEAR(r.dUnitInterval, kUnitInterval, 10 * (c.rj + c.sj + c.dirac) * 1e-12 / 200000);
    EXPECT_NEAR(r.dFirstCrossoverTime,
                capture.synthesized.edges[0].position * spec.sample_interval(), kEdgeTimeError);
    // The means of the virtual edges' values and the real ones' differ by less than a hundredth.
    const double tie_peak_peak =
        TrueTiePeakPeak(capture.synthesized, spec.sample_interval(), r.dUnitInterval);
    EXPECT_NEAR(r.dTIEPeakPeak, tie_peak_peak, 0.005 * tie_peak_peak);
    EXPECT_NEAR(r.dRjRMS, c.rj_expected * 1e-12, c.rj_tolerance * c.rj_expected * 1e-12);
    EXPECT_GE(r.dDjDeltaDelta, c.dj_low * 1e-12);
    EXPECT_LE(r.dDjDeltaDelta, c.dj_high * 1e-12);
    EXPECT_NEAR(r.dTjPeakPeak, r.dDjDeltaDelta - 2 * kTargetQ * r.dRjRMS, 1e-9 * r.dTjPeakPeak);
    EXPECT_DOUBLE_EQ(r.dDualDiracLeft + r.dDualDiracRight, r.dDjDeltaDelta);
  }
}

TEST_F(GeneralCompliance, HalvesOfAPairGiveWhatTheirDifferenceGives) {
  app::SynthSpec spec = Signal(20000);
  spec.rj_rms = 1e-12;
  Capture whole(spec), positive(spec), negative(spec);
  for (float &s : positive.synthesized.samples) s *= 0.5f;
  for (float &s : negative.synthesized.samples) s *= -0.5f;
  VomoComplianceResults of_whole{}, of_pair{};
  ASSERT_EQ(Measure(whole, RunSettings(), of_whole), 0u);
  ASSERT_EQ(Measure(positive, RunSettings(), of_pair, &negative.waveform), 0u);
  EXPECT_EQ(of_pair.dTjPeakPeak, of_whole.dTjPeakPeak);
  EXPECT_EQ(of_pair.dTIEPeakPeak, of_whole.dTIEPeakPeak);
  EXPECT_EQ(of_pair.iCTLEIndexUsed, -1);
  EXPECT_EQ(of_pair.iDFEApplied, 0);
  negative.waveform.dSampleInterval *= 1.0000001;
  EXPECT_EQ(Measure(positive, RunSettings(), of_pair, &negative.waveform),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
}

TEST_F(GeneralCompliance, DeliversTheCleanedSequenceToWhoAsks) {
  app::SynthSpec spec = Signal(5000);
  spec.rj_rms = 1e-12;
  Capture capture(spec);
  VomoComplianceResults results{};
  uint32_t count = 0;
  double *jitter = nullptr;
  VomoHandle jitter_handle = 0, eye_handle = 77;
  ASSERT_EQ(Vomo_GENERAL_COMPLIANCE(&capture.waveform, nullptr, RunSettings(), &results, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, &eye_handle, &count,
                                    &jitter, &jitter_handle),
            0u);
  EXPECT_EQ(count, results.ulLastIndex + 1);
  EXPECT_EQ(jitter[results.ulMaxJitterIndex] - jitter[results.ulMinJitterIndex],
            results.dPeakPeakJitter);
  EXPECT_EQ(vomo::Vomo_Handle_Lookup(jitter_handle), jitter);
  Vomo_HANDLE_FREE(jitter_handle);
  Vomo_HANDLE_FREE(eye_handle);
  // The published curves are all that is left: histogram, Q curves, spectra.
  EXPECT_EQ(LiveHandles(), 3);
}

TEST_F(GeneralCompliance, CurvesLastUntilTheNextSuccess) {
  app::SynthSpec spec = Signal(5000);
  spec.rj_rms = 1e-12;
  Capture capture(spec);
  VomoComplianceResults first{}, failed{}, second{};
  ASSERT_EQ(Measure(capture, RunSettings(), first), 0u);
  const std::vector<double> pdf(first.sJitterPdf.pdPDF,
                                first.sJitterPdf.pdPDF + first.sJitterPdf.ulBinCount);
  double sum = 0;
  for (const double bin : pdf) sum += bin;
  EXPECT_NEAR(sum, 1, 1e-12);
  EXPECT_EQ(first.sJitterQ.ulFitCount, first.sJitterPdf.ulBinCount - 1);
  // Fails behind the fit's records having been rebuilt.
  VomoComplianceParams unfit = RunSettings();
  unfit.dPDFBinSize = 0;
  EXPECT_TRUE(Vomo_STATUS_IS_ERROR(Measure(capture, unfit, failed)));
  EXPECT_EQ(failed.sJitterPdf.pdPDF, nullptr);
  EXPECT_TRUE(std::equal(pdf.begin(), pdf.end(), first.sJitterPdf.pdPDF));
  ASSERT_EQ(Measure(capture, RunSettings(), second), 0u);
  EXPECT_TRUE(std::equal(pdf.begin(), pdf.end(), second.sJitterPdf.pdPDF));
}

// What the library holds between runs must not be freed once the table was emptied under it.
TEST_F(GeneralCompliance, SurvivesAnEmptiedTable) {
  app::SynthSpec spec = Signal(3000);
  spec.rj_rms = 1e-12;
  Capture capture(spec);
  VomoComplianceResults results{};
  ASSERT_EQ(Measure(capture, RunSettings(), results), 0u);
  Vomo_Handle_Free_All();
  void *block = nullptr;
  std::vector<VomoHandle> others;
  for (int i = 0; i < 8; ++i) others.push_back(Vomo_Handle_and_Memory_Allocate(64, &block));
  ASSERT_EQ(Measure(capture, RunSettings(), results), 0u);
  for (const VomoHandle h : others) EXPECT_NE(vomo::Vomo_Handle_Lookup(h), nullptr);
}

TEST_F(GeneralCompliance, ManyRunsLeaveTheTableAsItWas) {
  app::SynthSpec spec = Signal(1500);
  spec.rj_rms = 1e-12;
  Capture capture(spec);
  VomoComplianceResults results{};
  ASSERT_EQ(Measure(capture, RunSettings(), results), 0u);
  const int live = LiveHandles();
  VomoComplianceParams too_many = RunSettings(), unfit = RunSettings();
  too_many.ulMinUIForOfficialTest = 1600;
  unfit.dPointsToTrimPercent = 0.6;
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(Measure(capture, RunSettings(), results), 0u);
    if (i % 10 == 0) {
      ASSERT_EQ(Measure(capture, too_many, results), Vomo_STATUS_NOT_ENOUGH_UI);
      ASSERT_EQ(Measure(capture, unfit, results), Vomo_STATUS_PARAM_NOT_VALID);
    }
  }
  ASSERT_EQ(Measure(capture, RunSettings(), results), 0u);
  EXPECT_EQ(LiveHandles(), live);
}

TEST_F(GeneralCompliance, PatternCheckAndMinimumOfEdges) {
  app::SynthSpec spec = Signal(2001);
  spec.pattern = app::Pattern::kClock;
  spec.rj_rms = 1e-12;
  Capture capture(spec);
  const double clock_runs[] = {0, 1};
  const VomoPatDef definition{1, clock_runs};
  VomoPatChkData check{100, 1, 0.01, &definition, 0, 9};
  VomoComplianceParams parameters = RunSettings();
  parameters.psPatChkData = &check;
  VomoComplianceResults results{};
  ASSERT_EQ(Measure(capture, parameters, results), 0u);
  const auto edges = static_cast<uint32_t>(capture.synthesized.edges.size());
  EXPECT_DOUBLE_EQ(results.dEdgeDensity, (edges - 1.0) / edges);
  EXPECT_EQ(results.ePatChkResult, static_cast<uint32_t>(PATCHK_OK));
  parameters.ulMinUIForOfficialTest = edges;
  EXPECT_EQ(Measure(capture, parameters, results), 0u);
  parameters.ulMinUIForOfficialTest = edges + 1;
  EXPECT_EQ(Measure(capture, parameters, results), Vomo_STATUS_NOT_ENOUGH_UI);
}

// A glitch of two samples counts as an edge pair only while the settling time asks for fewer.
TEST_F(GeneralCompliance, SettlingTimeFiltersGlitches) {
  app::SynthSpec spec = Signal(3000);
  spec.pattern = app::Pattern::kClock;
  spec.rj_rms = 1e-12;
  Capture capture(spec);
  std::vector<float> &samples = capture.synthesized.samples;
  const auto middle = static_cast<size_t>(capture.synthesized.edges[100].position) + 5;
  // The level of the bit holds 4 samples on either side.
  for (size_t i = middle; i < middle + 1; ++i) samples[i] = -samples[i];
  VomoComplianceResults results{};
  VomoComplianceParams parameters = RunSettings();
  const double dt = spec.sample_interval();
  ASSERT_EQ(Measure(capture, parameters, results), 0u);
  // Three samples of settling drop the glitch's own edge; the return to the level counts again.
  EXPECT_LT(results.dMinCrossoverInterval, 0.7 * kUnitInterval);
  parameters.dSettlingTime = 5 * dt;
  ASSERT_EQ(Measure(capture, parameters, results), 0u);
  EXPECT_GT(results.dMinCrossoverInterval, 0.7 * kUnitInterval);
}

TEST_F(GeneralCompliance, Refusals) {
  Capture capture(Signal(2000));
  VomoComplianceResults results{};
  const VomoComplianceParams good = RunSettings();
  double *jitter = nullptr;
  VomoHandle handle = 0;
  EXPECT_EQ(Vomo_GENERAL_COMPLIANCE_NO_EYE(nullptr, nullptr, good, &results, nullptr),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_GENERAL_COMPLIANCE_NO_EYE(&capture.waveform, nullptr, good, nullptr, nullptr),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_GENERAL_COMPLIANCE(&capture.waveform, nullptr, good, &results, nullptr, nullptr,
                                    nullptr, nullptr, nullptr, nullptr, nullptr, &jitter, &handle),
            Vomo_STATUS_PARAM_NOT_VALID);
  VomoGen3BaseCompParameters base{};
  VomoGen3Results gen3{};
  VomoComplianceParams with_gen3 = good;
  with_gen3.psGen3BaseCompParameters = &base;
  EXPECT_EQ(Measure(capture, with_gen3, results), Vomo_STATUS_PARAM_NOT_VALID);
  results.psGen3Results = &gen3;
  EXPECT_EQ(Measure(capture, good, results), Vomo_STATUS_PARAM_NOT_VALID);
  results.psGen3Results = nullptr;

  // A signal without an edge has no clock; the time of a first edge stays as it was.
  results.dFirstCrossoverTime = -5;
  std::fill(capture.synthesized.samples.begin(), capture.synthesized.samples.end(), 0.4f);
  EXPECT_EQ(Measure(capture, good, results), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(results.dFirstCrossoverTime, -5);
  std::fill(capture.synthesized.samples.begin(), capture.synthesized.samples.end(), NAN);
  EXPECT_EQ(Measure(capture, good, results), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  capture.waveform.ulNumSamples = 0;
  EXPECT_EQ(Measure(capture, good, results), Vomo_STATUS_PARAM_OUT_OF_RANGE);
}

}  // namespace
