#include "compliance/waveform_preparation.h"

#include <gtest/gtest.h>
#include <synth_signal.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "support/fir_channel.h"
#include "support/handle_pressure.h"
#include "support/network.h"
#include "support/run_settings.h"
#include "support/waveforms.h"

namespace {

using vomo::PreparedSignal;
using vomo::Received;
using vomo_test::Counts;
using vomo_test::FirChannel;
using vomo_test::kUnitInterval;
using vomo_test::LiveHandles;
using vomo_test::Network;
using vomo_test::Samples;
using vomo_test::Stored;

constexpr double kInterval = kUnitInterval / vomo_test::kPerUi;
constexpr VomoCTLEParams kFamily[] = {{1.0f, 2e9f, 2e9f, 30e9f}, {1.0f, 4e9f, 8e9f, 30e9f}};

VomoDFEParams Dfe(float tap) {
  VomoDFEParams p{};
  p.dUnitInterval = kUnitInterval;
  p.afTapMin[0] = -1;
  p.afTapMax[0] = 1;
  p.afDFETapValues[0] = tap;
  p.iDFETapCount = 1;
  p.iDFEComputeTaps = 1;
  p.iPtsAboveThresh = 3;
  p.iUICount = 200;
  p.eOptValue = OPT_EYE_HEIGHT;
  p.eHeightType = Vomo_FIND_AVG;
  return p;
}

// A capture, all the settings that a test may ask for, and a run of the preparation.
struct Trial {
  Trial() : channel({0.25}, 600, 41), capture(channel.samples, kInterval), dfe(Dfe(0)) {
    parameters.iCTLEUICount = 300;
    parameters.eCTLEOpt = OPT_EYE_HEIGHT;
    parameters.fCTLEBeginSampleWindow = 0.4f;
    parameters.fCTLEEndSampleWindow = 0.6f;
    parameters.psCTLEFilterParams = kFamily;
    results.iCTLEIndexUsed = results.iDFEApplied = -7;
  }

  VomoStatus Prepare(VomoWaveform *complement = nullptr) {
    return vomo::Vomo_PrepareWaveform(capture.get(), complement, &parameters, kUnitInterval, 3,
                                      &results, &prepared);
  }

  FirChannel channel;
  Samples capture;
  VomoDFEParams dfe;
  VomoComplianceParams parameters{};
  VomoComplianceResults results{};
  PreparedSignal prepared;
};

struct Through : Network {
  Through() : Network(50, double{0.5f / static_cast<float>(kInterval)}) {
    SetThrough([](double) { return std::complex<double>(1, 0); });
  }
};

TEST(WaveformPreparation, WhatRunsAndWhatItSays) {
  const struct {
    const char *what;
    bool network;
    int32_t ctle_count;
    int combine;
    bool dfe;
    int32_t lowest_index, highest_index, dfe_applied;
    bool made;
  } cases[] = {
      {"nothing", false, 0, 1, false, -1, -1, 0, false},
      {"a negative count", false, -2, 0, false, -1, -1, 0, false},
      {"network", true, 0, 0, false, -1, -1, 0, true},
      {"one CTLE", false, 1, 1, false, 1, 1, 0, true},
      {"a family", false, 2, 0, false, 1, 2, 0, true},
      {"DFE", false, 0, 1, true, -1, -1, 1, true},
      {"one CTLE and DFE are not combined", false, 1, 1, true, 1, 1, 1, true},
      {"a family and DFE, one after the other", false, 2, 0, true, 1, 2, 1, true},
      {"a family and DFE combined", false, 2, 1, true, 1, 2, 1, true},
      {"all", true, 2, 1, true, 1, 2, 1, true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Trial run;
    const Through network;
    run.parameters.psSparamData = c.network ? &network.record : nullptr;
    run.parameters.iCTLEFilterParamsCount = c.ctle_count;
    run.parameters.iCombineCTLE_DFE_Optimize = c.combine;
    run.parameters.psDFEFilterParams = c.dfe ? &run.dfe : nullptr;
    ASSERT_EQ(run.Prepare(), 0u);
    EXPECT_EQ(run.results.iDFEApplied, c.dfe_applied);
    EXPECT_GE(run.results.iCTLEIndexUsed, c.lowest_index);
    EXPECT_LE(run.results.iCTLEIndexUsed, c.highest_index);
    EXPECT_EQ(run.prepared.made.get() != nullptr, c.made);
    EXPECT_EQ(run.prepared.waveform, c.made ? run.prepared.made.get() : run.capture.get());
    EXPECT_EQ(run.prepared.clock.get() != nullptr, c.dfe);
    EXPECT_EQ(run.prepared.crossovers.get() != nullptr, c.dfe);
    EXPECT_EQ(run.results.dMinCrossoverInterval > 0, c.dfe);
    EXPECT_EQ(LiveHandles(), c.made + 2 * c.dfe);
    EXPECT_EQ(run.dfe.afDFETapValues[0] != 0, c.dfe);
    EXPECT_EQ(run.capture.stored, run.channel.samples);
  }
}

// Network, CTLE, DFE: each works on what the one before has made.
TEST(WaveformPreparation, StagesInTheirOrder) {
  Trial run;
  Network network(200, double{0.5f / static_cast<float>(kInterval)});
  network.SetThrough([](double f) { return 0.8 / std::complex<double>(1, f / 5e9); });
  run.parameters.psSparamData = &network.record;
  run.parameters.iCTLEFilterParamsCount = 1;
  run.parameters.psDFEFilterParams = &run.dfe;
  ASSERT_EQ(run.Prepare(), 0u);

  Received<VomoWaveform> positive, negative, received, equalised, expected;
  VomoCONVERT_WFM_TO_SINGLE_ENDED(run.capture.get(), positive.pointer(), positive.handle_out(),
                                  negative.pointer(), negative.handle_out());
  VomoAPPLY_SPARAM_TO_WAVEFORM(positive.get(), negative.get(), &network.record, received.pointer(),
                               received.handle_out());
  const VomoCTLEParams &s = kFamily[0];
  VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(received.get(), s.fAdc, s.fFz, s.fFp1, s.fFp2,
                                    equalised.pointer(), equalised.handle_out());
  VomoDFEParams dfe = Dfe(0);
  ASSERT_EQ(
      VomoAPPLY_DFE_FILTER_TO_WAVEFORM(equalised.get(), &dfe, 1, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, expected.pointer(), expected.handle_out()),
      0u);
  EXPECT_EQ(Stored(*run.prepared.waveform), Stored(*expected.get()));
  EXPECT_EQ(Counts(*run.prepared.waveform), Counts(*expected.get()));
  EXPECT_EQ(run.dfe.afDFETapValues[0], dfe.afDFETapValues[0]);
}

// A pair is subtracted, or sent through the network as it is.
TEST(WaveformPreparation, PairsOfHalves) {
  for (const bool with_network : {false, true}) {
    Trial whole, halves;
    const Through network;
    if (with_network) {
      whole.parameters.psSparamData = halves.parameters.psSparamData = &network.record;
    }
    std::vector<float> negative = halves.channel.samples;
    for (float &v : halves.capture.stored) v *= 0.5f;
    for (float &v : negative) v *= -0.5f;
    Samples complement(negative, kInterval);
    ASSERT_EQ(whole.Prepare(), 0u);
    ASSERT_EQ(halves.Prepare(complement.get()), 0u);
    EXPECT_EQ(Stored(*whole.prepared.waveform), Stored(*halves.prepared.waveform));
    EXPECT_EQ(complement.stored, negative);
  }
}

// The combined search leaves the taps of its winner, and they are not looked for again: the tap of
// the first trial stands, whatever the signal behind the chosen CTLE would ask for.
TEST(WaveformPreparation, CombinedSearchSettlesTheTaps) {
  Trial combined, apart;
  for (Trial *run : {&combined, &apart}) {
    run->parameters.iCTLEFilterParamsCount = 2;
    run->parameters.psDFEFilterParams = &run->dfe;
  }
  combined.parameters.iCombineCTLE_DFE_Optimize = 1;
  combined.dfe.afDFETapValues[0] = 0.125f;
  combined.dfe.iDFEComputeTaps = 0;
  ASSERT_EQ(combined.Prepare(), 0u);
  EXPECT_EQ(combined.dfe.afDFETapValues[0], 0.125f);
  ASSERT_EQ(apart.Prepare(), 0u);
  EXPECT_NE(apart.dfe.afDFETapValues[0], 0.125f);
}

TEST(WaveformPreparation, FailingStagesHandNothingOn) {
  const struct {
    const char *what;
    void (*change)(Trial &, VomoWaveform &, Network &);
    VomoStatus status;
  } cases[] = {
      {"unequal halves",
       [](Trial &run, VomoWaveform &complement, Network &) {
         run.parameters.psSparamData = nullptr;
         complement.dSampleInterval *= 2;
       },
       Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"a network of one point",
       [](Trial &, VomoWaveform &, Network &network) { network.record.ulSArrayLength = 1; },
       Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"a setting without a pole",
       [](Trial &run, VomoWaveform &, Network &) {
         static constexpr VomoCTLEParams kBad{1, 1, 0, 1};
         run.parameters.iCTLEFilterParamsCount = 1;
         run.parameters.psCTLEFilterParams = &kBad;
       },
       Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {"a family that is not there",
       [](Trial &run, VomoWaveform &, Network &) { run.parameters.psCTLEFilterParams = nullptr; },
       Vomo_STATUS_PARAM_NOT_VALID},
      {"one setting that is not there",
       [](Trial &run, VomoWaveform &, Network &) {
         run.parameters.iCTLEFilterParamsCount = 1;
         run.parameters.psCTLEFilterParams = nullptr;
       },
       Vomo_STATUS_PARAM_NOT_VALID},
      {"a DFE without a unit interval",
       [](Trial &run, VomoWaveform &, Network &) { run.dfe.dUnitInterval = -1; },
       Vomo_STATUS_PARAM_OUT_OF_RANGE},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Trial run;
    Through network;
    Samples complement(run.channel.samples, kInterval);
    run.parameters.psSparamData = &network.record;
    run.parameters.iCTLEFilterParamsCount = 2;
    run.parameters.psDFEFilterParams = &run.dfe;
    c.change(run, complement.record, network);
    EXPECT_EQ(run.Prepare(run.parameters.psSparamData == nullptr ? complement.get() : nullptr),
              c.status);
    EXPECT_EQ(run.prepared.waveform, nullptr);
    EXPECT_EQ(LiveHandles(), 0);
    EXPECT_EQ(run.capture.stored, run.channel.samples);
  }
}

// The pair and the network's result; then never more than the waveform, the DFE's result, its
// crossovers, run lengths and clock.
TEST(WaveformPreparation, RunsOutOfHandles) {
  vomo_test::ExpectSlotsNeeded(
      5,
      [] {
        Trial run;
        const Through network;
        run.parameters.psSparamData = &network.record;
        run.parameters.iCTLEFilterParamsCount = 1;
        run.parameters.psDFEFilterParams = &run.dfe;
        return run.Prepare();
      },
      4);
}

// A channel of one pole, through the whole flow: the equaliser that inverts it is chosen and takes
// the jitter away. A single DFE tap does not: it weighs the bit before an edge, which is always the
// other one, and so moves all edges alike.
TEST(WaveformPreparation, OpensAClosedEyeInAWholeRun) {
  app::SynthSpec spec;
  spec.bit_rate = vomo_test::kBitRate;
  spec.samples_per_ui = 16;
  spec.pattern = app::Pattern::kPrbs15;
  spec.ui_count = 20000;
  spec.rj_rms = 0.5e-12;
  app::SynthCapture capture = app::Synthesize(spec);
  constexpr double kPole = 2e9;
  const double step = 1 - std::exp(-2 * std::numbers::pi * kPole * spec.sample_interval());
  double level = 0;
  for (float &s : capture.samples) s = static_cast<float>(level += (double{s} - level) * step);

  const VomoCTLEParams family[] = {{1, 1e9f, 12e9f, 40e9f},
                                   {1, static_cast<float>(kPole), 12e9f, 40e9f},
                                   {1, 4e9f, 12e9f, 40e9f}};
  VomoDFEParams dfe = Dfe(0);
  const auto jitter = [&](int32_t ctle_count, VomoDFEParams *dfe_settings) {
    Samples input(capture.samples, spec.sample_interval());
    VomoComplianceParams p = vomo_test::RunSettings();
    p.iCTLEFilterParamsCount = ctle_count;
    p.psCTLEFilterParams = family;
    p.iCTLEUICount = 3000;
    p.eCTLEOpt = OPT_EYE_RATIO;
    p.fCTLEBeginSampleWindow = 0.4f;
    p.fCTLEEndSampleWindow = 0.6f;
    p.psDFEFilterParams = dfe_settings;
    VomoComplianceResults results{};
    EXPECT_EQ(Vomo_GENERAL_COMPLIANCE_NO_EYE(input.get(), nullptr, p, &results, nullptr), 0u);
    EXPECT_EQ(results.iCTLEIndexUsed, ctle_count == 3 ? 2 : -1);
    EXPECT_EQ(results.iDFEApplied, dfe_settings != nullptr);
    EXPECT_NEAR(results.dUnitInterval, kUnitInterval, 1e-4 * kUnitInterval);
    return results.dTIEPeakPeak;
  };
  const double closed = jitter(0, nullptr), equalised = jitter(3, nullptr),
               fed_back = jitter(0, &dfe);
  EXPECT_GT(closed, 20e-12);
  EXPECT_LT(equalised, 0.4 * closed);
  EXPECT_NEAR(fed_back, closed, 0.02 * closed);
  Vomo_Handle_Free_All();
}

}  // namespace
