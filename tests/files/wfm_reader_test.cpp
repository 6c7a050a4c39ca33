#include <gtest/gtest.h>
#include <vomo.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "files/capture_makers.h"
#include "files/read_support.h"

namespace {

using vomo_test::kWfmFields;
using vomo_test::MakeWfm;
using vomo_test::MemoryFile;
using vomo_test::Raw;
using vomo_test::ReadWith;
using vomo_test::Seen;
using vomo_test::WfmFile;
using Floats = std::vector<float>;

constexpr VomoStatus kOk = Vomo_STATUS_SUCCESS, kReadError = Vomo_STATUS_FILE_READ_ERROR,
                     kNoMemory = Vomo_STATUS_MEMORY_ALLOCATION_FAILED;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The interval output is set as soon as the header is read, so also when memory is lacking.
Seen ReadWfm(const std::string &bytes, uint32_t limit = 0) {
  const MemoryFile file(bytes);
  double interval_s = -1;
  Seen seen = ReadWith(limit, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
    return Vomo_Read_WFM_File(file.name(), &interval_s, count, waveform, handle);
  });
  EXPECT_EQ(interval_s, seen.status == kReadError ? -1 : 1e-11);
  return seen;
}

struct Format {
  const char *what;
  uint32_t number;
  int8_t bytes;
  std::string (*raw)(std::endian order);
  Floats values;
};

// Extremes and signs of each; scale 0.5 and offset 3 keep them exact, or rounded once as stated.
const Format kFormats[] = {
    {"16-bit signed",
     0,
     2,
     [](std::endian order) {
       return Raw<int16_t>({0, 1, -32768, 32767}, order);
     },
     {3, 3.5f, -16381, 16386.5f}},
    {"32-bit signed",
     1,
     4,
     [](std::endian order) {
       return Raw<int32_t>({0, -1, INT32_MIN, INT32_MAX}, order);
     },
     {3, 2.5f, -1073741824, 1073741824}},
    {"32-bit unsigned",
     2,
     4,
     [](std::endian order) {
       return Raw<uint32_t>({0, 1, 0x80000000, 0xFFFFFFFF}, order);
     },
     {3, 3.5f, 1073741824, 2147483648}},
    {"32-bit float",
     4,
     4,
     [](std::endian order) {
       return Raw<float>({0, -1, 1e30f, 0.25f}, order);
     },
     {3, 2.5f, 5e29f, 3.125f}},
    {"64-bit float",
     5,
     8,
     [](std::endian order) {
       return Raw<double>({0, -1, 1e300, 0.25}, order);
     },
     {3, 2.5f, INFINITY, 3.125f}},
    {"8-bit unsigned",
     6,
     1,
     [](std::endian order) {
       return Raw<uint8_t>({0, 1, 128, 255}, order);
     },
     {3, 3.5f, 67, 130.5f}},
    {"8-bit signed",
     7,
     1,
     [](std::endian order) {
       return Raw<int8_t>({0, -1, -128, 127}, order);
     },
     {3, 2.5f, -61, 66.5f}},
};

TEST(WfmReader, ReadsEveryFormatVersionAndByteOrder) {
  for (const Format &format : kFormats) {
    for (const int version : {1, 2, 3}) {
      for (const std::endian order : {std::endian::little, std::endian::big}) {
        SCOPED_TRACE(format.what + std::string(" version ") + std::to_string(version));
        WfmFile file{.samples = format.raw(order),
                     .format = format.number,
                     .bytes_per_point = format.bytes,
                     .version = version,
                     .order = order,
                     .scale = 0.5,
                     .offset = 3};
        file.before = std::string(3, '\x7E');
        file.behind = std::string(64, '\x7E');
        const Seen seen = ReadWfm(MakeWfm(file));
        EXPECT_EQ(seen.status, kOk);
        EXPECT_EQ(seen.count, 4u);
        EXPECT_EQ(seen.samples, format.values);
        EXPECT_EQ(seen.interval_s, 1e-11);
        EXPECT_EQ(ReadWfm(MakeWfm(file), 2).samples,
                  Floats(format.values.begin(), format.values.begin() + 2));
        EXPECT_EQ(ReadWfm(MakeWfm(file), 9).count, 4u);
      }
    }
  }
}

// 2^30 * (1 + 2^-31) - 2^30 is 0.5; in float the scale would be 1.
TEST(WfmReader, ScalesInDouble) {
  const WfmFile file{.samples = Raw<int32_t>({1 << 30}),
                     .format = 1,
                     .bytes_per_point = 4,
                     .scale = 1 + std::ldexp(1.0, -31),
                     .offset = -std::ldexp(1.0, 30)};
  EXPECT_EQ(ReadWfm(MakeWfm(file)).samples, Floats{0.5f});
}

TEST(WfmReader, HidesInvalidSamples) {
  struct Case {
    const char *what;
    Floats raw;
    uint32_t limit, front, back;
    Floats visible, stored;
  };
  const Case cases[] = {
      {"both ends", {kNaN, kNaN, 1, 2, kNaN}, 0, 2, 1, {1, 2}, {0, 0, 1, 2, 0}},
      {"amid: takes a valid one off the end",
       {kNaN, 1, kNaN, 2, 3},
       0,
       1,
       1,
       {1, 0, 2},
       {0, 1, 0, 2, 3}},
      {"none valid", {kNaN, kNaN}, 0, 2, 0, {}, {0, 0}},
      {"limit before the end", {1, 2, kNaN, kNaN}, 3, 0, 1, {1, 2}, {1, 2, 0}},
      {"infinity is valid", {INFINITY, kNaN}, 0, 0, 1, {INFINITY}, {INFINITY, 0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const WfmFile file{.samples = Raw(c.raw), .format = 4, .bytes_per_point = 4};
    const Seen seen = ReadWfm(MakeWfm(file), c.limit);
    EXPECT_EQ(seen.status, kOk);
    EXPECT_EQ(seen.count, c.stored.size());
    EXPECT_EQ(seen.trim_front, c.front);
    EXPECT_EQ(seen.trim_back, c.back);
    EXPECT_EQ(seen.samples, c.visible);
    EXPECT_EQ(seen.stored, c.stored);
  }
}

// Integers too become NaN, by a scale or an offset that is infinite or none.
TEST(WfmReader, HidesIntegersThatAreMadeInvalid) {
  const double inf = INFINITY;
  const WfmFile file{.samples = Raw<int16_t>({0, 1, -1, 0}), .scale = inf};
  const Seen seen = ReadWfm(MakeWfm(file));
  EXPECT_EQ(seen.trim_front, 1u);
  EXPECT_EQ(seen.trim_back, 1u);
  EXPECT_EQ(seen.samples, Floats({INFINITY, -INFINITY}));
  const WfmFile opposite{.samples = Raw<int16_t>({3, -4}), .scale = 1e308, .offset = -inf};
  EXPECT_EQ(ReadWfm(MakeWfm(opposite)).trim_front, 1u);  // infinity minus infinity
}

// Long runs of NaN over the seams of the blocks that the samples go through.
TEST(WfmReader, HidesInvalidSamplesOverBlocks) {
  constexpr uint32_t kValid = 3 * 32'768, kBack = 40'003;
  for (const uint32_t front : {0u, 70'001u}) {
    Floats raw(front, kNaN);
    for (uint32_t i = 0; i < kValid; ++i) raw.push_back(static_cast<float>(i));
    raw.insert(raw.end(), kBack, kNaN);
    const Seen seen = ReadWfm(MakeWfm({.samples = Raw(raw), .format = 4, .bytes_per_point = 4}));
    EXPECT_EQ(seen.count, raw.size());
    EXPECT_EQ(seen.trim_front, front);
    EXPECT_EQ(seen.trim_back, kBack);
    EXPECT_EQ(seen.samples, Floats(raw.begin() + front, raw.begin() + front + kValid));
  }
}

// An unknown format takes nothing from the file; its number read as the bits of a float, as good as
// 0 unless it is large, is every sample's value.
TEST(WfmReader, GivesAConstantForUnknownFormats) {
  for (const uint32_t format : {3u, 8u, 0x40000000u, 0xC0400000u}) {
    SCOPED_TRACE(format);
    const WfmFile file{.samples = std::string(12, 'x'),
                       .format = format,
                       .bytes_per_point = 3,
                       .scale = 2,
                       .offset = -1};
    const auto value = static_cast<float>(double{std::bit_cast<float>(format)} * 2 - 1);
    const Seen seen = ReadWfm(MakeWfm(file));
    EXPECT_EQ(seen.status, kOk);
    EXPECT_EQ(seen.samples, Floats(4, value));
  }
  // 0x40000000 is 2.0f, a NaN's bits hide all.
  const WfmFile nan{.samples = "abcd", .format = 0x7FC00000, .bytes_per_point = 2};
  EXPECT_EQ(ReadWfm(MakeWfm(nan)).trim_front, 2u);
}

TEST(WfmReader, RefusesWhatContradictsItself) {
  const WfmFile good{.samples = Raw<int16_t>({1, 2, 3})};
  struct Case {
    const char *what;
    WfmFile file;
    VomoStatus status;
    Floats samples;
  };
  const auto changed = [&](auto change) {
    WfmFile file = good;
    change(&file);
    return file;
  };
  const auto text = [&](const char *version_text) {
    return changed([&](WfmFile *f) { f->version_text = version_text; });
  };
  const Case cases[] = {
      {"good", good, kOk, {1, 2, 3}},
      {"version 4", text(":WFM#004"), kReadError, {}},
      {"version 0", text(":WFM#000"), kReadError, {}},
      {"version text without its colon", text("WFM#0001"), kOk, {1, 2, 3}},
      {"version text a character short", text("WFM#001 "), kReadError, {}},
      {"0 bytes a point", changed([](WfmFile *f) { f->bytes_per_point = 0; }), kReadError, {}},
      {"-2 bytes a point", changed([](WfmFile *f) { f->bytes_per_point = -2; }), kReadError, {}},
      {"1 byte for 16 bits", changed([](WfmFile *f) { f->bytes_per_point = 1; }), kReadError, {}},
      {"4 bytes for 16 bits", changed([](WfmFile *f) { f->bytes_per_point = 4; }), kReadError, {}},
      {"2 bytes for 8 bits", changed([](WfmFile *f) { f->format = 7; }), kReadError, {}},
      {"0 bytes for an unknown format",
       changed([](WfmFile *f) { f->format = 3, f->bytes_per_point = 0; }),
       kReadError,
       {}},
      {"ends before it begins",
       changed([](WfmFile *f) { f->data_start = 2, f->post_start = 1; }),
       kReadError,
       {}},
      {"empty", changed([](WfmFile *f) { f->data_start = f->post_start = 2; }), kOk, {}},
      {"part of a sample", changed([](WfmFile *f) { f->post_start = 5; }), kOk, {1, 2}},
      {"largest curve", changed([](WfmFile *f) { f->post_start = 0xFFFFFFFF; }), kNoMemory, {}},
      {"longer than the file: bytes of 0",
       changed([](WfmFile *f) { f->post_start = 10; }),
       kOk,
       {1, 2, 3, 0, 0}},
      {"wholly behind the file",
       changed([](WfmFile *f) {
         f->curve_start = 0xFFFFFFFF, f->data_start = 0xFFFFFFF0, f->post_start = 0xFFFFFFF4;
       }),
       kOk,
       {0, 0}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Seen seen = ReadWfm(MakeWfm(c.file));
    EXPECT_EQ(seen.status, c.status);
    EXPECT_EQ(seen.samples, c.samples);
  }
}

// Any cut within the header is refused; behind it the missing bytes of a sample, the later ones in
// the file's order, are 0.
TEST(WfmReader, EndsInAStatusForEveryTruncation) {
  for (const std::endian order : {std::endian::little, std::endian::big}) {
    for (const int version : {1, 2, 3}) {
      const WfmFile file{.samples = Raw<int16_t>({0x0102, 0x0304}, order),
                         .version = version,
                         .order = order,
                         .offset = 10};
      const std::string whole = MakeWfm(file);
      const size_t header = kWfmFields[version - 1].length, start = header + 5;
      for (size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const Seen seen = ReadWfm(whole.substr(0, size));
        EXPECT_EQ(seen.status, size < header ? kReadError : kOk);
        if (size < start) continue;
        const bool little = order == std::endian::little;
        const float low = little ? 0x02 : 0x0100, next_low = little ? 0x04 : 0x0300;
        const Floats expected[] = {{10, 10},
                                   {10 + low, 10},
                                   {0x0102 + 10, 10},
                                   {0x0102 + 10, 10 + next_low},
                                   {0x0102 + 10, 0x0304 + 10}};
        EXPECT_EQ(seen.samples, expected[size - start]);
      }
    }
  }
}

TEST(WfmReader, NeedsNamesAndOutputs) {
  double interval_s = 0;
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  for (const char *name : {static_cast<const char *>(nullptr), "", "/nowhere", "/tmp"}) {
    EXPECT_EQ(Vomo_Read_WFM_File(name, &interval_s, &count, &waveform, &handle), kReadError);
  }
  EXPECT_EQ(Vomo_Read_WFM_File("", nullptr, &count, &waveform, &handle),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_Read_Combined_WFM_File(), Vomo_STATUS_NOT_IMPLEMENTED);
}

}  // namespace
