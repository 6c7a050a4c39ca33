// Four-port Touchstone files: scattering parameters over frequency, four lines to a point.
//
// Supported: magnitude and angle, decibels and angle, real and imaginary part; the units from Hz to
// GHz; letters of any case; comments and option lines before the data, of which the last option
// line counts. The first letter of unit and format decides, and what is missing reads as Hz and
// real and imaginary part. The first 2000 points are taken and the rest is ignored. Nothing is
// refused but a file without a point: a row that lacks numbers repeats those of the row before it.
#include <cctype>
#include <cmath>
#include <cstring>
#include <utility>

#include "core/boundary.h"
#include "files/line_reader.h"
#include "files/number_scan.h"

namespace vomo {
namespace {

constexpr uint32_t kMostPoints = 2000;
constexpr int kPorts = 4;
constexpr int kRowNumbers = 2 * kPorts;
constexpr double kRadiansPerDegree = 0.017453292519943295;

constexpr char kHeaderMarks[] = "#!";
constexpr char kNumberStarts[] = "+-.0123456789eE";

// The process's one record, which every read fills anew. Its last three fields are the caller's.
struct SparamState {
  VomoComplexFloat matrices[kMostPoints][kPorts][kPorts];
  double frequencies_hz[kMostPoints + 1];  // element 0 is that of DC
  VomoSparamData record;
};

SparamState g_sparams;

struct Options {
  char unit[kLongestLine + 1] = "";
  char format[kLongestLine + 1] = "";

  double Multiplier() const {
    switch (std::toupper(static_cast<unsigned char>(unit[0]))) {
      case 'K':
        return 1000.0;
      case 'M':
        return 1e6;
      case 'G':
        return 1e9;
      default:
        return 1.0;
    }
  }
};

// A pair of numbers in the file's format.
using Convert = VomoComplexFloat (*)(float a, float b);

VomoComplexFloat FromPolar(double magnitude, float degrees) {
  const double radians = double{degrees} * kRadiansPerDegree;
  return {static_cast<float>(magnitude * std::cos(radians)),
          static_cast<float>(magnitude * std::sin(radians))};
}

Convert ConversionOf(const Options &options) {
  switch (std::toupper(static_cast<unsigned char>(options.format[0]))) {
    case 'M':
      return [](float a, float b) { return FromPolar(double{a}, b); };
    case 'D':
      return [](float a, float b) { return FromPolar(std::pow(10.0, double{a} / 20.0), b); };
    default:
      return [](float a, float b) { return VomoComplexFloat{a, b}; };
  }
}

// The numbers of a line and, before them, perhaps a frequency. What a line does not give keeps the
// value that an earlier line gave it.
struct Row {
  double frequency = 0;
  float numbers[kRowNumbers] = {};
};

// Reads one number with a blank or the line's end behind it; NULL if there is anything else.
template <class Real>
const char *ReadField(const char *text, Real *value) {
  const char *end = text != nullptr ? ReadDecimal(SkipBlanks(text), value) : nullptr;
  return end != nullptr && (IsBlank(*end) || *end == '\n') ? end : nullptr;
}

// Scans the everyday line: all numbers there, plain, and blanks between them. False if it is
// another; a scan of the whole line then reads once more what has been read.
bool ScanPlainRow(const TextLine &line, bool with_frequency, Row *row) {
  if (!line.IsDelimited()) return false;
  const char *text = line.begin;
  if (with_frequency) text = ReadField(text, &row->frequency);
  for (float &number : row->numbers) text = ReadField(text, &number);
  return text != nullptr;
}

void ScanRow(const TextLine &line, bool with_frequency, Row *row) {
  if (ScanPlainRow(line, with_frequency, row)) return;
  const LineCopy copy(line);
  float *n = row->numbers;
  if (with_frequency) {
    ScanText(copy.text, "%lf %f %f %f %f %f %f %f %f", &row->frequency, n, n + 1, n + 2, n + 3,
             n + 4, n + 5, n + 6, n + 7);
  } else {
    ScanText(copy.text, "%f %f %f %f %f %f %f %f", n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6,
             n + 7);
  }
}

// Whether a line holds one of the characters; behind a 0 nothing is looked at.
bool HoldsAny(const TextLine &line, const char *characters) {
  for (const char *c = line.begin; c != line.end && *c != '\0'; ++c) {
    if (std::strchr(characters, *c) != nullptr) return true;
  }
  return false;
}

// Reads comments and option lines up to the first line of another kind, which becomes the line;
// false if there is none.
bool ReadHeader(LineReader *lines, TextLine *line, Options *options) {
  while (lines->Next(line)) {
    if (!HoldsAny(*line, kHeaderMarks)) return true;
    const LineCopy copy(*line);
    const char *mark = std::strchr(copy.text, '#');
    if (mark != nullptr) {
      ScanText(mark, "%*c %2047s %*c %2047s %*c %*f", options->unit, options->format);
    }
  }
  return false;
}

// Reads points from the given line on and returns how many there were. The lines of a point behind
// its first are not looked at; at the end of the file they count as empty.
uint32_t ReadPoints(LineReader *lines, TextLine line, const Options &options) {
  const double multiplier = options.Multiplier();
  const Convert convert = ConversionOf(options);
  Row row;
  uint32_t count = 0;
  do {
    if (!HoldsAny(line, kNumberStarts)) continue;
    for (int r = 0; r < kPorts; ++r) {
      if (r == 0 || lines->Next(&line)) ScanRow(line, r == 0, &row);
      for (int c = 0; c < kPorts; ++c) {
        g_sparams.matrices[count][r][c] = convert(row.numbers[2 * c], row.numbers[2 * c + 1]);
      }
    }
    g_sparams.frequencies_hz[++count] = row.frequency * multiplier;
  } while (count < kMostPoints && lines->Next(&line));
  return count;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Read_S4P_File(const char *pcFileName,
                                         VomoSparamData **ppsSparamData) noexcept {
  if (ppsSparamData == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&]() -> VomoStatus {
    InputFile file(pcFileName);
    if (!file) return Vomo_STATUS_FILE_READ_ERROR;
    LineReader lines(std::move(file));
    std::memset(g_sparams.matrices, 0, sizeof g_sparams.matrices);
    std::memset(g_sparams.frequencies_hz, 0, sizeof g_sparams.frequencies_hz);
    Options options;
    TextLine line;
    const bool data = ReadHeader(&lines, &line, &options);
    const uint32_t count = data ? ReadPoints(&lines, line, options) : 0;
    if (count == 0) return Vomo_STATUS_UNEXPECTED_EOF;
    g_sparams.record.ulSArrayLength = count;
    g_sparams.record.pspSArray = g_sparams.matrices;
    g_sparams.record.pdSfreq = g_sparams.frequencies_hz;
    *ppsSparamData = &g_sparams.record;
    return Vomo_STATUS_SUCCESS;
  });
}
