#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/memory_file.h"

namespace {

using vomo_test::MemoryFile;

constexpr VomoStatus kOk = Vomo_STATUS_SUCCESS, kEof = Vomo_STATUS_UNEXPECTED_EOF;

struct SeenPoint {
  double frequency_hz;
  std::vector<float> numbers;  // 16 pairs, row after row
};

struct SeenFile {
  VomoStatus status;
  const VomoSparamData *record = nullptr;

  SeenPoint Point(uint32_t k) const {
    SeenPoint point{record->pdSfreq[k + 1], {}};
    for (const auto &row : record->pspSArray[k]) {
      for (const VomoComplexFloat &s : row)
        point.numbers.insert(point.numbers.end(), {s.fRe, s.fIm});
    }
    return point;
  }
};

SeenFile ReadS4P(const std::string &content) {
  const MemoryFile file(content);
  VomoSparamData poison{};
  VomoSparamData *record = &poison;
  SeenFile seen;
  seen.status = Vomo_Read_S4P_File(file.name(), &record);
  if (seen.status == kOk) {
    EXPECT_EQ(record->pdSfreq[0], 0.0);
    seen.record = record;
  } else {
    EXPECT_EQ(record, &poison);
  }
  return seen;
}

// A point whose 32 numbers count up from the given one.
std::string Point(const std::string &frequency, int first, const char *line_end = "\n") {
  std::string text = frequency;
  for (int i = 0; i < 32; ++i) {
    text += ' ';
    text += std::to_string(first + i);
    if (i % 8 == 7) text += line_end;
  }
  return text;
}

std::vector<float> CountingFrom(int first) {
  std::vector<float> numbers;
  for (int i = 0; i < 32; ++i) numbers.push_back(static_cast<float>(first + i));
  return numbers;
}

TEST(S4pReader, ReadsUnitsFormatsAndHeaders) {
  const std::string data = "1.5 0.5 90 1 0 2 180 -20 0\n";
  const std::string rest = "0 0 0 0 0 0 0 0\n0 0 0 0 0 0 0 0\n0 0 0 0 0 0 0 0\n";
  struct Case {
    const char *header;
    double frequency_hz;
    std::vector<float> row;
  };
  const std::vector<float> as_is = {0.5f, 90, 1, 0, 2, 180, -20, 0};
  const std::vector<float> magnitude = {0, 0.5f, 1, 0, -2, 0, -20, 0};
  // Decibels: 0.5 is 1.05925 at 90 degrees, 1 is 1.12202, 2 is 1.25893 at 180 degrees, -20 is 0.1.
  const std::vector<float> decibels = {0, 1.0592537f, 1.1220185f, 0, -1.2589254f, 0, 0.1f, 0};
  const Case cases[] = {
      {"# GHZ S MA R 50\n", 1.5e9, magnitude},
      {"# hz s ri r 50\n", 1.5, as_is},
      {"# kHz S DB R 50\n", 1500, decibels},
      {"# MHz S db R 50\n", 1.5e6, decibels},
      {"! comment\n\t\n", 1.5, as_is},
      {"", 1.5, as_is},
      {"!a comment 1 2 3\n# GHz S MA R 50\n! another\n", 1.5e9, magnitude},
      {"# GHz S MA R 50\n# MHz S RI R 50\n", 1.5e6, as_is},
      {"# GHz S MA R 50\n# kHz\n", 1500, magnitude},  // what a later line lacks stays
      {"# GHz\n", 1.5e9, as_is},
      {"#\n", 1.5, as_is},
      {"# GHz S MA R 50 ! words behind\n", 1.5e9, magnitude},
      {"! words before # GHz S MA R 50\n", 1.5e9, magnitude},
      {"\xEF\xBB\xBF# GHz S MA R 50\r\n", 1.5e9, magnitude},
      {"# THz S XY R 50\n", 1.5, as_is},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.header);
    const SeenFile seen = ReadS4P(c.header + data + rest);
    ASSERT_EQ(seen.status, kOk);
    ASSERT_EQ(seen.record->ulSArrayLength, 1u);
    const SeenPoint point = seen.Point(0);
    EXPECT_DOUBLE_EQ(point.frequency_hz, c.frequency_hz);
    for (size_t i = 0; i < c.row.size(); ++i) {
      // A cosine of 90 degrees in double is 6e-17, not 0; the rest is float rounding.
      EXPECT_NEAR(point.numbers[i], c.row[i], 1e-7 * (1 + std::abs(c.row[i]))) << i;
    }
  }
}

TEST(S4pReader, WalksThroughTheLines) {
  struct Case {
    const char *what;
    std::string data;
    std::vector<SeenPoint> points;
  };
  std::vector<float> cut = CountingFrom(1);  // 19 numbers there: the rest repeats the row before
  for (size_t i = 19; i < 32; ++i) cut[i] = cut[i - 8];
  std::vector<float> first_row_only(CountingFrom(1));
  for (size_t i = 8; i < 32; ++i) first_row_only[i] = first_row_only[i - 8];
  const std::string two = Point("1", 1) + "\n! words only\n" + Point("2", 101);
  const Case cases[] = {
      {"blank lines and comments of words between points",
       two,
       {{1, CountingFrom(1)}, {2, CountingFrom(101)}}},
      {"carriage returns", Point("1", 1, "\r\n"), {{1, CountingFrom(1)}}},
      {"no final newline",
       Point("1", 1).substr(0, Point("1", 1).size() - 1),
       {{1, CountingFrom(1)}}},
      {"comments behind the numbers",
       Point("1", 1) + Point("2", 101, " ! 99\n"),
       {{1, CountingFrom(1)}, {2, CountingFrom(101)}}},
      {"a first line with a comment is one of the header",
       Point("1", 1, " ! 99\n") + Point("2", 101),
       {{2, CountingFrom(101)}}},
      {"numbers that lack in rows",
       "1 1 2 3 4 5 6 7 8\n9 10 11 12 13 14 15 16\n17 18 19\n\n",
       {{1, cut}}},
      {"end of the file after the first row", "1 1 2 3 4 5 6 7 8\n", {{1, first_row_only}}},
      {"end of the file within a row", "1 1 2 3 4 5 6 7 8", {{1, first_row_only}}},
      {"a line with an e starts a point",
       "the end\n" + Point("", 1).substr(1),
       {{0, {0, 0,  0,  0,  0,  0,  0,  0,  1,  2,  3,  4,  5,  6,  7,  8,
             9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24}},
        {25, {26, 27, 28, 29, 30, 31, 32, 24, 26, 27, 28, 29, 30, 31, 32, 24,
              26, 27, 28, 29, 30, 31, 32, 24, 26, 27, 28, 29, 30, 31, 32, 24}}}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const SeenFile seen = ReadS4P(c.data);
    ASSERT_EQ(seen.status, kOk);
    ASSERT_EQ(seen.record->ulSArrayLength, c.points.size());
    for (uint32_t k = 0; k < c.points.size(); ++k) {
      EXPECT_EQ(seen.Point(k).frequency_hz, c.points[k].frequency_hz);
      EXPECT_EQ(seen.Point(k).numbers, c.points[k].numbers);
    }
  }
}

TEST(S4pReader, FillsOneRecordAnewAndKeepsTheCallersFields) {
  std::string many;
  for (int i = 0; i < 2500; ++i) many += Point(std::to_string(i), i);
  const SeenFile long_file = ReadS4P("# MHz S RI R 50\n" + many);
  ASSERT_EQ(long_file.status, kOk);
  EXPECT_EQ(long_file.record->ulSArrayLength, 2000u);
  EXPECT_EQ(long_file.Point(1999).frequency_hz, 1999e6);
  EXPECT_EQ(long_file.Point(1999).numbers, CountingFrom(1999));

  auto *record = const_cast<VomoSparamData *>(long_file.record);
  record->dFLowPass = 5;
  record->dPercentToTrim = 6;
  record->iFlags = 7;
  const SeenFile short_file = ReadS4P(Point("3", 5));
  EXPECT_EQ(short_file.record, record);
  EXPECT_EQ(record->ulSArrayLength, 1u);
  EXPECT_EQ(short_file.Point(0).numbers, CountingFrom(5));
  EXPECT_EQ(short_file.Point(1).frequency_hz, 0.0);
  EXPECT_EQ(short_file.Point(1).numbers, std::vector<float>(32, 0.0f));
  EXPECT_EQ(ReadS4P("! nothing\n").status, kEof);
  EXPECT_EQ(record->ulSArrayLength, 1u);
  EXPECT_EQ(record->dFLowPass, 5);
  EXPECT_EQ(record->dPercentToTrim, 6);
  EXPECT_EQ(record->iFlags, 7);
  record->dFLowPass = record->dPercentToTrim = 0;
  record->iFlags = 0;
}

TEST(S4pReader, RefusesFilesWithoutAPoint) {
  for (const char *content : {"", "! only\n! comments\n", "# GHz S MA R 50\n", "\n\n", "uvw\n"}) {
    EXPECT_EQ(ReadS4P(content).status, kEof) << content;
  }
  VomoSparamData *record = nullptr;
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  Vomo_Read_Text_File("before", 0, 1, &count, &waveform, &handle);
  for (const char *name : {static_cast<const char *>(nullptr), "", "/nowhere"}) {
    EXPECT_EQ(Vomo_Read_S4P_File(name, &record), Vomo_STATUS_FILE_READ_ERROR);
  }
  EXPECT_EQ(Vomo_Read_S4P_File("/tmp", &record), kEof);
  // The message names the file that was stored last, which is none of these.
  EXPECT_STREQ(Vomo_Status_Message(Vomo_STATUS_FILE_READ_ERROR),
               "Error reading data input file \"before\"");
  EXPECT_EQ(Vomo_Read_S4P_File("", nullptr), Vomo_STATUS_PARAM_NOT_VALID);
}

// The same lines through fgets and sscanf, for lines of which few are in order.
TEST(S4pReader, AgreesWithPlainScanningOnAnyLine) {
  std::mt19937 random(4);
  static const char *const kFragments[] = {" 1",    " -2.5", " 3e2", " 1e40", " nan", "x",  " ! ",
                                           " 0x10", "-",     " .5",  "\t7.",  "\r",   "  ", " 12"};
  for (int round = 0; round < 300; ++round) {
    std::string content = "# Hz S RI R 50\n";
    for (int line = 0; line < 40; ++line) {
      const unsigned fragments = 4 + random() % 8;
      if (random() % 30 == 0) content += std::string(2030 + random() % 30, ' ');
      for (unsigned i = 0; i < fragments; ++i) {
        // Plain numbers three times out of four.
        if (random() % 4 != 0) {
          content += ' ';
          content += std::to_string(random() % 100000);
        } else {
          content += kFragments[random() % std::size(kFragments)];
        }
      }
      content += "\n";
    }
    const MemoryFile file(content);
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::fopen(file.name(), "r"),
                                                                  std::fclose);
    char line[2048];
    do {
      ASSERT_NE(std::fgets(line, sizeof line, stream.get()), nullptr);
    } while (std::strpbrk(line, "#!") != nullptr);
    double f = 0;
    float n[8] = {};
    std::vector<SeenPoint> expected;
    do {
      if (std::string(line).find_first_of("+-.0123456789eE") == std::string::npos) continue;
      std::sscanf(line, "%lf %f %f %f %f %f %f %f %f", &f, n, n + 1, n + 2, n + 3, n + 4, n + 5,
                  n + 6, n + 7);
      SeenPoint point{f, {n, n + 8}};
      for (int row = 1; row < 4; ++row) {
        if (std::fgets(line, sizeof line, stream.get()) != nullptr) {
          std::sscanf(line, "%f %f %f %f %f %f %f %f", n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6,
                      n + 7);
        }
        point.numbers.insert(point.numbers.end(), n, n + 8);
      }
      expected.push_back(point);
    } while (std::fgets(line, sizeof line, stream.get()) != nullptr);
    const SeenFile seen = ReadS4P(content);
    ASSERT_EQ(seen.status, kOk);
    ASSERT_EQ(seen.record->ulSArrayLength, expected.size());
    for (uint32_t k = 0; k < expected.size(); ++k) {
      const SeenPoint point = seen.Point(k);
      const auto same = [](double a, double b) {
        return a == b || (std::isnan(a) && std::isnan(b));
      };
      ASSERT_TRUE(same(point.frequency_hz, expected[k].frequency_hz)) << content;
      for (size_t i = 0; i < 32; ++i) {
        ASSERT_TRUE(same(point.numbers[i], expected[k].numbers[i])) << content;
      }
    }
  }
}

}  // namespace
