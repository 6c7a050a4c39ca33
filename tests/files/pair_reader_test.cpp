#include <gtest/gtest.h>
#include <unistd.h>
#include <vomo.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "files/capture_makers.h"
#include "files/pair_reader.h"
#include "files/read_support.h"
#include "files/spice_maker.h"

namespace {

using vomo_test::MemoryFile;
using vomo_test::Raw;
using vomo_test::Seen;
using Floats = std::vector<float>;

constexpr VomoStatus kOk = Vomo_STATUS_SUCCESS, kReadError = Vomo_STATUS_FILE_READ_ERROR,
                     kIncompatible = Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS;
constexpr double kInterval = 1.0 / (1 << 30);  // a float too

// The arguments that all members of the family have, under one name for both kinds.
struct Call {
  const char *a, *b;
  double *interval_s;
  uint32_t *count;
  VomoWaveform **waveform_a;
  VomoHandle *handle_a;
  VomoWaveform **waveform_b;
  VomoHandle *handle_b;
  float **common;
  VomoHandle *common_handle;
};

struct Member {
  const char *name;
  bool a_first, interval_from_file, writes_difference;
  std::string (*make)(const Floats &, double interval_s);
  VomoStatus (*two)(const Call &);
  VomoStatus (*difference)(const Call &);
  bool one_file = false;  // its file holds both legs
  bool keeps_a = false;   // leg A keeps its count when it is the longer one
};

std::vector<int16_t> Quarters(const Floats &samples) {
  std::vector<int16_t> raw;
  for (const float sample : samples) raw.push_back(static_cast<int16_t>(sample * 4));
  return raw;
}

std::string MakeText(const Floats &samples, double) {
  std::ostringstream text;
  for (const float sample : samples) text << sample << '\n';
  return text.str();
}

#define TWO_FILES(stem, interval)                                                                \
  [](const Call &c) {                                                                            \
    return Vomo_Read_Single_Ended_##stem##_Two_Waveforms(c.a, c.b, interval, c.count,            \
                                                         c.waveform_a, c.handle_a, c.waveform_b, \
                                                         c.handle_b, c.common, c.common_handle); \
  },                                                                                             \
      [](const Call &c) {                                                                        \
        return Vomo_Read_Single_Ended_##stem##_Files(c.a, c.b, interval, c.count, c.waveform_a,  \
                                                     c.handle_a, c.common, c.common_handle);     \
      }
#define CALLER_INTERVAL 0, *c.interval_s

const Member kMembers[] = {
    {"BIN", false, true, true,
     [](const Floats &samples, double interval_s) {
       return vomo_test::MakeBin({{samples, interval_s}});
     },
     TWO_FILES(BIN, c.interval_s)},
    {"combined BIN", true, true, true, nullptr,
     [](const Call &c) {
       return Vomo_Read_Single_Ended_Combined_BIN_Two_Waveforms(
           c.a, c.interval_s, c.count, c.waveform_a, c.handle_a, c.waveform_b, c.handle_b, c.common,
           c.common_handle);
     },
     [](const Call &c) {
       return Vomo_Read_Single_Ended_Combined_BIN_File(c.a, c.interval_s, c.count, c.waveform_a,
                                                       c.handle_a, c.common, c.common_handle);
     },
     true},
    {"Spice", false, false, true,
     [](const Floats &samples, double) {
       return vomo_test::SpiceMaker()
           .Header(vomo_test::SpiceHeader("00000001"))
           .Data(samples)
           .bytes();
     },
     TWO_FILES(Spice, c.interval_s)},
    {"TRC", false, true, true,
     [](const Floats &samples, double interval_s) {
       return vomo_test::MakeTrc({.samples = Raw(Quarters(samples)),
                                  .gain = 0.25f,
                                  .interval_s = static_cast<float>(interval_s)});
     },
     TWO_FILES(TRC, c.interval_s)},
    {"WFM", false, true, true,
     [](const Floats &samples, double interval_s) {
       return vomo_test::MakeWfm(
           {.samples = Raw(Quarters(samples)), .scale = 0.25, .interval_s = interval_s});
     },
     TWO_FILES(WFM, c.interval_s)},
    {"text", true, false, false, MakeText, TWO_FILES(Text, CALLER_INTERVAL), false, true},
};

// The files of a pair, of which a member with one file for both has but the first.
struct Files {
  MemoryFile a, b;

  Files(const Member &member, const Floats &leg_a, const Floats &leg_b,
        double interval_a = kInterval, double interval_b = kInterval) {
    const auto fill = [](MemoryFile *file, const std::string &bytes) {
      file->Hold(bytes.data(), bytes.size());
    };
    if (member.one_file) {
      fill(&a, vomo_test::MakeBin({{leg_a, interval_a}, {leg_b, interval_b}}));
    } else {
      fill(&a, member.make(leg_a, interval_a));
      fill(&b, member.make(leg_b, interval_b));
    }
  }
};

struct SeenPair {
  VomoStatus status = 0;
  uint32_t count = 0;
  Seen a, b;
  Floats common;
  bool has_common = false;
};

SeenPair ReadTwo(const Member &member, const char *a, const char *b, uint32_t limit,
                 bool common_mode = true) {
  SeenPair seen;
  seen.count = limit;
  double interval_s = kInterval;
  VomoWaveform *waveforms[2] = {};
  VomoHandle handles[2] = {};
  float *common = nullptr;
  VomoHandle common_handle = 0;
  seen.status =
      member.two({a, b, &interval_s, &seen.count, &waveforms[0], &handles[0], &waveforms[1],
                  &handles[1], &common, common_mode ? &common_handle : nullptr});
  seen.has_common = common != nullptr;
  if (seen.status != kOk) {
    EXPECT_TRUE(handles[0] == 0 && handles[1] == 0 && common == nullptr);
    return seen;
  }
  EXPECT_EQ(interval_s, waveforms[0]->dSampleInterval);
  if (common != nullptr) seen.common.assign(common, common + waveforms[0]->ulNumSamples);
  Vomo_HANDLE_FREE(common_handle);
  Take(waveforms[0], handles[0], &seen.a);
  Take(waveforms[1], handles[1], &seen.b);
  return seen;
}

// The common mode of a difference has as many elements as the caller says leg B has.
SeenPair ReadDifference(const Member &member, const char *a, const char *b, uint32_t limit,
                        uint32_t common_count) {
  SeenPair seen;
  seen.count = limit;
  double interval_s = kInterval;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0, common_handle = 0;
  float *common = nullptr;
  seen.status = member.difference({a, b, &interval_s, &seen.count, &waveform, &handle, nullptr,
                                   nullptr, common_count != 0 ? &common : nullptr, &common_handle});
  if (seen.status != kOk) return seen;
  seen.has_common = common != nullptr;
  if (common != nullptr) seen.common.assign(common, common + common_count);
  Vomo_HANDLE_FREE(common_handle);
  Take(waveform, handle, &seen.a);
  return seen;
}

TEST(PairReader, EveryMemberReadsLegsDifferenceAndCommonMode) {
  // Leg A and B, and what they make together; all exact.
  const Floats a = {1, 0.75f, -3, 8, 100}, b = {-1, 0.25f, 5, 8, -28.5f};
  const Floats difference = {2, 0.5f, -8, 0, 128.5f}, mean = {0, 0.5f, 1, 8, 35.75f};
  struct Case {
    ptrdiff_t a_count, b_count;
    uint32_t limit;
    ptrdiff_t count;
  };
  const Case cases[] = {{5, 5, 0, 5}, {5, 3, 0, 3}, {3, 5, 0, 3}, {5, 5, 2, 2},
                        {5, 5, 6, 5}, {4, 5, 3, 3}, {1, 1, 0, 1}};
  for (const Member &member : kMembers) {
    for (const Case &c : cases) {
      SCOPED_TRACE(testing::Message()
                   << member.name << " " << c.a_count << " " << c.b_count << " " << c.limit);
      const Files files(member, {a.begin(), a.begin() + c.a_count},
                        {b.begin(), b.begin() + c.b_count});
      const auto shown_a = !member.keeps_a
                               ? c.count
                               : std::min<ptrdiff_t>(c.a_count, c.limit != 0 ? c.limit : c.a_count);
      // Where leg A has more samples than leg B: no common mode, and A stays itself.
      Floats expected_mean(mean.begin(), mean.begin() + c.count);
      expected_mean.resize(static_cast<size_t>(shown_a), 0);
      Floats expected_difference(a.begin(), a.begin() + shown_a);
      std::copy_n(difference.begin(), c.count, expected_difference.begin());

      const SeenPair two = ReadTwo(member, files.a.name(), files.b.name(), c.limit);
      EXPECT_EQ(two.status, kOk);
      EXPECT_EQ(two.count, c.count);
      EXPECT_EQ(two.a.samples, Floats(a.begin(), a.begin() + shown_a));
      EXPECT_EQ(two.b.samples, Floats(b.begin(), b.begin() + c.count));
      EXPECT_EQ(two.common, expected_mean);
      EXPECT_EQ(two.a.interval_s, kInterval);

      const auto common_count = static_cast<uint32_t>(c.count);
      const SeenPair one =
          ReadDifference(member, files.a.name(), files.b.name(), c.limit, common_count);
      EXPECT_EQ(one.status, kOk);
      EXPECT_EQ(one.count, c.count);
      EXPECT_EQ(one.a.samples, expected_difference);
      EXPECT_EQ(one.common, Floats(mean.begin(), mean.begin() + c.count));

      EXPECT_FALSE(ReadTwo(member, files.a.name(), files.b.name(), 0, false).has_common);
      EXPECT_FALSE(ReadDifference(member, files.a.name(), files.b.name(), 0, 0).has_common);
    }
  }
}

// The two formulas of the common mode round differently: with A = 1 + 2^-23 and B = 2^-24 the mean
// of the sum is 0.5 * fl(1 + 3 * 2^-24) = 0.5 + 2^-23 (the sum is half way, to even), while A - B
// is 1 + 2^-24 rounded to 1, and fl(2 B + 1) / 2 is 0.5 + 2^-24.
TEST(PairReader, CommonModesRoundAsTheirFormulasDo) {
  const float a = 1 + std::ldexp(1.0f, -23), b = std::ldexp(1.0f, -24);
  const Member &member = kMembers[0];
  const Files files(member, {a}, {b});
  EXPECT_EQ(ReadTwo(member, files.a.name(), files.b.name(), 0).common,
            Floats{0.5f + std::ldexp(1.0f, -23)});
  const SeenPair one = ReadDifference(member, files.a.name(), files.b.name(), 0, 1);
  EXPECT_EQ(one.a.samples, Floats{1});
  EXPECT_EQ(one.common, Floats{0.5f + std::ldexp(1.0f, -24)});
}

TEST(PairReader, ComparesIntervalsToTheLastBit) {
  for (const Member &member : kMembers) {
    SCOPED_TRACE(member.name);
    const double other = std::nextafter(static_cast<float>(kInterval), 1.0f);
    const Files files(member, {1, 2, 3}, {1, 2}, kInterval, other);
    const VomoStatus expected = member.interval_from_file ? kIncompatible : kOk;
    EXPECT_EQ(ReadTwo(member, files.a.name(), files.b.name(), 0).status, expected);
    EXPECT_EQ(ReadDifference(member, files.a.name(), files.b.name(), 0, 2).status, expected);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Files without(member, {1, 2, 3}, {1, 2}, nan, nan);
    EXPECT_EQ(ReadTwo(member, without.a.name(), without.b.name(), 0).status, expected);
  }
}

// The message names the file under reading, which tells the order; nothing of the other stays.
TEST(PairReader, NamesTheFileThatFails) {
  for (const Member &member : kMembers) {
    SCOPED_TRACE(member.name);
    const Files files(member, {1, 2}, {3, 4});
    const auto message = [&](const char *a, const char *b) {
      const SeenPair seen = ReadTwo(member, a, b, 9);
      EXPECT_EQ(seen.status, kReadError);
      EXPECT_EQ(ReadDifference(member, a, b, 9, 2).status, kReadError);
      EXPECT_EQ(seen.count, 9u);
      const std::string text = Vomo_Status_Message(seen.status);
      return text.substr(text.find('"'));
    };
    EXPECT_EQ(message("/a", "/b"), member.a_first ? "\"/a\"" : "\"/b\"");
    EXPECT_EQ(message(nullptr, nullptr), "\"\"");
    if (member.one_file) continue;
    EXPECT_EQ(message(files.a.name(), "/b"), "\"/b\"");
    EXPECT_EQ(message("/a", files.b.name()), "\"/a\"");
  }
  const MemoryFile single(vomo_test::MakeBin({{{1, 2}}}));
  EXPECT_EQ(ReadTwo(kMembers[1], single.name(), nullptr, 0).status,
            Vomo_STATUS_NOT_ENOUGH_WAVEFORMS);
}

TEST(PairReader, NeedsItsOutputs) {
  for (const Member &member : kMembers) {
    SCOPED_TRACE(member.name);
    const Files files(member, {1, 2}, {3, 4});
    double interval_s = kInterval;
    uint32_t count = 0;
    VomoWaveform *a = nullptr, *b = nullptr;
    VomoHandle handle_a = 0, handle_b = 0;
    const Call good = {files.a.name(), files.b.name(), &interval_s, &count, &a, &handle_a, &b,
                       &handle_b,      nullptr,        nullptr};
    const auto without = [&](auto member_pointer) {
      Call call = good;
      call.*member_pointer = nullptr;
      return call;
    };
    const VomoStatus not_valid = Vomo_STATUS_PARAM_NOT_VALID;
    EXPECT_EQ(member.two(without(&Call::count)), not_valid);
    EXPECT_EQ(member.two(without(&Call::waveform_a)), not_valid);
    EXPECT_EQ(member.two(without(&Call::handle_b)), not_valid);
    EXPECT_EQ(member.difference(without(&Call::handle_a)), not_valid);
    if (!member.keeps_a) {
      EXPECT_EQ(member.two(without(&Call::interval_s)), not_valid);
      EXPECT_EQ(member.difference(without(&Call::interval_s)), not_valid);
    }
  }
}

// A TRC file cut short gives fewer samples than its header says: the pair goes by what was there.
TEST(PairReader, GoesByTheSamplesOfACutTrcFile) {
  const Member &member = kMembers[3];
  const Floats five = {1, 2, 3, 4, 5};
  const std::string whole = member.make(five, kInterval);
  const MemoryFile all(whole), cut(whole.substr(0, whole.size() - 5));  // 2 whole samples
  for (const bool a_is_cut : {false, true}) {
    const char *a = a_is_cut ? cut.name() : all.name();
    const char *b = a_is_cut ? all.name() : cut.name();
    const SeenPair two = ReadTwo(member, a, b, 0);
    EXPECT_EQ(two.status, kOk);
    EXPECT_EQ(two.count, 2u);
    EXPECT_EQ(two.a.samples, Floats({1, 2}));
    EXPECT_EQ(two.b.samples, Floats({1, 2}));
    EXPECT_EQ(two.common, Floats({1, 2}));
    EXPECT_EQ(ReadDifference(member, a, b, 0, 2).a.samples, Floats({0, 0}));
  }
}

// WFM legs hide samples, and their counts are compared by what they store. The work on both legs
// goes as far as leg A shows and leg B's block reaches.
TEST(PairReader, KeepsHiddenSamplesOfWfmLegsApart) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const auto make = [](const Floats &samples) {
    return vomo_test::MakeWfm(
        {.samples = Raw(samples), .format = 4, .bytes_per_point = 4, .interval_s = kInterval});
  };
  struct Case {
    const char *what;
    Floats a, b;
    uint32_t count;
    Floats shown_a, shown_b, common, difference;
  };
  const Case cases[] = {
      {"equal counts: hidden samples stay hidden",
       {nan, 1, 2, nan},
       {5, 6, 7, 8},
       4,
       {1, 2},
       {5, 6, 7, 8},
       {3, 4},
       {-4, -4}},
      {"equal counts, B with hidden back",
       {5, 6, 7},
       {1, 2, nan},
       3,
       {5, 6, 7},
       {1, 2},
       {3, 4, 3.5f},
       {4, 4, 7}},
      {"B longer: it shows as many as A stores",
       {nan, 1, 2},
       {5, 6, 7, 8},
       3,
       {1, 2},
       {5, 6, 7},
       {3, 4},
       {-4, -4}},
      {"A longer, with hidden front: no more than its block holds",
       {nan, nan, 1, 2, 3},
       {5, 6, 7, 8},
       4,
       {1, 2, 3},
       {5, 6, 7, 8},
       {3, 4, 5},
       {-4, -4, -4}},
      {"A longer shows its hidden back again",
       {1, 2, nan, nan},
       {5, 6, 7},
       3,
       {1, 2, 0},
       {5, 6, 7},
       {3, 4, 3.5f},
       {-4, -4, -7}},
      {"leg B behind its front shorter than A",
       {1, 2, 3, 4},
       {nan, nan, nan, 5},
       4,
       {1, 2, 3, 4},
       {5},
       {3, 0, 0, 0},
       {-4, 2, 3, 4}},
      {"nothing valid", {nan, nan}, {5, 6}, 2, {}, {5, 6}, {}, {}},
      {"nothing valid in B", {5, 6}, {nan, nan}, 2, {5, 6}, {}, {0, 0}, {5, 6}},
  };
  const Member &member = kMembers[4];
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const MemoryFile a(make(c.a)), b(make(c.b));
    const SeenPair two = ReadTwo(member, a.name(), b.name(), 0);
    EXPECT_EQ(two.status, kOk);
    EXPECT_EQ(two.count, c.count);
    EXPECT_EQ(two.a.samples, c.shown_a);
    EXPECT_EQ(two.b.samples, c.shown_b);
    EXPECT_EQ(two.common, c.common);
    const SeenPair one = ReadDifference(member, a.name(), b.name(), 0, 1);
    EXPECT_EQ(one.count, c.count);
    EXPECT_EQ(one.a.samples, c.difference);
  }
}

// Text alone has titles to skip, in both files.
TEST(PairReader, SkipsLinesOfBothTexts) {
  const MemoryFile a("99\n1\n2\n"), b("98\n3\n");
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  ASSERT_EQ(Vomo_Read_Single_Ended_Text_Files(a.name(), b.name(), 1, kInterval, &count, &waveform,
                                              &handle, nullptr, nullptr),
            kOk);
  Seen seen;
  Take(waveform, handle, &seen);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(seen.samples, Floats({-2, 2}));
}

TEST(PairReader, LeavesATextCopyOnlyWhenSwitchedOn) {
  EXPECT_EQ(vomo::DifferenceFileName("/d.d/cap_p.bin"), "/d.d/cap__diff.txt");
  EXPECT_EQ(vomo::DifferenceFileName("CAP_P.BIN"), "CAP__diff.txt");
  EXPECT_EQ(vomo::DifferenceFileName("a.b.trc"), "a.b_diff.txt");
  EXPECT_EQ(vomo::DifferenceFileName("leg"), "leg_diff.txt");
  EXPECT_EQ(vomo::DifferenceFileName("p"), "_diff.txt");

  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("vomo-pair-" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  const std::filesystem::path copy = folder / "leg__diff.txt", leg = folder / "leg_p";
  for (const Member &member : kMembers) {
    SCOPED_TRACE(member.name);
    const Files files(member, {3, 4}, {1, 1});
    std::filesystem::copy_file(files.a.name(), leg);
    for (const bool on : {false, true}) {
      vomo::ActivePairState().bWriteDiffFile = on;
      EXPECT_EQ(ReadDifference(member, leg.c_str(), files.b.name(), 0, 0).status, kOk);
      EXPECT_EQ(std::filesystem::exists(copy), on && member.writes_difference);
    }
    vomo::ActivePairState().bWriteDiffFile = false;
    if (std::filesystem::exists(copy)) {
      std::ifstream text(copy);
      EXPECT_EQ(std::string(std::istreambuf_iterator<char>(text), {}),
                "            0\t2.000000e+00\n9.31322574615e-10\t3.000000e+00\n");
    }
    std::filesystem::remove(copy);
    std::filesystem::remove(leg);
  }
  std::filesystem::remove(folder);
}

}  // namespace
