#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "support/memory_file.h"

namespace {

using vomo_test::MemoryFile;

std::string Written(std::vector<float> samples, double interval_s, uint32_t hidden_front = 0,
                    uint32_t hidden_back = 0) {
  const MemoryFile file("what stood here before");
  VomoWaveform waveform{};
  waveform.ulNumSamples = static_cast<uint32_t>(samples.size()) - hidden_front - hidden_back;
  waveform.pfSamples = samples.data() + hidden_front;
  waveform.dSampleInterval = interval_s;
  waveform.ulTrimFront = hidden_front;
  waveform.ulTrimBack = hidden_back;
  EXPECT_EQ(Vomo_Write_File(file.name(), &waveform), Vomo_STATUS_SUCCESS);
  return file.Content();
}

TEST(WaveformWriter, WritesALineForEachVisibleSample) {
  EXPECT_EQ(Written({}, 1e-12), "");
  EXPECT_EQ(Written({0.5f, 0.25f}, 1e-12),
            "            0\t5.000000e-01\n"
            "        1e-12\t2.500000e-01\n");
  EXPECT_EQ(Written({9, -1.5f, 2e-30f, 9, 9}, 0.1, 1, 2),
            "            0\t-1.500000e+00\n"
            "          0.1\t2.000000e-30\n");
  EXPECT_EQ(Written({NAN, INFINITY, -INFINITY}, INFINITY),
            "            0\t    nan\n"
            "          inf\t    inf\n"
            "          inf\t   -inf\n");
}

// Adding 0.1 ten times gives less than 1, by one unit in the last place: within 12 digits the same,
// but a million times gives 100000.00000133288.
TEST(WaveformWriter, AddsTheTimeUp) {
  const std::string text = Written(std::vector<float>(1'000'001), 0.1);
  EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2) + 1), "100000.000001\t0.000000e+00\n");
}

// Every number as printf would write it.
TEST(WaveformWriter, FormatsAsPrintf) {
  std::mt19937_64 random(11);
  for (int i = 0; i < 300; ++i) {
    const double step =
        std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 400) - 250);
    const float value = std::bit_cast<float>(static_cast<uint32_t>(random() % 0x7F800000u));
    char expected[256];
    const int first = std::snprintf(expected, sizeof expected, "%13.12lg\t%7.6e\n", 0.0, value);
    std::snprintf(expected + first, sizeof expected - static_cast<size_t>(first),
                  "%13.12lg\t%7.6e\n", step, -value);
    ASSERT_EQ(Written({value, -value}, step), expected);
  }
}

TEST(WaveformWriter, StoresTheNameThenTestsItsArguments) {
  VomoWaveform waveform{};
  EXPECT_EQ(Vomo_Write_File("some name", nullptr), Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_STREQ(Vomo_Status_Message(Vomo_STATUS_FILE_READ_ERROR),
               "Error reading data input file \"some name\"");
  waveform.ulNumSamples = 1;
  EXPECT_EQ(Vomo_Write_File("some name", &waveform), Vomo_STATUS_PARAM_NOT_VALID);
  waveform.ulNumSamples = 0;
  for (const char *name : {static_cast<const char *>(nullptr), "", "/nowhere/at all", "/tmp"}) {
    EXPECT_EQ(Vomo_Write_File(name, &waveform), Vomo_STATUS_FILE_READ_ERROR);
  }
}

// What is written reads back: seven digits are fewer than a float has, so within half of the last.
TEST(WaveformWriter, WritesWhatTheTextReaderReads) {
  std::vector<float> samples;
  for (int i = 0; i < 5000; ++i) samples.push_back(std::sin(0.01f * static_cast<float>(i)));
  const MemoryFile file(Written(samples, 1e-11));
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  ASSERT_EQ(Vomo_Read_Text_File(file.name(), 0, 1e-11, &count, &waveform, &handle),
            Vomo_STATUS_SUCCESS);
  ASSERT_EQ(count, samples.size());
  for (size_t i = 0; i < samples.size(); ++i) {
    ASSERT_NEAR(waveform->pfSamples[i], samples[i], 0.6e-6 * std::abs(samples[i])) << i;
  }
  Vomo_HANDLE_FREE(handle);
}

}  // namespace
