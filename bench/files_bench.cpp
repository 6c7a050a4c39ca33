// Readers of capture files, in bytes of file a second from the page cache, beside the floor that
// reading the bytes sets.
#include <benchmark/benchmark.h>
#include <vomo.h>

#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "files/capture_makers.h"
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

// Integer steps of the same signal, made volts by the file's scale.
constexpr double kStep = 1.0 / 256;

template <class Raw>
std::string RawSteps(int64_t count, std::endian order) {
  std::vector<Raw> raw(static_cast<size_t>(count));
  for (size_t i = 0; i < raw.size(); ++i)
    raw[i] = static_cast<Raw>(static_cast<int>(100 * SampleAt(static_cast<int>(i))));
  return vomo_test::Raw(raw, order);
}

float StepAt(int i) {
  return static_cast<float>(kStep * static_cast<int>(100 * SampleAt(i)));
}

template <class Raw>
std::string MakeTrc(int64_t count) {
  return vomo_test::MakeTrc({.samples = RawSteps<Raw>(count, std::endian::little),
                             .data_type = sizeof(Raw) == 2,
                             .gain = static_cast<float>(kStep)});
}

template <class Raw, uint32_t kFormat, std::endian kOrder>
std::string MakeWfm(int64_t count) {
  return vomo_test::MakeWfm({.samples = RawSteps<Raw>(count, kOrder),
                             .format = kFormat,
                             .bytes_per_point = sizeof(Raw),
                             .version = 3,
                             .order = kOrder,
                             .scale = kStep});
}

std::string MakeBin(int64_t count) {
  std::vector<float> samples(static_cast<size_t>(count));
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = StepAt(static_cast<int>(i));
  return vomo_test::MakeBin({{samples}});
}

struct BinaryCase {
  const char *name;
  std::string (*make)(int64_t count);
  decltype(Vomo_Read_BIN_File) *read;
};

constexpr auto kLittle = std::endian::little, kBig = std::endian::big;
const BinaryCase kBinaryCases[] = {
    {"BIN", MakeBin, Vomo_Read_BIN_File},
    {"TRC 16 bits", MakeTrc<int16_t>, Vomo_Read_TRC_File},
    {"TRC 8 bits", MakeTrc<int8_t>, Vomo_Read_TRC_File},
    {"WFM 16 bits", MakeWfm<int16_t, 0, kLittle>, Vomo_Read_WFM_File},
    {"WFM 16 bits, other order", MakeWfm<int16_t, 0, kBig>, Vomo_Read_WFM_File},
    {"WFM 8 bits", MakeWfm<int8_t, 7, kLittle>, Vomo_Read_WFM_File},
    {"WFM floats, other order", MakeWfm<float, 4, kBig>, Vomo_Read_WFM_File},
};

// Of range 0 the case, of range 1 the samples.
void ReadBinary(benchmark::State &state) {
  const BinaryCase &format = kBinaryCases[state.range(0)];
  const std::string content = format.make(state.range(1));
  const MemoryFile file(content);
  for (auto _ : state) {
    double interval_s = 0;
    uint32_t count = 0;
    VomoWaveform *waveform = nullptr;
    VomoHandle handle = 0;
    const VomoStatus status = format.read(file.name(), &interval_s, &count, &waveform, &handle);
    Check(state, status == Vomo_STATUS_SUCCESS && count == state.range(1) &&
                     waveform->pfSamples[0] == StepAt(0) &&
                     waveform->pfSamples[654'321] == StepAt(654'321) &&
                     waveform->pfSamples[count - 1] == StepAt(static_cast<int>(count - 1)));
    Vomo_HANDLE_FREE(handle);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(content.size()));
  state.SetLabel(format.name);
}
BENCHMARK(ReadBinary)
    ->ArgsProduct({benchmark::CreateDenseRange(0, std::size(kBinaryCases) - 1, 1),
                   {1'000'000, 10'000'000, 50'000'000}})
    ->Unit(benchmark::kMillisecond);

// As many points as are read at most, in each of the formats.
void ReadS4P(benchmark::State &state) {
  static const char *const kFormats[] = {"RI", "MA", "DB"};
  constexpr int kPoints = 2000;
  std::string content = std::string("# GHz S ") + kFormats[state.range(0)] + " R 50\n";
  for (int i = 0; i < 32 * kPoints; ++i) {
    char text[64];
    if (i % 32 == 0) {
      content.append(text,
                     static_cast<size_t>(std::snprintf(text, sizeof text, "%.6f", i / 640.0)));
    }
    const double number = i % 2 == 0 ? SampleAt(i) : 180.0 * SampleAt(i);
    const int length = std::snprintf(text, sizeof text, " %.9e%s", number, i % 8 == 7 ? "\n" : "");
    content.append(text, static_cast<size_t>(length));
  }
  const MemoryFile file(content);
  for (auto _ : state) {
    VomoSparamData *record = nullptr;
    const VomoStatus status = Vomo_Read_S4P_File(file.name(), &record);
    Check(state, status == Vomo_STATUS_SUCCESS && record->ulSArrayLength == kPoints &&
                     record->pdSfreq[3] == 0.1e9);
    if (state.range(0) == 0) {
      Check(state, std::abs(record->pspSArray[7][1][2].fRe - SampleAt(7 * 32 + 12)) < 1e-7);
    }
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(content.size()));
  state.SetLabel(kFormats[state.range(0)]);
}
BENCHMARK(ReadS4P)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void WriteText(benchmark::State &state) {
  std::vector<float> samples(1'000'000);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = SampleAt(static_cast<int>(i));
  VomoWaveform waveform{static_cast<uint32_t>(samples.size()), 12.5e-12, samples.data(), 0, 0};
  const MemoryFile file;
  for (auto _ : state) {
    Check(state, Vomo_Write_File(file.name(), &waveform) == Vomo_STATUS_SUCCESS);
  }
  const std::string text = file.Content();
  Check(state, text.starts_with("            0\t0.000000e+00\n"));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(WriteText)->Unit(benchmark::kMillisecond);

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
