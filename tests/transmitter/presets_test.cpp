#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "core/handle_table.h"
#include "support/bit_signal.h"
#include "support/handle_pressure.h"
#include "support/waveforms.h"

namespace {

using vomo_test::BitSignal;
using vomo_test::LiveHandles;
using vomo_test::Samples;

constexpr uint32_t kNone = 0xFFFFFFFF;

// A table of its own.
struct Table {
  explicit Table(uint32_t limit_set = 0) {
    EXPECT_EQ(Vomo_RESET_PRESETS(limit_set, 11, nullptr, &presets, &handle), 0u);
  }
  Table(const Table &) = delete;
  Table &operator=(const Table &) = delete;
  ~Table() { Vomo_FREE_PRESETS(presets, handle); }

  VomoPreset *presets = nullptr;
  VomoHandle handle = 0;
};

void Append(std::vector<int> &bits, uint8_t byte) {
  for (int i = 0; i < 8; ++i) bits.push_back((byte >> i & 1) != 0 ? 1 : -1);
}

// A compliance capture: 64 bits of each level, then a block that names the preset in its bytes 7
// and 8, between sync bits; four times over.
BitSignal PresetSignal(int preset, double before, double after) {
  BitSignal signal;
  signal.before = before;
  signal.after = after;
  for (int repeat = 0; repeat < 4; ++repeat) {
    signal.bits.insert(signal.bits.end(), 64, 1);
    signal.bits.insert(signal.bits.end(), 64, -1);
    signal.bits.insert(signal.bits.end(), {1, -1});
    for (int i = 0; i < 16; ++i) {
      const int named = i == 7 ? preset : i == 8 ? preset + 1 : 5;
      Append(signal.bits, static_cast<uint8_t>(named << 4 | (15 - named)));
    }
    signal.bits.insert(signal.bits.end(), {1, -1});
  }
  return signal;
}

VomoStatus Measure(const BitSignal &signal, uint32_t preset, VomoPreset *presets) {
  Samples capture(signal.Samples(), signal.interval_s());
  VomoWaveform *waveforms[] = {capture.get()};
  return Vomo_CALCULATE_Vb(waveforms, preset, signal.ui_s, 64, 64, 40, 60, presets);
}

struct PresetTaps {
  double before, after;       // tap weights
  double preshoot, emphasis;  // nominal, dB; 0: none
  double preshoot_tolerance, emphasis_tolerance;
};
constexpr PresetTaps kPresetTaps[11] = {
    {0, -0.25, 0, -6.0, 0, 1.5},
    {0, -1.0 / 6, 0, -3.5, 0, 1.0},
    {0, -0.2, 0, -4.4, 0, 1.5},
    {0, -0.125, 0, -2.5, 0, 1.0},
    {0, 0, 0, 0, 0, 0},
    {-0.1, 0, 1.9, 0, 1.0, 0},
    {-0.125, 0, 2.5, 0, 1.0, 0},
    {-0.1, -0.2, 3.5, -6.0, 1.0, 1.5},
    {-0.125, -0.125, 3.5, -3.5, 1.0, 1.0},
    {-1.0 / 6, 0, 3.5, 0, 1.0, 0},
    {0, -1.0 / 3, 0, -9.5, 0, 1.5},
};

// The levels that a transmitter with these taps makes: behind an edge 1 - 2 |before|, in front of
// one 1 - 2 |after|, and 1 - 2 (|before| + |after|) inside a run.
TEST(Presets, WhatTheTapsMakeComesBack) {
  Table table(1);
  for (uint32_t i = 0; i < 11; ++i) {
    const BitSignal signal =
        PresetSignal(static_cast<int>(i), kPresetTaps[i].before, kPresetTaps[i].after);
    ASSERT_EQ(Measure(signal, i, table.presets), 0u) << i;
  }
  ASSERT_EQ(Vomo_CALCULATE_PRESET_RESULTS(11, table.presets), 0u);
  // Each voltage is a float, off by 2^-24 of its size or less; their mean is exact.
  constexpr double kTolerance = 20 / 2.302585 * 2 * 0x1p-24;
  for (uint32_t i = 0; i < 11; ++i) {
    SCOPED_TRACE(i);
    const VomoPreset &preset = table.presets[i];
    const PresetTaps &taps = kPresetTaps[i];
    const double behind = 1 + 2 * taps.before, in_front = 1 + 2 * taps.after;
    const double inside = 1 + 2 * (taps.before + taps.after);
    EXPECT_NEAR(preset.dVb, 2 * 0.4 * inside, 0.8 * 0x1p-24);
    EXPECT_NEAR(preset.dPreshootDB, 20 * std::log10(in_front / inside), kTolerance);
    EXPECT_NEAR(preset.dDeemphasisDB, 20 * std::log10(inside / behind), kTolerance);
    EXPECT_EQ(preset.ulState, 1u);
    // The capture names its preset.
    EXPECT_EQ(preset.sGen3CheckBuf.ucFirstValue, i);
    EXPECT_EQ(preset.sGen3CheckBuf.ucSecondValue, i + 1);
  }
}

TEST(Presets, DefaultLimitsLieAroundTheNominalRatios) {
  Table table(1), first_set;
  for (uint32_t i = 0; i < 11; ++i) {
    SCOPED_TRACE(i);
    const VomoPreset &p = table.presets[i];
    const PresetTaps &taps = kPresetTaps[i];
    EXPECT_DOUBLE_EQ(p.dPreshootMin, taps.preshoot - taps.preshoot_tolerance);
    EXPECT_DOUBLE_EQ(p.dPreshootMax, taps.preshoot + taps.preshoot_tolerance);
    EXPECT_DOUBLE_EQ(p.dDeemphasisMin, taps.emphasis - taps.emphasis_tolerance);
    EXPECT_DOUBLE_EQ(p.dDeemphasisMax, taps.emphasis + taps.emphasis_tolerance);
    EXPECT_EQ(p.ulState, 2u);
    EXPECT_EQ(p.dVb, 0.0);
    EXPECT_EQ(p.ulClockHandle, 0u);
    if (i < 10) {
      EXPECT_EQ(std::memcmp(&p, &first_set.presets[i], sizeof p), 0);
    }
  }
  EXPECT_EQ(first_set.presets[10].dDeemphasisMax, 1.5);
  EXPECT_EQ(first_set.presets[10].dDeemphasisMin, -8.0);
}

// Ten times a reference is 20 dB exactly, so that limits can be met to the last bit.
TEST(Presets, States) {
  const double below = std::nextafter(20.0, 0.0);
  const struct {
    const char *what;
    uint32_t preshoot_ref, deemphasis_ref;
    double preshoot_max, deemphasis_max;
    uint32_t state;
    double preshoot, deemphasis;
  } cases[] = {
      {"on both limits", 1, 2, 20, 20, 1, 20, 20},
      {"preshoot too large", 1, 2, below, 20, 0, 20, 20},
      {"de-emphasis too large", 1, 2, 20, below, 0, 20, 20},
      {"both too large", 1, 2, below, below, 0, 20, 20},
      {"no reference", kNone, kNone, 0, 0, 1, 77, 77},
      {"preshoot only", 1, kNone, 20, 0, 1, 20, 77},
      {"bad preshoot only", 1, kNone, below, 0, 0, 20, 77},
      {"de-emphasis only", kNone, 2, 0, 20, 1, 77, 20},
      {"bad de-emphasis only", kNone, 2, 0, below, 0, 77, 20},
      {"preshoot reference missing", 3, 2, 20, 20, 3, 77, 20},
      {"and a bad de-emphasis", 3, 2, 20, below, 3, 77, 20},
      {"de-emphasis reference missing", 1, 3, 20, 20, 3, 20, 77},
      {"and a bad preshoot", 1, 3, below, 20, 3, 20, 77},
      {"both missing", 3, 3, 20, 20, 3, 77, 77},
      {"references outside the table", 11, 0xFFFFFFFE, 20, 20, 3, 77, 77},
      {"a ratio below 0", kNone, 4, 0, 20, 0, 77, NAN},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    VomoPreset presets[11]{};
    presets[1].dVb = 50;    // ten times as much as the preset
    presets[2].dVb = 0.5;   // a tenth
    presets[4].dVb = -0.5;  // record 3 is not measured
    presets[0].dVb = 5;
    presets[0].dPreshootDB = presets[0].dDeemphasisDB = 77;
    presets[0].ulState = 9;
    presets[0].dPreshootMin = presets[0].dDeemphasisMin = 20;
    presets[0].dPreshootMax = c.preshoot_max;
    presets[0].dDeemphasisMax = c.deemphasis_max;
    presets[0].ulPreshootRef = c.preshoot_ref;
    presets[0].ulDeemphasisRef = c.deemphasis_ref;
    EXPECT_EQ(Vomo_CALCULATE_PRESET_RESULTS(1, presets), 0u);
    EXPECT_EQ(presets[0].ulState, c.state);
    EXPECT_EQ(presets[0].dPreshootDB, c.preshoot);
    if (std::isnan(c.deemphasis)) {
      EXPECT_TRUE(std::isnan(presets[0].dDeemphasisDB));
    } else {
      EXPECT_EQ(presets[0].dDeemphasisDB, c.deemphasis);
    }
    EXPECT_EQ(presets[1].ulState, 0u);
  }
}

TEST(Presets, UnmeasuredReferenceAndUnmeasuredPresets) {
  Table table;
  for (uint32_t i = 0; i < 11; ++i) table.presets[i].dVb = i == 4 ? 0.0 : 0.5;
  table.presets[4].ulState = 9;
  EXPECT_EQ(Vomo_CALCULATE_PRESET_RESULTS(11, table.presets), 0u);
  const uint32_t states[11] = {3, 3, 3, 3, 9, 3, 3, 0, 0, 3, 3};
  for (uint32_t i = 0; i < 11; ++i) EXPECT_EQ(table.presets[i].ulState, states[i]) << i;

  // Only as many as asked for, and never more than there are.
  VomoPreset twelve[12]{};
  for (VomoPreset &preset : twelve) {
    preset = {};
    preset.dVb = 1;
    preset.ulState = 9;
    preset.ulDeemphasisRef = preset.ulPreshootRef = kNone;
  }
  for (const auto &[count, evaluated] : {std::pair{-1, 0}, {0, 0}, {3, 3}, {12, 11}}) {
    for (VomoPreset &preset : twelve) preset.ulState = 9;
    EXPECT_EQ(Vomo_CALCULATE_PRESET_RESULTS(count, twelve), 0u);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(twelve[i].ulState, i < evaluated ? 1u : 9u);
  }
  EXPECT_EQ(Vomo_CALCULATE_PRESET_RESULTS(11, nullptr), 0u);
}

void GiveBlocks(VomoPreset &preset) {
  void *block = nullptr;
  preset.ulClockHandle = Vomo_Handle_and_Memory_Allocate(16, &block);
  preset.sGen3CheckBuf.pucBlocks = static_cast<uint8_t *>(block);
}

TEST(Presets, ResettingAnExistingTable) {
  Table table;
  const VomoHandle handle = table.handle;
  for (uint32_t i = 0; i < 11; ++i) {
    GiveBlocks(table.presets[i]);
    table.presets[i].dVb = 1;
    table.presets[i].ulState = 0;
  }
  ASSERT_EQ(Vomo_RESET_PRESETS(0, 4, nullptr, &table.presets, &table.handle), 0u);
  EXPECT_EQ(table.handle, handle);
  EXPECT_EQ(LiveHandles(), 1);
  for (uint32_t i = 0; i < 11; ++i) {
    EXPECT_EQ(table.presets[i].dVb, i < 4 ? 0.0 : 1.0);
    EXPECT_EQ(table.presets[i].ulState, 2u);
    EXPECT_EQ(table.presets[i].sGen3CheckBuf.pucBlocks, nullptr);
  }

  // Copies take no handle with them, neither into a new table nor onto the source itself.
  table.presets[0].dVb = table.presets[5].dVb = 3;
  GiveBlocks(table.presets[0]);
  VomoPreset *copy = nullptr;
  VomoHandle copy_handle = 0;
  ASSERT_EQ(Vomo_RESET_PRESETS(0, 5, table.presets, &copy, &copy_handle), 0u);
  EXPECT_EQ(copy[0].dVb, 3);
  EXPECT_EQ(copy[0].ulClockHandle, 0u);
  EXPECT_EQ(copy[4].dDeemphasisMax, table.presets[4].dDeemphasisMax);
  const VomoPreset cleared{};
  EXPECT_EQ(std::memcmp(&copy[5], &cleared, sizeof cleared), 0);
  EXPECT_NE(vomo::Vomo_Handle_Lookup(table.presets[0].ulClockHandle), nullptr);
  ASSERT_EQ(Vomo_RESET_PRESETS(0, 11, table.presets, &table.presets, &table.handle), 0u);
  EXPECT_EQ(table.presets[0].ulClockHandle, 0u);
  EXPECT_EQ(table.presets[0].dVb, 3);
  EXPECT_EQ(LiveHandles(), 2);
  EXPECT_EQ(Vomo_FREE_PRESETS(copy, copy_handle), 0u);
}

TEST(Presets, FreeingIsHarmlessTwice) {
  VomoPreset presets[11]{};
  GiveBlocks(presets[0]);
  GiveBlocks(presets[10]);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Vomo_FREE_PRESETS(presets, 0), 0u);
    EXPECT_EQ(LiveHandles(), 0);
    EXPECT_EQ(presets[10].ulClockHandle, 0u);
  }
  void *block = nullptr;
  EXPECT_EQ(Vomo_FREE_PRESETS(nullptr, Vomo_Handle_and_Memory_Allocate(16, &block)), 0u);
  EXPECT_EQ(Vomo_FREE_PRESETS(nullptr, 0), 0u);
}

TEST(Presets, ResetRefusals) {
  VomoPreset *presets = nullptr;
  VomoHandle handle = 77;
  EXPECT_EQ(Vomo_RESET_PRESETS(0, 12, nullptr, &presets, &handle), Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(Vomo_RESET_PRESETS(0, 11, nullptr, nullptr, &handle), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_RESET_PRESETS(0, 11, nullptr, &presets, nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  {
    const vomo_test::HandlePressure pressure(0);
    EXPECT_EQ(Vomo_RESET_PRESETS(0, 11, nullptr, &presets, &handle),
              Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  }
  EXPECT_EQ(presets, nullptr);
  EXPECT_EQ(handle, 77u);
}

TEST(PresetVoltage, BlocksBelongToThePreset) {
  Table table;
  table.presets[7].sGen3CheckBuf.ucBlockCount = 2;
  const BitSignal signal = PresetSignal(7, 0, 0);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(Measure(signal, 7, table.presets), 0u);
    const VomoPreset &preset = table.presets[7];
    EXPECT_EQ(LiveHandles(), 2);
    EXPECT_EQ(vomo::Vomo_Handle_Lookup(preset.ulClockHandle), preset.sGen3CheckBuf.pucBlocks);
    EXPECT_EQ(preset.sGen3CheckBuf.hBlocks, 0u);
    ASSERT_EQ(preset.sGen3CheckBuf.ucBlockCount, 2);
    EXPECT_EQ(preset.sGen3CheckBuf.pucBlocks[23], 0x78);
  }
  // A capture without blocks leaves none of an earlier one's.
  BitSignal plain;
  for (int k = 0; k < 40; ++k)
    plain.bits.insert(plain.bits.end(), k % 2 == 0 ? 63 : 20, 1 - k % 2 * 2);
  table.presets[7].sGen3CheckBuf.hBlocks = table.handle;  // a number left there is not taken over
  ASSERT_EQ(Measure(plain, 7, table.presets), Vomo_STATUS_PATTERN_NOT_FOUND);
  EXPECT_EQ(table.presets[7].ulClockHandle, 0u);
  EXPECT_EQ(table.presets[7].sGen3CheckBuf.pucBlocks, nullptr);
  EXPECT_EQ(table.presets[7].dVb, 2 * 0.4f);  // of the earlier one
  EXPECT_EQ(LiveHandles(), 1);
}

TEST(PresetVoltage, CapturesThatCannotBeMeasured) {
  Table table;
  const char text[] = "Error computing Vb.";
  BitSignal no_edge, one_edge, high_only;
  no_edge.bits.assign(200, 1);
  one_edge.bits.assign(100, 1);
  one_edge.bits.insert(one_edge.bits.end(), 100, -1);
  for (int k = 0; k < 5; ++k) {
    high_only.bits.insert(high_only.bits.end(), {-1, 1, -1});
    high_only.bits.insert(high_only.bits.end(), 64, 1);
  }
  high_only.bits.insert(high_only.bits.end(), {-1, 1, -1});
  const struct {
    const char *what;
    const BitSignal &signal;
    VomoStatus status;
    const char *text;
  } cases[] = {
      {"no crossover", no_edge, Vomo_STATUS_PATTERN_NOT_FOUND, text},
      {"one crossover", one_edge, Vomo_STATUS_PATTERN_NOT_FOUND, text},
      {"one polarity", high_only, Vomo_STATUS_NOT_ENOUGH_UI,
       "Error computing run length average voltage."},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Vomo_CALCULATE_PRESET_RESULTS(11, table.presets);
    EXPECT_EQ(Measure(c.signal, 0, table.presets), c.status);
    EXPECT_NE(std::strstr(Vomo_Status_Message(Vomo_STATUS_COMPUTATION_ERROR), c.text), nullptr);
    EXPECT_EQ(table.presets[0].dVb, 0.0);
  }
}

// A unit interval eight times too long leaves room for 5 crossovers in 16 bits, and the search ends
// with a warning; what it found is measured.
TEST(PresetVoltage, AWarningGoesOn) {
  Table table;
  const BitSignal signal = PresetSignal(0, 0, -0.25);
  Samples capture(signal.Samples(), signal.interval_s());
  VomoCrossoverData *list = nullptr;
  VomoHandle handle = 0;
  double smallest = 0;
  ASSERT_EQ(Vomo_FIND_CROSSOVERS(capture.get(), 0, capture.get()->ulNumSamples - 1, 8 * signal.ui_s,
                                 0, &list, &handle, nullptr, nullptr, &smallest),
            Vomo_STATUS_CROSSOVER_MEMORY_LIMIT);
  Vomo_HANDLE_FREE(handle);
  VomoWaveform *waveforms[] = {capture.get()};
  ASSERT_EQ(Vomo_CALCULATE_Vb(waveforms, 0, 8 * signal.ui_s, 8, 8, 3, 7, table.presets), 0u);
  EXPECT_FLOAT_EQ(static_cast<float>(table.presets[0].dVb), 2 * 0.4f * 0.5f);
}

TEST(PresetVoltage, Refusals) {
  struct Call {
    VomoWaveform **waveforms;
    uint32_t preset = 3;
    double ui_s = 125e-12;
    int32_t run_min = 64;
    uint32_t run_max = 64, first = 40, last = 60;
    VomoPreset *presets;
  };
  Table table;
  const BitSignal signal = PresetSignal(3, 0, 0);
  Samples capture(signal.Samples(), signal.interval_s());
  VomoWaveform *waveforms[] = {capture.get()}, *none[] = {nullptr};
  for (int i = 0; i < 11; ++i) table.presets[i].sGen3CheckBuf.ucFirstValue = 0x77;
  const struct {
    const char *what;
    std::function<void(Call &)> spoil;
    bool measured;  // as far as the capture goes
    VomoStatus status;
  } cases[] = {
      {"nothing", [](Call &) {}, true, Vomo_STATUS_SUCCESS},
      {"last preset", [](Call &c) { c.preset = 10; }, true, Vomo_STATUS_SUCCESS},
      {"preset", [](Call &c) { c.preset = 11; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"empty window", [](Call &c) { c.first = 60; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"window behind the run", [](Call &c) { c.last = 65; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"window far behind it", [](Call &c) { c.last = kNone; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"run below 0", [](Call &c) { c.run_min = -64; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"no unit interval", [](Call &c) { c.ui_s = 0; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"unit interval NaN", [](Call &c) { c.ui_s = NAN; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"no waveforms", [](Call &c) { c.waveforms = nullptr; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"no waveform", [&](Call &c) { c.waveforms = none; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      {"no table", [](Call &c) { c.presets = nullptr; }, false, Vomo_STATUS_PARAM_NOT_VALID},
      // Words of the stages.
      {"longest run", [](Call &c) { c.run_max = 63; }, true, Vomo_STATUS_PARAM_NOT_VALID},
      {"window at the run's begin", [](Call &c) { c.first = 1; }, true,
       Vomo_STATUS_PARAM_NOT_VALID},
      {"another run", [](Call &c) { c.run_min = c.run_max = 90; }, true,
       Vomo_STATUS_PATTERN_NOT_FOUND},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    Call call{.waveforms = waveforms, .presets = table.presets};
    c.spoil(call);
    EXPECT_EQ(Vomo_CALCULATE_Vb(call.waveforms, call.preset, call.ui_s, call.run_min, call.run_max,
                                call.first, call.last, call.presets),
              c.status);
    if (call.preset < 11) {
      uint8_t &value = table.presets[call.preset].sGen3CheckBuf.ucFirstValue;
      EXPECT_EQ(value != 0x77, c.measured);
      value = 0x77;
      EXPECT_EQ(table.presets[call.preset].dVb != 0, c.status == Vomo_STATUS_SUCCESS);
      table.presets[call.preset].dVb = 0;
    }
    EXPECT_EQ(LiveHandles(), 1);
  }
  capture.get()->ulNumSamples = 0;
  EXPECT_EQ(Vomo_CALCULATE_Vb(waveforms, 0, 125e-12, 64, 64, 40, 60, table.presets),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
  capture.get()->ulNumSamples = static_cast<uint32_t>(capture.stored.size());
  capture.get()->dSampleInterval = 0;
  EXPECT_EQ(Vomo_CALCULATE_Vb(waveforms, 0, 125e-12, 64, 64, 40, 60, table.presets),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
}

TEST(PresetVoltage, HandlesItTakes) {
  Table table;
  table.presets[2].sGen3CheckBuf.ucBlockCount = 1;
  const BitSignal signal = PresetSignal(2, 0, 0);
  // Crossovers, run lengths and the blocks; the run lengths are gone before the end.
  vomo_test::ExpectSlotsNeeded(3, [&] {
    const VomoStatus status = Measure(signal, 2, table.presets);
    Vomo_FREE_PRESETS(table.presets, 0);
    table.presets[2].sGen3CheckBuf.ucBlockCount = 1;
    return status;
  });
}

}  // namespace
