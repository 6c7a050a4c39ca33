// The eye at the end of a whole run.
#include <gtest/gtest.h>
#include <synth_signal.h>

#include <cmath>

#include "core/handle_table.h"
#include "eye/eye_signal.h"
#include "support/run_settings.h"

namespace {

int LiveHandles() {
  int count = 0;
  for (VomoHandle h = 1; h <= vomo::kHandleCount; ++h) {
    count += vomo::Vomo_Handle_Lookup(h) != nullptr;
  }
  return count;
}

// Levels of 0.4 V either side, edges of 0.3 UI with 1.5 ps of random jitter: five standard
// deviations and half an edge leave the middle of the eye, from 0.21 to 0.79 UI, flat.
TEST(EyeOfARun, IsThatOfTheSignal) {
  app::SynthSpec spec;
  spec.bit_rate = vomo_test::kBitRate;
  spec.samples_per_ui = 10.3;
  spec.edge_time = 0.3 / spec.bit_rate;
  spec.rj_rms = 1.5e-12;
  spec.pattern = app::Pattern::kPrbs15;
  spec.ui_count = 20000;
  app::SynthCapture capture = app::Synthesize(spec);
  VomoWaveform waveform{static_cast<uint32_t>(capture.samples.size()), spec.sample_interval(),
                        capture.samples.data(), 0, 0};
  VomoComplianceParams params = vomo_test::RunSettings();
  params.fVoltageHistBinSize = 0.001f;
  params.sTransPassFailInfo = params.sNonTransPassFailInfo =
      vomo_test::Bounds(0.3, 0.7, -0.1f, 0.15f);
  params.fTransitionHighVoltageRail = params.fNonTransitionHighVoltageRail = 0.41f;
  params.fTransitionLowVoltageRail = -0.41f;
  params.NonTransitionLowVoltageRail = -0.39f;
  params.dEyePlotWrapLeftValue = params.dEyePlotWrapRightValue = 0.5;
  params.ulEyeDiagramOffset = 20;
  int handles = 0;
  for (int run = 0; run < 4; ++run) {
    const bool with_plots = run % 2 == 0;
    params.eVoltageMarginType = run < 2 ? Vomo_CENTER_MIN : Vomo_RANGE_MAX;
    VomoComplianceResults r{};
    VomoTemplate plots[5] = {};
    VomoHandle handle = 0;
    ASSERT_EQ(with_plots
                  ? Vomo_GENERAL_COMPLIANCE(&waveform, nullptr, params, &r, nullptr, nullptr, plots,
                                            nullptr, nullptr, &handle, nullptr, nullptr, nullptr)
                  : Vomo_GENERAL_COMPLIANCE_NO_EYE(&waveform, nullptr, params, &r, nullptr),
              0u);
    for (const VomoTemplateMargins &margins : {r.sTransMargins, r.sNonTransMargins}) {
      EXPECT_NEAR(margins.fHighMargin, 0.4 - 0.15, 1e-6);
      EXPECT_NEAR(margins.fLowMargin, -0.4 + 0.1, 1e-6);
      EXPECT_EQ(margins.ulHighMarginCount + margins.ulLowMarginCount, 0u);
    }
    EXPECT_NEAR(r.fTransMaxVoltage, 0.4, 1e-6);
    EXPECT_NEAR(r.fNonTransMinVoltage, -0.4, 1e-6);
    EXPECT_EQ(r.ulTransRailViolations, 0u);
    EXPECT_GT(r.ulNonTransRailViolations, 0u);
    for (const VomoTemplate &plot : plots) {
      // 41 intervals, for the jitter twice as many, of two unit intervals or little more each.
      EXPECT_EQ(plot.ulArrayLength > 400, with_plots);
      EXPECT_LT(plot.ulArrayLength, 2 * 41 * 24.0);
      for (uint32_t i = 0; i < plot.ulArrayLength; ++i) {
        if (std::abs(plot.adXArray[i] - 0.5) > 0.25) continue;
        EXPECT_NEAR(std::abs(plot.afYArray[i]), 0.4f, 1e-6);
      }
    }
    Vomo_HANDLE_FREE(handle);
    // What stays are the curves of the run.
    if (run == 0) handles = LiveHandles();
    EXPECT_EQ(LiveHandles(), handles);
  }
  Vomo_Handle_Free_All();
}

}  // namespace
