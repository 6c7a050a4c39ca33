// The vector operations against the floor that the memory sets: a copy of the same array.
#include <benchmark/benchmark.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "primitives/band_scan.h"
#include "primitives/cpu_level.h"
#include "primitives/resampler.h"
#include "primitives/vec.h"

namespace {

using namespace vomo;

// A sawtooth from -500 to 499, whose sums, extremes and crossings are known for every number of
// whole periods.
constexpr int32_t kPeriod = 1000;

template <class T>
T Sawtooth(int64_t index) {
  return static_cast<T>(index % kPeriod - kPeriod / 2);
}

struct Data {
  explicit Data(int32_t length)
      : count(length), a(Size()), b(Size()), out(2 * Size()), da(Size()), dout(Size()) {
    for (std::size_t i = 0; i < Size(); ++i) {
      a[i] = Sawtooth<float>(static_cast<int64_t>(i));
      b[i] = 1 + std::fabs(a[i]);
      da[i] = static_cast<double>(a[i]);
    }
  }
  std::size_t Size() const { return static_cast<std::size_t>(count); }
  VomoComplexFloat *Pairs(std::vector<float> &scalars) const {
    return reinterpret_cast<VomoComplexFloat *>(scalars.data());
  }

  int32_t count;
  std::vector<float> a, b, out;
  std::vector<double> da, dout;
  double number = 0;
  int32_t place = 0;
};

// One operation: what it moves through the memory for each element, and what must come out.
struct Operation {
  const char *name;
  int bytes_per_element;
  std::function<void(Data &)> run;
  std::function<bool(const Data &)> good;
};

const Operation kOperations[] = {
    {"memcpy", 8, [](Data &d) { std::memcpy(d.out.data(), d.a.data(), d.Size() * sizeof(float)); },
     [](const Data &d) { return d.out[d.Size() - 1] == 499; }},
    {"VecAdd_32f", 12, [](Data &d) { VecAdd_32f(d.a.data(), d.b.data(), d.out.data(), d.count); },
     [](const Data &d) { return d.out[0] == 1 && d.out[999] == 999; }},
    {"VecScaleInPlace_64f", 16, [](Data &d) { VecScaleInPlace_64f(-1, d.da.data(), d.count); },
     [](const Data &d) { return std::fabs(d.da[0]) == 500 && std::fabs(d.da[999]) == 499; }},
    // Half as many complex elements: two sources and one destination of 4 bytes for each scalar.
    {"VecMul_32fc", 12,
     [](Data &d) {
       VecMul_32fc(d.Pairs(d.a), d.Pairs(d.b), d.Pairs(d.out), d.count / 2);
     },  // (-500 - 499i)(501 + 500i) = -1000 - 499999i
     [](const Data &d) { return d.out[0] == -1000 && d.out[1] == -499999; }},
    {"VecMagnitude_32fc", 6,
     [](Data &d) { VecMagnitude_32fc(d.Pairs(d.a), d.out.data(), d.count / 2); },
     [](const Data &d) { return d.out[0] == std::sqrt(500.f * 500 + 499.f * 499); }},
    {"VecConvert_64f32f", 12,
     [](Data &d) { VecConvert_64f32f(d.da.data(), d.out.data(), d.count); },
     [](const Data &d) { return d.out[1] == -499; }},
    {"VecRamp_64f", 8, [](Data &d) { VecRamp_64f(d.dout.data(), d.count, 1, 0.5f); },
     [](const Data &d) { return d.dout[999] == 500.5; }},
    {"VecMean_32f", 4,
     [](Data &d) {
       float mean;
       VecMean_32f(d.a.data(), d.count, &mean, 2);
       d.number = static_cast<double>(mean);
     },
     [](const Data &d) { return d.number == -0.5; }},
    {"VecStdDev_64f", 16, [](Data &d) { VecStdDev_64f(d.da.data(), d.count, &d.number); },
     [](const Data &d) { return std::fabs(d.number - 288.675) < 1e-3; }},
    {"VecMinMaxIndex_32f", 4,
     [](Data &d) {
       float low, high;
       int32_t low_at;
       VecMinMaxIndex_32f(d.a.data(), d.count, &low, &low_at, &high, &d.place);
     },
     [](const Data &d) { return d.place == kPeriod - 1; }},
    {"VecLog10_32f", 8, [](Data &d) { VecLog10_32f(d.b.data(), d.out.data(), d.count); },
     [](const Data &d) { return d.out[401] == 2.0f; }},
    {"VecErfInv_64f", 16,
     [](Data &d) {
       VecRamp_64f(d.dout.data(), d.count, 0, static_cast<float>(1.0 / d.count));
       VecErfInv_64f(d.dout.data(), d.dout.data(), d.count);
     },
     [](const Data &d) { return std::fabs(d.dout[d.Size() / 2] - 0.4769362762) < 1e-6; }},
    {"Resampler 1:2, 8 taps", 12,
     [](Data &d) {
       ResamplerState *state = nullptr;
       double time = 0;
       d.place = 0;
       if (ResamplerCreate(&state, 1, 2, 8, 0.95f, 9.0f, 2) != 0) return;
       ResamplerRun(state, d.a.data(), d.count, d.out.data(), 1, &time, &d.place);
       ResamplerFree(state);
     },
     [](const Data &d) { return d.place == 2 * d.count && std::fabs(d.out[1001] - 0.5f) < 1e-3f; }},
};

void Run(benchmark::State &state, const Operation &operation) {
  Data data(static_cast<int32_t>(state.range(0)));
  operation.run(data);
  if (!operation.good(data)) return state.SkipWithError("wrong result");
  for (auto _ : state) {
    operation.run(data);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * data.count * operation.bytes_per_element);
  state.SetItemsProcessed(state.iterations() * data.count);
}

// The finder's way: a piece at a time, whose masks are used while they are in the cache.
void RunBandMasks(benchmark::State &state, CpuLevel level) {
  constexpr uint32_t kPiece = 4096;
  if (!ForceCpuLevel(level)) return state.SkipWithError("not on this machine");
  const Data data(static_cast<int32_t>(state.range(0)));
  uint64_t masks[4][BandMaskWords(kPiece)];
  const auto count_above = [&] {
    int64_t above = 0;
    for (std::size_t begin = 0; begin < data.Size(); begin += kPiece) {
      const auto count = static_cast<uint32_t>(std::min<std::size_t>(kPiece, data.Size() - begin));
      BandMasks(data.a.data() + begin, count, 9.5f, masks[0], masks[1], masks[2], masks[3]);
      for (uint32_t w = 0; w < BandMaskWords(count); ++w) above += std::popcount(masks[1][w]);
    }
    return above;
  };
  if (count_above() != int64_t{data.count} / kPeriod * 490) state.SkipWithError("wrong result");
  for (auto _ : state) benchmark::DoNotOptimize(count_above());
  state.SetBytesProcessed(state.iterations() * data.count * 4);
  state.SetItemsProcessed(state.iterations() * data.count);
  SelectCpuLevel();
}

const bool registered = [] {
  const auto with_sizes = [](benchmark::internal::Benchmark *bench) {
    bench->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
  };
  for (const Operation &operation : kOperations) {
    with_sizes(benchmark::RegisterBenchmark(operation.name, Run, operation));
  }
  with_sizes(benchmark::RegisterBenchmark("BandMasks baseline", RunBandMasks, CpuLevel::kBaseline));
  with_sizes(benchmark::RegisterBenchmark("BandMasks AVX2", RunBandMasks, CpuLevel::kAvx2));
  with_sizes(benchmark::RegisterBenchmark("BandMasks AVX-512", RunBandMasks, CpuLevel::kAvx512));
  return true;
}();

}  // namespace
