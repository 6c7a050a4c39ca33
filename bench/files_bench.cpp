// Readers of capture files, in bytes of file a second from the page cache, beside the floor that
// reading the bytes sets.
#include <benchmark/benchmark.h>
#include <vomo.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "files/spice_maker.h"
#include "support/memory_file.h"

namespace {

using vomo_test::MemoryFile;

// Voltages of an 8 Gb/s signal as far as their text and bytes go: both signs, several exponents.
float SampleAt(int i) {
  return static_cast<float>(0.4 * std::sin(0.37 * i) + 1e-3 * std::sin(12.9898 * i));
}

constexpr int kTextLines = 4'000'000;

struct TextCase {
  const char *name;
  const char *format;  // of the sample and the time
};

constexpr TextCase kTextCases[] = {
    {"one column, 7 digits", "%1$.6e\n"},        {"two columns", "%2$13.12g\t%1$7.6e\n"},
    {"comma, CRLF", "%2$.9e,%1$.6f\r\n"},        {"one column, 19 digits", "%1$.18e\n"},
    {"three columns", "%2$.9e %1$.6e %1$.6e\n"},
};

std::string MakeText(const TextCase &text) {
  std::string content;
  content.reserve(size_t{kTextLines} * 40);
  for (int i = 0; i < kTextLines; ++i) {
    char line[128];
    const int length =
        std::snprintf(line, sizeof line, text.format, double{SampleAt(i)}, 12.5e-12 * i);
    content.append(line, static_cast<size_t>(length));
  }
  return content;
}

void Check(benchmark::State &state, bool good) {
  if (!good) state.SkipWithError("the result is wrong");
}

void ReadText(benchmark::State &state) {
  const TextCase &text = kTextCases[state.range(0)];
  const std::string content = MakeText(text);
  const MemoryFile file(content);
  for (auto _ : state) {
    uint32_t count = 0;
    VomoWaveform *waveform = nullptr;
    VomoHandle handle = 0;
    const VomoStatus status =
        Vomo_Read_Text_File(file.name(), 0, 12.5e-12, &count, &waveform, &handle);
    Check(state, status == Vomo_STATUS_SUCCESS && count == kTextLines);
    for (int i = 0; i < kTextLines; i += 100'003) {
      Check(state, std::abs(waveform->pfSamples[i] - SampleAt(i)) < 1e-6);
    }
    Vomo_HANDLE_FREE(handle);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(content.size()));
  state.SetLabel(text.name);
}
BENCHMARK(ReadText)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);

constexpr int kBinarySamples = 25'000'000;  // of each waveform

// Two columns in blocks of 2048 floats; both are delivered.
void ReadSpice(benchmark::State &state) {
  const bool swapped = state.range(0) != 0;
  constexpr int kBlock = 2048;
  vomo_test::SpiceMaker maker(swapped ? std::endian::big : std::endian::little);
  maker.Header(vomo_test::SpiceHeader("00000002"));
  std::vector<float> block(kBlock);
  for (int start = 0; start < 2 * kBinarySamples; start += kBlock) {
    for (int i = 0; i < kBlock; ++i) block[static_cast<size_t>(i)] = SampleAt(start + i);
    maker.Data(block);
  }
  const MemoryFile file(maker.bytes());
  const double interval_s = 12.5e-12;
  for (auto _ : state) {
    uint32_t count = 0;
    VomoWaveform *waveforms[2] = {};
    VomoHandle handles[2] = {};
    const VomoStatus status = Vomo_Read_Combined_Spice_File(
        file.name(), &interval_s, &count, &waveforms[0], &handles[0], &waveforms[1], &handles[1]);
    Check(state, status == Vomo_STATUS_SUCCESS && count >= kBinarySamples &&
                     waveforms[0]->pfSamples[12345] == SampleAt(12345) &&
                     waveforms[1]->pfSamples[5] == SampleAt(static_cast<int>(count) + 5));
    for (const VomoHandle handle : handles) Vomo_HANDLE_FREE(handle);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(maker.bytes().size()));
  state.SetLabel(swapped ? "other byte order" : "own byte order");
}
BENCHMARK(ReadSpice)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);

// The floor: every byte copied out of the page cache once, in blocks.
void ReadBytes(benchmark::State &state) {
  const MemoryFile file(std::string(size_t{200} << 20, 'x'));
  std::vector<char> block(256 * 1024);
  for (auto _ : state) {
    std::FILE *stream = std::fopen(file.name(), "rb");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    while (std::fread(block.data(), 1, block.size(), stream) == block.size()) {
      benchmark::ClobberMemory();
    }
    std::fclose(stream);
  }
  state.SetBytesProcessed(state.iterations() * (int64_t{200} << 20));
}
BENCHMARK(ReadBytes)->Unit(benchmark::kMillisecond);

}  // namespace
