#include <gtest/gtest.h>
#include <vomo.h>

#include <tuple>
#include <type_traits>
#include <utility>

#include "support/crossovers.h"

namespace {

constexpr VomoStatus kBad = Vomo_STATUS_PARAM_OUT_OF_RANGE;

// Calls with good arguments, except for one.
template <size_t kSpoiled, class Function, class... Args, class Value>
VomoStatus CallWith(Value value, Function function, std::tuple<Args...> args) {
  std::get<kSpoiled>(args) = value;
  return std::apply(function, args);
}

template <size_t k, class Function, class... Args>
void SpoilArgument(const char *name, Function function, const std::tuple<Args...> &args) {
  using Argument = std::tuple_element_t<k, std::tuple<Args...>>;
  if constexpr (std::is_pointer_v<Argument>) {
    EXPECT_EQ(CallWith<k>(nullptr, function, args), kBad) << name << " NULL " << k;
  }
  if constexpr (std::is_same_v<Argument, const VomoWaveform *>) {
    VomoWaveform without_samples = *std::get<k>(args);
    without_samples.pfSamples = nullptr;
    EXPECT_EQ(CallWith<k>(&without_samples, function, args), kBad) << name << " samples";
  }
  if constexpr (k == 0 && std::is_same_v<Argument, int32_t>) {
    EXPECT_EQ(CallWith<k>(-1, function, args), kBad) << name << " index";
  }
}

// Every pointer NULL in turn, samples that are not there, and a first argument, which is a burst's
// index or the number of bursts, of -1.
template <class Function, class... Args, size_t... k>
void CheckEach(const char *name, Function function, const std::tuple<Args...> &args,
               std::index_sequence<k...>) {
  (SpoilArgument<k>(name, function, args), ...);
}
template <class... Params, class... Args>
void Check(const char *name, VomoStatus (*function)(Params...) noexcept, Args... args) {
  CheckEach(name, function, std::tuple<Params...>(args...), std::index_sequence_for<Params...>());
}

TEST(LfRefusals, NullAndNegative) {
  float samples[] = {-1, 1, 1, -1, 1, 1, -1, 1};
  VomoWaveform waveform{8, 1.0, samples, 0, 0};
  const uint32_t bounds[] = {1, 6, 3, 6};
  const double prepare[] = {1, 3, 5};
  const double intervals[] = {1, 2, 1, 2};
  const float *common_mode = samples;
  vomo_test::CrossoverList list({0.5, 1.5, 3.5, 4.5, 6.5});
  const VomoCrossoverData *edges = list.get();
  struct {
    double min = -77, max = -77, mean = -77;
    float high = -77, low = -77;
    int32_t number = -77;
    uint32_t *indices = nullptr;
    double *times = nullptr;
    VomoHandle handle = 77;
  } out;

  for (const auto find : {Vomo_LF_BURST_BOUNDS, Vomo_LF_BURST_BOUNDS_PWM}) {
    Check("bounds", find, &waveform, 1, 0, 0.5f, 0.0, &out.number, &out.indices, &out.handle);
  }
  Check("trim", Vomo_LF_TRIM_BOUNDS, 1, 1.0, 0.0f, 0.0f, bounds, &out.indices, &out.handle);
  Check("prepare", Vomo_STALL_PREPARE_BOUNDS, &waveform, 1, 0u, bounds, &out.times, &out.handle);
  Check("amplitude", Vomo_LF_AMPLITUDE, 0, &waveform, bounds, edges, &out.min, &out.max);
  Check("voltage", Vomo_LF_VOLTAGE_PP, 0, &waveform, bounds, edges, &out.min, &out.max);
  Check("durations", Vomo_LF_BIT_DURATION_TOLERANCE, 0, 1, 2, edges, intervals, &out.min, &out.max);
  Check("burst time", Vomo_LF_BURST_TIME, 0, 1.0, bounds, &out.min, &out.max);
  Check("repeat time", Vomo_LF_REPEAT_TIME, 0, 1.0, bounds, &out.min, &out.max);
  Check("common mode", Vomo_LF_COMMON_MODE, 0, &common_mode, 0u, 7u, &out.max);
  Check("levels", Vomo_LF_DIFF_DC, 0, &waveform, prepare, 0.0, 0.0, &out.high, &out.low, &out.min,
        &out.max);
  Check("duty cycle", Vomo_LF_DUTY_CYCLE, 0, edges, intervals, 1, &out.min, &out.max);
  Check("polarity", Vomo_LF_INITIAL_RISE_FALL, &waveform, edges, 1, &out.number);
  Check("minor", Vomo_LF_MINOR_DURATION, 0, edges, intervals, &out.min, &out.max);
  Check("period", Vomo_LF_PERIOD, 0, edges, intervals, &out.mean, &out.min, &out.max);
  Check("prepare time", Vomo_LF_PREPARE_TIME, 0, prepare, &out.min, &out.max);
  Check("ratio", Vomo_LF_TRANSMIT_RATIO, 0, edges, intervals, &out.min, &out.max);
  // Its levels may be NULL.
  VomoStatus (*rise_fall)(int32_t, const VomoWaveform *, const VomoCrossoverData *, double *,
                          double *) noexcept = [](int32_t index, const VomoWaveform *w,
                                                  const VomoCrossoverData *c, double *rise,
                                                  double *fall) noexcept {
    return Vomo_LF_RISE_FALL_TIME(w, index, c, 1, 9, 0.2f, 0.8f, 0.5f, 0.75f, nullptr, rise, fall);
  };
  Check("rise and fall", rise_fall, 0, &waveform, edges, &out.min, &out.max);
  // Those that read crossover times need them.
  VomoCrossoverData untimed = *edges;
  untimed.pdTimes = nullptr;
  EXPECT_EQ(Vomo_LF_AMPLITUDE(0, &waveform, bounds, &untimed, &out.min, &out.max), kBad);
  EXPECT_EQ(Vomo_LF_INITIAL_RISE_FALL(&waveform, &untimed, 1, &out.number), kBad);
  EXPECT_EQ(rise_fall(0, &waveform, &untimed, &out.min, &out.max), kBad);

  for (const double untouched : {out.min, out.max, out.mean, double{out.high}, double{out.low}}) {
    EXPECT_EQ(untouched, -77.0);
  }
  EXPECT_EQ(out.number, -77);
  EXPECT_EQ(out.handle, 77u);
  EXPECT_EQ(out.indices, nullptr);
  EXPECT_EQ(out.times, nullptr);
}

}  // namespace
