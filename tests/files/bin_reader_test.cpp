#include <gtest/gtest.h>
#include <vomo.h>

#include <string>
#include <vector>

#include "files/capture_makers.h"
#include "files/read_support.h"

namespace {

using vomo_test::BinWaveform;
using vomo_test::MakeBin;
using vomo_test::MemoryFile;
using vomo_test::ReadWith;
using vomo_test::Seen;
using Floats = std::vector<float>;

constexpr VomoStatus kOk = Vomo_STATUS_SUCCESS, kReadError = Vomo_STATUS_FILE_READ_ERROR,
                     kNoMemory = Vomo_STATUS_MEMORY_ALLOCATION_FAILED;

// The interval output is looked at as well: the record's on success, untouched otherwise.
Seen ReadBin(const std::string &bytes, uint32_t limit = 0) {
  const MemoryFile file(bytes);
  double interval_s = -1;
  const Seen seen =
      ReadWith(limit, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
        return Vomo_Read_BIN_File(file.name(), &interval_s, count, waveform, handle);
      });
  EXPECT_EQ(interval_s, seen.status == kOk ? seen.interval_s : -1);
  return seen;
}

Seen ReadBoth(const std::string &bytes, Seen *second, uint32_t count_in = 7) {
  const MemoryFile file(bytes);
  double interval_s = -1;
  const Seen seen =
      ReadWith(count_in, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
        VomoWaveform *other = nullptr;
        VomoHandle other_handle = 0;
        second->status = Vomo_Read_Combined_BIN_File(file.name(), &interval_s, count, waveform,
                                                     handle, &other, &other_handle);
        if (second->status == kOk) Take(other, other_handle, second);
        return second->status;
      });
  EXPECT_EQ(interval_s, seen.status == kOk ? seen.interval_s : -1);
  return seen;
}

TEST(BinReader, ReadsTheFirstWaveform) {
  const Floats five = {1, -2, 3.5f, 0, 1e-20f};
  struct Case {
    const char *what;
    BinWaveform waveform;
    uint32_t limit;
    VomoStatus status;
    Floats samples;
  };
  const Case cases[] = {
      {"all", {five}, 0, kOk, five},
      {"limit", {five}, 2, kOk, {1, -2}},
      {"limit above", {five}, 6, kOk, five},
      {"type above 6", {.samples = five, .type = 9}, 0, kOk, five},
      {"long headers",
       {.samples = five, .header_bytes = 5000, .data_header_bytes = 70000},
       0,
       kOk,
       five},
      {"min and max buffers", {.samples = five, .buffer_type = 3}, 0, kOk, five},
      {"no points", {Floats{}}, 0, kOk, {}},
      {"no points, limit", {Floats{}}, 3, kOk, {}},
      {"fewer points in the buffer than in the header: read by the header",
       {.samples = five, .buffer_bytes = 8},
       0,
       kOk,
       five},
      {"more points in the buffer", {.samples = five, .points = 4}, 0, kReadError, {}},
      {"a buffer of no whole number of points",
       {.samples = five, .buffer_bytes = 23},
       0,
       kOk,
       five},
      {"buffer type 0", {.samples = five, .buffer_type = 0}, 0, kReadError, {}},
      {"buffer type 4", {.samples = five, .buffer_type = 4}, 0, kReadError, {}},
      {"buffer type 7", {.samples = five, .buffer_type = 7}, 0, kReadError, {}},
      {"negative buffer type", {.samples = five, .buffer_type = -1}, 0, kReadError, {}},
      {"0 bytes a point", {.samples = five, .bytes_per_point = 0}, 0, kReadError, {}},
      {"1 byte a point", {.samples = five, .bytes_per_point = 1}, 0, kReadError, {}},
      {"-4 bytes a point", {.samples = five, .bytes_per_point = -4}, 0, kReadError, {}},
      {"fewer floats than points", {.samples = five, .points = 6}, 0, kReadError, {}},
      {"fewer floats than points, but enough of them",
       {.samples = five, .points = 6},
       5,
       kOk,
       five},
      {"negative points", {.samples = five, .points = -1}, 0, kReadError, {}},
      {"most points", {.samples = five, .points = 0x7FFFFFFF}, 0, kNoMemory, {}},
      {"one point more than a record holds",
       {.samples = five, .points = 536'870'904},
       0,
       kNoMemory,
       {}},
      {"as many as a record holds", {.samples = five, .points = 536'870'903}, 0, kReadError, {}},
      {"largest buffer", {.samples = five, .buffer_bytes = 0xFFFFFFFF}, 0, kReadError, {}},
      {"header that ends within the points", {.samples = five, .header_bytes = 13}, 0, kOk, five},
      {"header without interval", {.samples = five, .header_bytes = 16}, 0, kOk, five},
      {"data header without buffer size", {.samples = five, .data_header_bytes = 8}, 0, kOk, five},
      {"data header without content: 0 bytes a point",
       {.samples = five, .data_header_bytes = 4},
       0,
       kReadError,
       {}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Seen seen = ReadBin(MakeBin({c.waveform}), c.limit);
    EXPECT_EQ(seen.status, c.status);
    EXPECT_EQ(seen.samples, c.samples);
    if (c.status != kOk) continue;
    EXPECT_EQ(seen.count, c.samples.size());
    EXPECT_EQ(seen.interval_s, c.waveform.header_bytes >= 40 ? 1e-11 : 0.0);
  }
}

TEST(BinReader, ReadsTwoWaveformsEachItsOwn) {
  const BinWaveform first = {{1, 2, 3}, 2e-12};
  const BinWaveform second = {{-1, -2, -3, -4}, 5e-12};
  Seen other;
  const Seen one = ReadBoth(MakeBin({first, second, first}), &other, 2);
  EXPECT_EQ(one.status, kOk);
  EXPECT_EQ(one.count, 3u);  // the count on entry is not looked at
  EXPECT_EQ(one.samples, first.samples);
  EXPECT_EQ(one.interval_s, 2e-12);
  EXPECT_EQ(other.samples, second.samples);
  EXPECT_EQ(other.interval_s, 5e-12);
}

TEST(BinReader, RefusesASecondWaveform) {
  const BinWaveform good = {{1, 2, 3}};
  const BinWaveform digital = {.samples = {1, 2, 3}, .buffer_type = 6, .bytes_per_point = 1};
  BinWaveform cut = good;
  cut.points = 4;
  BinWaveform huge = good;
  huge.points = 0x7FFFFFFF;
  BinWaveform long_buffer = good;
  long_buffer.buffer_bytes = 0xFFFFFFF0;
  struct Case {
    const char *what;
    std::string bytes;
    VomoStatus status;
  };
  const auto not_enough = Vomo_STATUS_NOT_ENOUGH_WAVEFORMS;
  const Case cases[] = {
      {"one waveform", MakeBin({good}), not_enough},
      {"two, but the header says one", MakeBin({good, good}, 1), not_enough},
      {"negative count", MakeBin({good, good}, -2), not_enough},
      {"one, but the header says two", MakeBin({good}, 2), kReadError},
      {"one of negative points, the header says one", MakeBin({{.samples = {1}, .points = -1}}),
       kReadError},
      {"a buffer of logic levels between", MakeBin({good, digital, good}), kReadError},
      {"a buffer of logic levels first", MakeBin({digital, good}), kReadError},
      {"second cut short", MakeBin({good, cut}), kReadError},
      {"second too large", MakeBin({good, huge}), kNoMemory},
      {"second beyond the file", MakeBin({long_buffer, good}), kReadError},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    Seen second;
    EXPECT_EQ(ReadBoth(c.bytes, &second).status, c.status);
  }
}

// The headers are looked for behind the buffer that the data header describes, the samples behind
// as many points as the waveform header counts. Where the two disagree, a reading follows the
// points.
TEST(BinReader, FollowsThePointsWhereTheBufferIsSmaller) {
  // Behind 2 floats of buffer stands a header for 1 point; behind the 4 points that the first
  // header counts stands another, for 3.
  const BinWaveform inner = {{8}, 1e-11, 40};
  const BinWaveform outer = {{5, 6, 7}, 1e-11, 40};
  const std::string inner_bytes = MakeBin({inner}).substr(12);
  BinWaveform first = {{1, 2}};
  first.points = 2 + static_cast<int32_t>(inner_bytes.size() / 4);
  const std::string bytes = MakeBin({first}, 2) + inner_bytes + MakeBin({outer}).substr(12);
  Seen second;
  const Seen seen = ReadBoth(bytes, &second);
  EXPECT_EQ(seen.status, kOk);
  EXPECT_EQ(seen.count, static_cast<uint32_t>(*first.points));
  EXPECT_EQ(seen.samples[1], 2.0f);
  EXPECT_EQ(second.samples, Floats{5});  // one point, as the inner header counts, of the outer data
}

// Every cut ends in the status that follows from what is left: without a whole data header the last
// waveform reads as zeros, but the first one's is needed to find the second.
TEST(BinReader, EndsInAStatusForEveryTruncation) {
  // Headers longer than the part of them that is looked at.
  constexpr int32_t kHeader = 150, kDataHeader = 20;
  const auto waveform = [&](const Floats &samples) {
    return BinWaveform{
        .samples = samples, .header_bytes = kHeader, .data_header_bytes = kDataHeader};
  };
  const std::string one = MakeBin({waveform({1, 2, 3})});
  for (size_t size = 0; size <= one.size(); ++size) {
    SCOPED_TRACE(size);
    const bool zeros = size >= 12 + kHeader && size < 12 + kHeader + kDataHeader;
    const Seen seen = ReadBin(one.substr(0, size));
    EXPECT_EQ(seen.status, zeros || size == one.size() ? kOk : kReadError);
    if (seen.status == kOk) {
      EXPECT_EQ(seen.samples, zeros ? Floats(3, 0.0f) : Floats({1, 2, 3}));
    }
  }
  const std::string two = MakeBin({waveform({1, 2, 3}), waveform({4, 5})});
  for (size_t size = 0; size <= two.size(); ++size) {
    SCOPED_TRACE(size);
    const bool zeros = size >= one.size() + kHeader && size < one.size() + kHeader + kDataHeader;
    Seen second;
    const Seen seen = ReadBoth(two.substr(0, size), &second);
    EXPECT_EQ(seen.status, zeros || size == two.size() ? kOk : kReadError);
    if (seen.status == kOk) {
      EXPECT_EQ(second.samples, zeros ? Floats(2, 0.0f) : Floats({4, 5}));
    }
  }
}

TEST(BinReader, RefusesOtherFilesAndMissingOutputs) {
  const std::string good = MakeBin({{{1}}});
  EXPECT_EQ(ReadBin("ag" + good.substr(2)).status, kReadError);
  EXPECT_EQ(ReadBin(good.substr(1)).status, kReadError);
  double interval_s = 0;
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  for (const char *name : {static_cast<const char *>(nullptr), "", "/nowhere", "/tmp"}) {
    EXPECT_EQ(Vomo_Read_BIN_File(name, &interval_s, &count, &waveform, &handle), kReadError);
  }
  EXPECT_STREQ(Vomo_Status_Message(kReadError), "Error reading data input file \"/tmp\"");
  const auto not_valid = Vomo_STATUS_PARAM_NOT_VALID;
  EXPECT_EQ(Vomo_Read_BIN_File("", nullptr, &count, &waveform, &handle), not_valid);
  EXPECT_EQ(Vomo_Read_BIN_File("", &interval_s, nullptr, &waveform, &handle), not_valid);
  EXPECT_EQ(
      Vomo_Read_Combined_BIN_File("", &interval_s, &count, &waveform, &handle, &waveform, nullptr),
      not_valid);
}

}  // namespace
