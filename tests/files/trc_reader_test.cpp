#include <gtest/gtest.h>
#include <vomo.h>

#include <string>
#include <vector>

#include "files/capture_makers.h"
#include "files/read_support.h"

namespace {

using vomo_test::MakeTrc;
using vomo_test::MemoryFile;
using vomo_test::Raw;
using vomo_test::ReadWith;
using vomo_test::Seen;
using vomo_test::TrcFile;
using Floats = std::vector<float>;

constexpr VomoStatus kOk = Vomo_STATUS_SUCCESS, kReadError = Vomo_STATUS_FILE_READ_ERROR,
                     kNoMemory = Vomo_STATUS_MEMORY_ALLOCATION_FAILED;

Seen ReadTrc(const std::string &bytes, uint32_t limit = 0) {
  const MemoryFile file(bytes);
  double interval_s = -1;
  const Seen seen =
      ReadWith(limit, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
        return Vomo_Read_TRC_File(file.name(), &interval_s, count, waveform, handle);
      });
  EXPECT_EQ(interval_s, seen.status == kOk ? seen.interval_s : -1);
  return seen;
}

// Raw values whose voltages are exact: steps of 1/4 V less 0.5 V.
const std::string kWide = Raw<int16_t>({0, 1, -1, 32767, -32768});
const Floats kWideVolts = {-0.5f, -0.25f, -0.75f, 8191.25f, -8192.5f};
const std::string kNarrow = Raw<int8_t>({0, 1, -1, 127, -128});
const Floats kNarrowVolts = {-0.5f, -0.25f, -0.75f, 31.25f, -32.5f};

TrcFile Wide() {
  return {.samples = kWide, .gain = 0.25f, .offset = 0.5f};
}

template <class Change>
TrcFile Changed(Change change) {
  TrcFile file = Wide();
  change(&file);
  return file;
}

TEST(TrcReader, ReadsEveryVariant) {
  struct Case {
    const char *what;
    TrcFile file;
    uint32_t limit;
    uint32_t count;  // the output; the record's own is that of volts
    Floats volts;
  };
  const auto narrow = [](TrcFile *f) { f->samples = kNarrow, f->data_type = 0; };
  const Case cases[] = {
      {"16 bits", Wide(), 0, 5, kWideVolts},
      {"8 bits", Changed(narrow), 0, 5, kNarrowVolts},
      {"type 2 is 8 bits", Changed([&](TrcFile *f) { narrow(f), f->data_type = 2; }), 0, 5,
       kNarrowVolts},
      {"the type's low byte counts", Changed([](TrcFile *f) { f->data_type = 0x0201; }), 0, 5,
       kWideVolts},
      {"prefix of nine digits", Changed([](TrcFile *f) { f->prefix = "#9000123456"; }), 0, 5,
       kWideVolts},
      {"prefix of one digit", Changed([](TrcFile *f) { f->prefix = "#17"; }), 0, 5, kWideVolts},
      {"prefix of indefinite length", Changed([](TrcFile *f) { f->prefix = "#0"; }), 0, 5,
       kWideVolts},
      {"user text", Changed([](TrcFile *f) { f->user_text = std::string(65535, 't'); }), 0, 5,
       kWideVolts},
      {"odd descriptor", Changed([](TrcFile *f) { f->descriptor_bytes = 65535; }), 0, 5,
       kWideVolts},
      {"arrays behind the samples", Changed([](TrcFile *f) { f->tail = "trigger times"; }), 0, 5,
       kWideVolts},
      {"limit", Wide(), 2, 2, {-0.5f, -0.25f}},
      {"limit above", Wide(), 6, 5, kWideVolts},
      {"cut file: the record keeps its count",
       Changed([](TrcFile *f) { f->array_bytes = 14; }),
       0,
       5,
       {-0.5f, -0.25f, -0.75f, 8191.25f, -8192.5f, 0, 0}},
      {"cut file, limit",
       Changed([](TrcFile *f) { f->array_bytes = 14; }),
       6,
       5,
       {-0.5f, -0.25f, -0.75f, 8191.25f, -8192.5f, 0}},
      {"odd array length", Changed([](TrcFile *f) { f->array_bytes = 5; }), 0, 2, {-0.5f, -0.25f}},
      {"odd byte at the end of the file",
       Changed([](TrcFile *f) { f->array_bytes = 12, f->tail = "x"; }),
       0,
       5,
       {-0.5f, -0.25f, -0.75f, 8191.25f, -8192.5f, 0}},
      // 3 * (1 + 2^-23) - 3: in float the product would round to 3 + 2^-21.
      {"double arithmetic",
       {.samples = Raw<int16_t>({3}), .gain = 1.00000011920928955f, .offset = 3},
       0,
       1,
       {3.5762786865234375e-7f}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Seen seen = ReadTrc(MakeTrc(c.file), c.limit);
    EXPECT_EQ(seen.status, kOk);
    EXPECT_EQ(seen.count, c.count);
    EXPECT_EQ(seen.samples, c.volts);
    EXPECT_EQ(seen.interval_s, double{1e-11f});
  }
}

TEST(TrcReader, RefusesWhatItCannotRead) {
  const std::string good = MakeTrc(Wide());
  struct Case {
    const char *what;
    std::string bytes;
    VomoStatus status;
    uint32_t limit = 0;
  };
  const auto made = [](auto change) { return MakeTrc(Changed(change)); };
  const Case cases[] = {
      {"empty", "", kReadError},
      {"other text", "wavedesc" + good.substr(8), kReadError},
      {"text one byte on", " " + good, kReadError},
      {"prefix of no digit", "#x" + good, kReadError},
      {"prefix too short for its digit", "#3" + good, kReadError},
      {"big-endian", made([](TrcFile *f) { f->byte_order = 0; }), kReadError},
      {"byte order with a high byte", made([](TrcFile *f) { f->byte_order = 0x0101; }), kReadError},
      {"descriptor too long", made([](TrcFile *f) { f->descriptor_bytes = 65536; }), kReadError},
      {"descriptor of 4 GB", made([](TrcFile *f) { f->descriptor_bytes = 0xFFFFFFFF; }),
       kReadError},
      {"user text too long", made([](TrcFile *f) { f->user_text_bytes = 65536; }), kReadError},
      {"user text of 4 GB", made([](TrcFile *f) { f->user_text_bytes = 0xFFFFFFFF; }), kReadError},
      {"no samples", made([](TrcFile *f) { f->array_bytes = 0; }), kReadError},
      {"half a sample", made([](TrcFile *f) { f->array_bytes = 1; }), kReadError},
      {"samples beyond the file", made([](TrcFile *f) { f->user_text_bytes = 60000; }), kReadError},
      {"4 GB of samples", made([](TrcFile *f) { f->array_bytes = 0xFFFFFFFF; }), kNoMemory},
      {"4 GB of samples that are not there",
       made([](TrcFile *f) { f->array_bytes = 0xFFFFFFFF, f->samples = "", f->tail = "x"; }),
       kNoMemory},
      {"4 GB of samples, few wanted", made([](TrcFile *f) { f->array_bytes = 0xFFFFFFFF; }), kOk,
       3},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(ReadTrc(c.bytes, c.limit).status, c.status);
  }
}

// A cut file gives what it has, once it has a sample.
TEST(TrcReader, EndsInAStatusForEveryTruncation) {
  const std::string whole = MakeTrc(Wide());
  for (size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    const Seen seen = ReadTrc(whole.substr(0, size));
    const size_t samples = size < 346 ? 0 : (size - 346) / 2;
    EXPECT_EQ(seen.status, samples == 0 ? kReadError : kOk);
    if (seen.status != kOk) continue;
    EXPECT_EQ(seen.count, samples);
    Floats expected(kWideVolts.begin(), kWideVolts.begin() + static_cast<ptrdiff_t>(samples));
    expected.resize(kWideVolts.size(), 0);
    EXPECT_EQ(seen.samples, expected);
  }
}

// Longer than the block that the samples go through, for both widths; each value tells its place.
TEST(TrcReader, KeepsItsPlaceOverBlocks) {
  constexpr size_t kCount = 300'001;
  std::vector<int16_t> wide(kCount);
  std::vector<int8_t> narrow(kCount);
  for (size_t i = 0; i < kCount; ++i) {
    wide[i] = static_cast<int16_t>(i * 7);
    narrow[i] = static_cast<int8_t>(i * 7);
  }
  const Seen seen_wide = ReadTrc(MakeTrc({.samples = Raw(wide)}));
  EXPECT_EQ(seen_wide.samples, Floats(wide.begin(), wide.end()));
  const Seen seen_narrow = ReadTrc(MakeTrc({.samples = Raw(narrow), .data_type = 0}));
  EXPECT_EQ(seen_narrow.samples, Floats(narrow.begin(), narrow.end()));
}

TEST(TrcReader, NeedsNamesAndOutputs) {
  double interval_s = 0;
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  for (const char *name : {static_cast<const char *>(nullptr), "", "/nowhere", "/tmp"}) {
    EXPECT_EQ(Vomo_Read_TRC_File(name, &interval_s, &count, &waveform, &handle), kReadError);
  }
  EXPECT_EQ(Vomo_Read_TRC_File("", &interval_s, &count, nullptr, &handle),
            Vomo_STATUS_PARAM_NOT_VALID);
  EXPECT_EQ(Vomo_Read_Combined_TRC_File(), Vomo_STATUS_NOT_IMPLEMENTED);
}

}  // namespace
