#include <gtest/gtest.h>
#include <vomo.h>

#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "files/read_support.h"
#include "files/spice_maker.h"

namespace {

using vomo_test::kSpiceEnd;
using vomo_test::kSpiceMarker;
using vomo_test::MemoryFile;
using vomo_test::ReadWith;
using vomo_test::Seen;
using vomo_test::SpiceHeader;
using vomo_test::SpiceMaker;
using Floats = std::vector<float>;

constexpr double kInterval = 1e-12;

Seen ReadSpice(const std::string &bytes, uint32_t limit = 0) {
  const MemoryFile file(bytes);
  return ReadWith(limit, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
    return Vomo_Read_Spice_File(file.name(), &kInterval, count, waveform, handle);
  });
}

// The first waveform goes through ReadWith's checks, the second comes with it.
Seen ReadCombined(const std::string &bytes, Seen *second, uint32_t limit = 0) {
  const MemoryFile file(bytes);
  return ReadWith(limit, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
    VomoWaveform *other = nullptr;
    VomoHandle other_handle = 0;
    second->status = Vomo_Read_Combined_Spice_File(file.name(), &kInterval, count, waveform, handle,
                                                   &other, &other_handle);
    if (second->status == Vomo_STATUS_SUCCESS) Take(other, other_handle, second);
    return second->status;
  });
}

struct Case {
  const char *what;
  std::string bytes;
  VomoStatus status;
  Floats first, second;  // the second of the combined call
  uint32_t limit = 0;
};

void Expect(const Case &c) {
  SCOPED_TRACE(c.what);
  const Seen seen = ReadSpice(c.bytes, c.limit);
  EXPECT_EQ(seen.status, c.status);
  EXPECT_EQ(seen.samples, c.first);
  if (c.status != Vomo_STATUS_SUCCESS) return;
  EXPECT_EQ(seen.count, c.first.size());
  EXPECT_EQ(seen.interval_s, kInterval);
  Seen second;
  const Seen first = ReadCombined(c.bytes, &second, c.limit);
  if (c.second.size() != c.first.size()) {
    EXPECT_EQ(first.status, Vomo_STATUS_PARAM_OUT_OF_RANGE);
    return;
  }
  EXPECT_EQ(first.status, Vomo_STATUS_SUCCESS);
  EXPECT_EQ(first.samples, c.first);
  EXPECT_EQ(second.samples, c.second);
}

TEST(SpiceReader, ReadsColumnsInBothByteOrders) {
  const auto ok = Vomo_STATUS_SUCCESS;
  const auto out_of_range = Vomo_STATUS_PARAM_OUT_OF_RANGE;
  for (const std::endian order : {std::endian::little, std::endian::big}) {
    const auto file = [&](const std::string &header) { return SpiceMaker(order).Header(header); };
    const std::string two = SpiceHeader("00000002");
    const Case cases[] = {
        {"columns follow one another over the blocks",
         file(two).Data({1, 2, 3}).Data({4, 5, 6, 7}).bytes(),
         ok,
         {1, 2, 3},
         {4, 5, 6}},
        {"one column", file(SpiceHeader("00000001")).Data({1, 2}).bytes(), ok, {1, 2}, {}},
        {"probes are columns",
         file(SpiceHeader("00000001", "0002")).Data({1, 2, 3, 4}).bytes(),
         ok,
         {1},
         {2}},
        {"limit", file(two).Data({1, 2, 3, 4, 5, 6}).bytes(), ok, {1, 2}, {4, 5}, 2},
        {"limit above the length", file(two).Data({1, 2}).bytes(), ok, {1}, {2}, 9},
        {"end marker is no data",
         file(two).Data({1, 2, 3, 4, kSpiceEnd}).Data({5, 6}).bytes(),
         ok,
         {1, 2},
         {3, 4}},
        {"9e29 does not end the data",
         file(two).Data({1, 9e29f}).Data({2, 3}).bytes(),
         ok,
         {1, 9e29f},
         {2, 3}},
        {"the float above it does",
         file(two).Data({1, 2, std::nextafter(9e29f, INFINITY)}).Data({3}).bytes(),
         ok,
         {1},
         {2}},
        {"infinity does, NaN and a huge value amid a block don't",
         file(two).Data({kSpiceEnd, 1}).Data({2, NAN}).Data({INFINITY}).Data({7}).bytes(),
         ok,
         {kSpiceEnd, 1},
         {},
         2},
        {"leading floats dropped",
         file(SpiceHeader("00000002", "0000", "0003", "1"))
             .Data({9, 9})
             .Data({9, 1, 2, 3, 4})
             .bytes(),
         ok,
         {1, 2},
         {3, 4}},
        {"leading floats without the switch",
         file(SpiceHeader("00000002", "0000", "0003")).Data({1, 2}).bytes(),
         ok,
         {1},
         {2}},
        {"more leading floats than floats",
         file(SpiceHeader("00000002", "0000", "9999", "7")).Data({1, 2}).bytes(),
         ok,
         {},
         {}},
        {"fewer floats than columns",
         file(SpiceHeader("00000009")).Data({1, 2}).bytes(),
         ok,
         {},
         {}},
        {"count in eight characters",
         file(SpiceHeader("00010000")).Data(Floats(20000, 5)).bytes(),
         ok,
         {5, 5},
         {5, 5}},
        {"no columns", file(SpiceHeader("00000000")).Data({1}).bytes(), out_of_range, {}, {}},
        {"a count that begins with a blank is 0",
         file(SpiceHeader("   2   2")).Data({1}).bytes(),
         out_of_range,
         {},
         {}},
        {"a count ends at the first other character",
         file(SpiceHeader("02x90000")).Data({1, 2, 3}).bytes(),
         ok,
         {1},
         {2}},
        {"empty blocks", file(two).Data({}).Data({1, 2}).Data({}).bytes(), ok, {1}, {2}},
        {"several header blocks",
         SpiceMaker(order).Header("title").Header("").Header(two).Data({1, 2}).bytes(),
         ok,
         {1},
         {2}},
        {"a block cut by the end of the file",
         file(two).Data({1, 2}).Data({3, kSpiceEnd}, 5).bytes(),
         ok,
         {1, 2},
         {3, kSpiceEnd}},
        {"no data", file(two).bytes(), Vomo_STATUS_FILE_READ_ERROR, {}, {}},
        {"nothing but an end marker",
         file(two).Data({kSpiceEnd}).bytes(),
         Vomo_STATUS_FILE_READ_ERROR,
         {},
         {}},
    };
    for (Case c : cases) {
      // NaN is in one case alone, in the second column: told by its place there.
      if (std::string(c.what).starts_with("infinity")) {
        EXPECT_EQ(ReadSpice(c.bytes).samples, c.first);
        continue;
      }
      Expect(c);
    }
  }
}

TEST(SpiceReader, RefusesDamagedHeaders) {
  const std::string good = SpiceHeader("00000002");
  const SpiceMaker data = SpiceMaker().Data({1, 2});
  const auto error = Vomo_STATUS_FILE_READ_ERROR;
  std::string wrong_mark = SpiceMaker().Header(good).bytes();
  wrong_mark[0] = 5;
  std::string second_block_wrong = SpiceMaker().Header("title").bytes() + wrong_mark;
  const Case cases[] = {
      {"empty", "", error, {}, {}},
      {"mark 5", wrong_mark + data.bytes(), error, {}, {}},
      {"mark 5 in a later header block", second_block_wrong + data.bytes(), error, {}, {}},
      {"no marker", SpiceMaker().Header("no marker at all").bytes() + data.bytes(), error, {}, {}},
      {"marker not at the end",
       SpiceMaker().Header(good + " ").bytes() + data.bytes(),
       error,
       {},
       {}},
      {"marker shorter than the test",
       SpiceMaker().Header("$&%#").bytes() + data.bytes(),
       error,
       {},
       {}},
      {"payload above a line buffer",
       SpiceMaker().Header(std::string(8196, ' ')).bytes(),
       error,
       {},
       {}},
      {"payload of 4 GB",
       SpiceMaker().Header(good, 0xFFFFFFFF).bytes() + data.bytes(),
       error,
       {},
       {}},
      {"longest payload",
       SpiceMaker().Header(std::string(8187, ' ') + kSpiceMarker).bytes() + data.bytes(),
       Vomo_STATUS_PARAM_OUT_OF_RANGE,
       {},
       {}},
  };
  for (const Case &c : cases) Expect(c);
}

// The header's payload is one line of text: behind a newline the file goes on at once, and what the
// newline cut off reads as 0.
TEST(SpiceReader, EndsAHeaderLineAtItsNewline) {
  const std::string title = "title\n";
  vomo_test::ByteBuilder bytes;
  bytes.Put<uint32_t>(4).Zeros(8).Put<uint32_t>(100).Text(title).Put<uint32_t>(100);
  const std::string rest = SpiceMaker().Header(SpiceHeader("00000002")).Data({1, 2, 3, 4}).bytes();
  Expect({"newline", bytes.bytes() + rest, Vomo_STATUS_SUCCESS, {1, 2}, {3, 4}});
}

// Whatever is cut off, the answer is a status, and no more samples than were there.
TEST(SpiceReader, EndsInAStatusForEveryTruncation) {
  const std::string header = SpiceMaker().Header("title").Header(SpiceHeader("00000002")).bytes();
  const std::string whole = header + SpiceMaker().Data({1, 2}).Data({3, 4, 5, 6}).bytes();
  const size_t data_start = header.size();
  for (size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    const Seen seen = ReadSpice(whole.substr(0, size));
    // Floats whole in the file: of the first block (at 16), then of the second (at 44).
    const auto whole_floats = [&](size_t start, size_t most) {
      return size < data_start + start ? 0 : std::min(most, (size - data_start - start) / 4);
    };
    const size_t floats = whole_floats(16, 2) + whole_floats(44, 4);
    if (floats == 0) {
      EXPECT_EQ(seen.status, Vomo_STATUS_FILE_READ_ERROR);
    } else {
      EXPECT_EQ(seen.status, Vomo_STATUS_SUCCESS);
      EXPECT_EQ(seen.count, floats / 2);
    }
  }
}

// The buffer lives from file to file. A hostile block neither breaks it nor grows it for good, a
// failed read starts anew, and short files after long ones give nothing of theirs.
TEST(SpiceReader, KeepsItsBufferSound) {
  const std::string header = SpiceMaker().Header(SpiceHeader("00000002")).bytes();
  Floats many(1'300'000);
  for (size_t i = 0; i < many.size(); ++i) many[i] = static_cast<float>(i);
  std::string long_file = header;
  for (size_t i = 0; i < many.size(); i += 100'000) {
    const auto begin = many.begin() + static_cast<ptrdiff_t>(i);
    long_file += SpiceMaker().Data(Floats(begin, begin + 100'000)).bytes();
  }
  const std::string short_file = header + SpiceMaker().Data({1, 2, 3}).bytes();
  const std::string hostile = header + SpiceMaker().Data({1, 2, 3}, 0xFFFFFFFF).bytes();
  const std::string one_block = header + SpiceMaker().Data(many).bytes();
  const Floats half(many.begin(), many.begin() + static_cast<ptrdiff_t>(many.size() / 2));
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(ReadSpice(long_file).samples, half);
    EXPECT_EQ(ReadSpice(short_file).samples, Floats{1});
    EXPECT_EQ(ReadSpice(hostile).samples.size(), 2u);  // the trailing word is the fourth float
    EXPECT_EQ(ReadSpice(one_block).samples, half);
    EXPECT_EQ(ReadSpice("damaged").status, Vomo_STATUS_FILE_READ_ERROR);
    EXPECT_EQ(ReadSpice(header).status, Vomo_STATUS_FILE_READ_ERROR);
  }
}

// With a single free slot the first record is made and stays, for Vomo_Handle_Free_All to find.
TEST(SpiceReader, LeavesAFirstRecordWithoutSecond) {
  const MemoryFile file(SpiceMaker().Header(SpiceHeader("00000002")).Data({1, 2, 3, 4}).bytes());
  void *memory = nullptr;
  VomoHandle last = 0;
  for (uint32_t i = 0; i < vomo::kHandleCount; ++i) {
    last = Vomo_Handle_and_Memory_Allocate(8, &memory);
  }
  Vomo_HANDLE_FREE(last);
  VomoWaveform *waveforms[2] = {};
  VomoHandle handles[2] = {};
  uint32_t count = 0;
  EXPECT_EQ(Vomo_Read_Combined_Spice_File(file.name(), &kInterval, &count, &waveforms[0],
                                          &handles[0], &waveforms[1], &handles[1]),
            Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(handles[0], 0u);
  EXPECT_NE(vomo::Vomo_Handle_Lookup(last), nullptr);
  EXPECT_EQ(Vomo_Handle_Free_All(), Vomo_STATUS_SUCCESS);
}

TEST(SpiceReader, NeedsNamesAndOutputs) {
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  const auto error = Vomo_STATUS_FILE_READ_ERROR, not_valid = Vomo_STATUS_PARAM_NOT_VALID;
  for (const char *name : {static_cast<const char *>(nullptr), "", "/nowhere", "/tmp"}) {
    EXPECT_EQ(Vomo_Read_Spice_File(name, &kInterval, &count, &waveform, &handle), error);
  }
  EXPECT_EQ(Vomo_Read_Spice_File("", nullptr, &count, &waveform, &handle), not_valid);
  EXPECT_EQ(Vomo_Read_Spice_File("", &kInterval, nullptr, &waveform, &handle), not_valid);
  EXPECT_EQ(Vomo_Read_Spice_File("", &kInterval, &count, nullptr, &handle), not_valid);
  EXPECT_EQ(Vomo_Read_Spice_File("", &kInterval, &count, &waveform, nullptr), not_valid);
  EXPECT_EQ(
      Vomo_Read_Combined_Spice_File("", &kInterval, &count, &waveform, &handle, nullptr, &handle),
      not_valid);
}

}  // namespace
