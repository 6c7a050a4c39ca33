#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vomo.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "files/number_scan.h"
#include "files/read_support.h"

namespace {

using vomo_test::MemoryFile;
using vomo_test::ReadWith;
using vomo_test::Seen;
using Floats = std::vector<float>;
using namespace std::string_literals;

Seen ReadNamed(const char *name, uint32_t skip = 0, uint32_t limit = 0) {
  return ReadWith(limit, [&](uint32_t *count, VomoWaveform **waveform, VomoHandle *handle) {
    return Vomo_Read_Text_File(name, skip, 12.5e-12, count, waveform, handle);
  });
}

Seen ReadText(const std::string &content, uint32_t skip = 0, uint32_t limit = 0) {
  const MemoryFile file(content);
  return ReadNamed(file.name(), skip, limit);
}

// Equal bit by bit, any NaN being equal to any other.
void ExpectSame(const Floats &seen, const Floats &expected, const std::string &content) {
  ASSERT_EQ(seen.size(), expected.size()) << content;
  for (size_t i = 0; i < seen.size(); ++i) {
    if (std::isnan(seen[i]) && std::isnan(expected[i])) continue;
    ASSERT_EQ(std::bit_cast<uint32_t>(seen[i]), std::bit_cast<uint32_t>(expected[i]))
        << "sample " << i << " is " << seen[i] << ", expected " << expected[i] << " of\n"
        << content;
  }
}

TEST(TextReader, TakesTheSecondColumnOrTheOnlyOne) {
  struct Case {
    const char *what;
    std::string content;
    Floats samples;
  };
  const float inf = INFINITY;
  const Case cases[] = {
      {"comma", "1.5, 2.5\n", {2.5f}},
      {"blank", "1.5 2.5\n", {2.5f}},
      {"one column", "1.5\n", {1.5f}},
      {"scan starts at the first digit", "t = 3\n", {3}},
      {"no final newline", "1\n2", {1, 2}},
      {"carriage returns", "1,2\r\n3\t4\r\n5\r\n", {2, 4, 5}},
      {"blank before the comma ends the scan", "1.5 , 2.5\n", {1.5f}},
      {"comma behind the second column of a line of blanks", "1 2 3,4\n", {1}},
      {"comma in a unit behind the numbers", "1 2 V, peak\n", {1}},
      {"further columns", "1 2 3\n1,2,3\n1,2 3\n", {2, 2, 2}},
      {"comma and nothing", "1,\n2, \n", {1, 2}},
      {"comment, blank and header lines without a number", "# time\n\n  \nV\n1\n", {1}},
      {"header line with a digit is data", "channel 1\n5\n", {1, 5}},
      {"header line with a point is data, here of the value before", "7\ne.g.\n", {7, 7}},
      {"a lone sign gives the first field of the line before", "1, 2\n-\n3\n-\n", {2, 1, 3, 3}},
      {"a lone sign at the start gives 0", "-\n", {0}},
      {"byte order mark",
       "\xEF\xBB\xBF"
       "0.5\n",
       {0.5f}},
      {"sign behind a number", "1-2\n", {-2}},
      {"second column is no number", "1 volt\n", {1}},
      {"units", "1ns 2mV\n", {1}},
      {"semicolons", "1;2\n", {1}},
      {"decimal commas", "1,25\n", {25}},
      {"decimal commas and semicolon", "0,5;1,25\n", {5}},
      {"exponents", "1e3\n1E+3\n-2.5e-3\n+.5\n5.\n", {1000, 1000, -2.5e-3f, 0.5f, 5}},
      {"signed zero", "-0.0\n", {-0.0f}},
      {"infinities and NaN", "1 inf\n1 -infinity\n1 nan\n", {inf, -inf, NAN}},
      {"infinity in the only column has no digit", "inf\n-inf\n", {-inf}},
      {"hexadecimal", "0x1.8p1\n1 0x10\n", {3, 16}},
      {"out of range", "1e39\n-1e999\n1e-60\n", {inf, -inf, 0}},
      {"subnormal", "1.4e-45\n", {1.4e-45f}},
      {"a 0 ends its line's text", "1\0 2\n3 4\0,\n"s, {1, 4}},
      {"a 0 in front hides the line",
       "\0"
       "5\n6\n"s,
       {6}},
      {"vertical tab and form feed are blanks", "1\v2\n1\f2\n", {2, 2}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Seen seen = ReadText(c.content);
    EXPECT_EQ(seen.status, Vomo_STATUS_SUCCESS);
    EXPECT_EQ(seen.count, c.samples.size());
    EXPECT_EQ(seen.interval_s, 12.5e-12);
    ExpectSame(seen.samples, c.samples, c.content);
  }
}

TEST(TextReader, SkipsLimitsAndRefuses) {
  std::string hundred;
  for (int i = 0; i < 100; ++i) hundred += std::to_string(i) + "\n";
  const std::string long_line = std::string(2050, ' ') + "7\n8\n";  // counts as two lines
  struct Case {
    const char *what;
    std::string content;
    uint32_t skip, limit;
    VomoStatus status;
    uint32_t count;
    float first;
  };
  const Case cases[] = {
      {"all", hundred, 0, 0, Vomo_STATUS_SUCCESS, 100, 0},
      {"ten", hundred, 0, 10, Vomo_STATUS_SUCCESS, 10, 0},
      {"limit above the file", hundred, 0, 1000, Vomo_STATUS_SUCCESS, 100, 0},
      {"skip", hundred, 98, 0, Vomo_STATUS_SUCCESS, 2, 98},
      {"skip all", hundred, 100, 0, Vomo_STATUS_UNEXPECTED_EOF, 0, 0},
      {"skip more", hundred, 101, 0, Vomo_STATUS_UNEXPECTED_EOF, 0, 0},
      {"skip without end", hundred, 0xFFFFFFFF, 0, Vomo_STATUS_UNEXPECTED_EOF, 0, 0},
      {"skip the front of a long line", long_line, 1, 0, Vomo_STATUS_SUCCESS, 2, 7},
      {"skip the whole of a long line", long_line, 2, 0, Vomo_STATUS_SUCCESS, 1, 8},
      {"empty", "", 0, 0, Vomo_STATUS_UNEXPECTED_EOF, 0, 0},
      {"comments", "# a\n# b\n", 0, 0, Vomo_STATUS_UNEXPECTED_EOF, 0, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Seen seen = ReadText(c.content, c.skip, c.limit);
    EXPECT_EQ(seen.status, c.status);
    if (c.status != Vomo_STATUS_SUCCESS) continue;
    EXPECT_EQ(seen.count, c.count);
    ASSERT_EQ(seen.samples.size(), c.count);
    EXPECT_EQ(seen.samples[0], c.first);
  }
}

TEST(TextReader, NamesTheFileThatCannotBeRead) {
  const std::string folder = std::filesystem::temp_directory_path().string();
  struct Case {
    const char *name;
    uint32_t skip;
    VomoStatus status;
    std::string message;
  };
  const std::string error = "Error reading data input file \"";
  const Case cases[] = {
      {nullptr, 0, Vomo_STATUS_FILE_READ_ERROR, error + "\""},
      {"", 0, Vomo_STATUS_FILE_READ_ERROR, error + "\""},
      {"/nowhere/at all", 0, Vomo_STATUS_FILE_READ_ERROR, error + "/nowhere/at all\""},
      {folder.c_str(), 1, Vomo_STATUS_FILE_READ_ERROR, error + folder + "\""},
      {folder.c_str(), 0, Vomo_STATUS_UNEXPECTED_EOF,
       "Unexpected end of file found reading data input file \"" + folder + "\""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.message);
    const Seen seen = ReadNamed(c.name, c.skip);
    EXPECT_EQ(seen.status, c.status);
    EXPECT_EQ(Vomo_Status_Message(seen.status), c.message);
  }
}

TEST(TextReader, ReadsAPipeAndStopsAtTheLimit) {
  const std::string name =
      (std::filesystem::temp_directory_path() / ("vomo-pipe-" + std::to_string(getpid()))).string();
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  std::signal(SIGPIPE, SIG_IGN);  // the reader closes when it has enough
  std::thread writer([&] {
    std::FILE *pipe = std::fopen(name.c_str(), "w");
    for (int i = 0; i < 5; ++i) {
      std::fprintf(pipe, "%d\n", i);
      std::fflush(pipe);
    }
    std::fclose(pipe);
  });
  const Seen seen = ReadNamed(name.c_str(), 1, 3);
  writer.join();
  std::remove(name.c_str());
  EXPECT_EQ(seen.status, Vomo_STATUS_SUCCESS);
  ExpectSame(seen.samples, {1, 2, 3}, "pipe");
}

// The plainest reader of the same description, over the same library calls that users would write.
Floats ReferenceRead(const char *name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(name, "r"), std::fclose);
  Floats samples;
  float first = 0, second = 0;
  char line[2048];
  while (std::fgets(line, sizeof line, file.get()) != nullptr) {
    const char *start = std::strpbrk(line, "+-.0123456789");
    if (start == nullptr) continue;
    const char *format = std::strchr(start, ',') != nullptr ? "%f, %f" : "%f %f";
    const int fields = std::sscanf(start, format, &first, &second);
    samples.push_back(fields == 2 ? second : first);
  }
  return samples;
}

// Lines of fragments of which most fit together to numbers and some don't.
class LineMaker {
 public:
  std::string Line() {
    std::string line;
    const int fragments = static_cast<int>(Below(8));
    for (int i = 0; i < fragments; ++i) line += Fragment();
    if (Below(100) == 0) {
      // Numbers, or what stands between them, across the end of the longest line.
      line.append(2025 + Below(20), Below(4) == 0 ? '1' : ' ');
      for (int i = 0; i < 4; ++i) line += Fragment();
    }
    return line + (Below(4) == 0 ? "\r\n" : "\n");
  }

 private:
  uint64_t Below(uint64_t bound) { return random_() % bound; }

  std::string Fragment() {
    static const char *const kOdd[] = {"-",   "+",    ".",   "e",  "E",    "e5",  "e-",   "e+07",
                                       "inf", "nan",  "0x1", "p3", "abc",  "#",   "\v",   "-.",
                                       "..",  "nan(", "1e",  "5E", "1e-5", "99.", "e400", "'"};
    switch (Below(6)) {
      case 0:
        return kOdd[Below(std::size(kOdd))];
      case 1:
        return Below(20) == 0 ? std::string(1, '\0') : " ";
      case 2:
        return Below(2) ? ", " : ",";
      default:
        return Number();
    }
  }

  std::string Number() {
    char text[80];
    const double value = static_cast<double>(static_cast<int64_t>(random_())) *
                         std::pow(10.0, static_cast<double>(Below(70)) - 50);
    static const char *const kFormats[] = {"%.9g", "%.6e",  "%.17g", "%.25f",
                                           "%.0f", "%+.3g", " %g"};
    std::snprintf(text, sizeof text, kFormats[Below(std::size(kFormats))], value);
    return text;
  }

  std::mt19937_64 random_{20261122};
};

TEST(TextReader, AgreesWithPlainScanningOnAnyLine) {
  LineMaker maker;
  for (int round = 0; round < 40; ++round) {
    std::string content;
    for (int i = 0; i < 500; ++i) content += maker.Line();
    const MemoryFile file(content);
    const Floats expected = ReferenceRead(file.name());
    const Seen seen = ReadNamed(file.name());
    ASSERT_EQ(seen.status, Vomo_STATUS_SUCCESS);
    ASSERT_GT(expected.size(), 300u);
    ExpectSame(seen.samples, expected, round == 0 ? content : "");
  }
}

// Blocks are read in pieces of a fixed size: a line may lie across the seam at any of its places.
TEST(TextReader, LosesNothingAtTheSeamsOfItsBlocks) {
  for (size_t front = 0; front < 24; ++front) {
    std::string content = std::string(front, ' ') + "\n";
    Floats expected;
    for (int i = 0; content.size() < 600'000; ++i) {
      content += std::to_string(i) + ", " + std::to_string(-i) + ".5\n";
      expected.push_back(static_cast<float>(-i) + (i == 0 ? 0.5f : -0.5f));
    }
    ExpectSame(ReadText(content).samples, expected, "front " + std::to_string(front));
  }
}

// More samples than the working array has room for at first, and than one growth adds.
TEST(TextReader, GrowsWithTheFile) {
  constexpr size_t kSamples = 0x400000 + 0x100000 + 3;
  std::string content;
  for (size_t i = 0; i < kSamples; ++i) content += static_cast<char>('0' + i % 10), content += '\n';
  const Seen seen = ReadText(content);
  ASSERT_EQ(seen.samples.size(), kSamples);
  for (size_t i = 0; i < kSamples; ++i) ASSERT_EQ(seen.samples[i], static_cast<float>(i % 10));
}

TEST(TextReader, NeedsItsOutputs) {
  const MemoryFile file("1\n");
  uint32_t count = 0;
  VomoWaveform *waveform = nullptr;
  VomoHandle handle = 0;
  const auto not_valid = Vomo_STATUS_PARAM_NOT_VALID;
  EXPECT_EQ(Vomo_Read_Text_File(file.name(), 0, 1, nullptr, &waveform, &handle), not_valid);
  EXPECT_EQ(Vomo_Read_Text_File(file.name(), 0, 1, &count, nullptr, &handle), not_valid);
  EXPECT_EQ(Vomo_Read_Text_File(file.name(), 0, 1, &count, &waveform, nullptr), not_valid);
  EXPECT_EQ(handle, 0u);
}

// A number is rounded once: against the C library, for decimals on, just above and just below the
// middle of two floats or doubles, and for random ones of every length.
template <class Real>
void ExpectRoundedAs(const std::string &text, Real (*reference)(const char *, char **)) {
  Real value = 42;
  const char *end = vomo::ReadDecimal(text.c_str(), &value);
  const Real expected = reference(text.c_str(), nullptr);
  if (end == nullptr) {
    // Left to the slow scan: only beyond the range, or where only 0 is left of a number.
    ASSERT_TRUE(std::isinf(expected) || std::abs(expected) < std::numeric_limits<Real>::min())
        << text;
    return;
  }
  ASSERT_EQ(*end, '\0') << text;
  ASSERT_EQ(value, expected) << text;
}

TEST(NumberScan, RoundsAsTheCLibrary) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 200'000 && !HasFatalFailure(); ++i) {
    const float lower = std::bit_cast<float>(static_cast<uint32_t>(random() % 0x7F000000u));
    const double middle = (double{lower} + double{std::nextafter(lower, INFINITY)}) / 2;
    char text[160];
    std::snprintf(text, sizeof text, "%.*e", static_cast<int>(random() % 20), middle);
    ExpectRoundedAs<float>(text, std::strtof);
    ExpectRoundedAs<double>(text, std::strtod);
    std::snprintf(text, sizeof text, "%.*f", static_cast<int>(random() % 24),
                  static_cast<double>(random() % 1'000'000) / 65536);
    ExpectRoundedAs<float>(text, std::strtof);
    ExpectRoundedAs<double>(text, std::strtod);
  }
}

}  // namespace
