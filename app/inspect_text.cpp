// What can be told of text: columns of numbers, and the S-parameters of a four-port.
#include <fmt/format.h>
#include <vomo.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "inspection.h"

namespace app {
namespace {

// As the library does, lines are taken in pieces of so many characters.
constexpr size_t kLongestPiece = 2047;
constexpr uint64_t kBytesLookedAt = 1 << 16;  // from the first line of data on
constexpr char kNumberStarts[] = "+-.0123456789";

struct Line {
  uint64_t number = 0;  // from 1
  uint64_t byte = 0;
  std::string text;
};

// The lines of a file, a block at a time.
class Lines {
 public:
  explicit Lines(const FileBytes &file) : file_(file) {}

  bool Next(Line *line) {
    if (next_ >= file_.size()) return false;
    if (next_ < block_at_ || next_ + kLongestPiece > block_at_ + block_.size()) {
      block_at_ = next_;
      block_ = file_.Text(block_at_, kBlockBytes);
      if (block_.empty()) return false;
    }
    const size_t from = static_cast<size_t>(next_ - block_at_);
    const size_t end = block_.find('\n', from);
    const size_t length =
        std::min({end == std::string::npos ? block_.size() - from : end - from + 1, kLongestPiece});
    *line = {++count_, next_, block_.substr(from, length)};
    next_ += length;
    while (!line->text.empty() && (line->text.back() == '\n' || line->text.back() == '\r')) {
      line->text.pop_back();
    }
    return true;
  }

 private:
  static constexpr size_t kBlockBytes = 1 << 16;
  const FileBytes &file_;
  uint64_t next_ = 0, count_ = 0;
  uint64_t block_at_ = 0;
  std::string block_;
};

std::string Quoted(const std::string &text) {
  constexpr size_t kMost = 60;
  std::string shown;
  for (const char c : text.substr(0, kMost)) shown += c == '\t' || c >= ' ' ? c : '?';
  return fmt::format("\"{}{}\"", shown, text.size() > kMost ? "..." : "");
}

// Letters beyond those of numbers, as in a title or a comment.
bool HasWords(const std::string &text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return std::isalpha(c) && c != 'e' && c != 'E'; });
}

bool MayHoldDecimalComma(const std::string &text) {
  const size_t comma = text.find(',');
  return comma != std::string::npos && comma > 0 && comma + 1 < text.size() &&
         text.find('.') == std::string::npos &&
         std::isdigit(static_cast<unsigned char>(text[comma - 1])) &&
         std::isdigit(static_cast<unsigned char>(text[comma + 1]));
}

// The numbers that a line begins with.
std::vector<double> NumbersOf(std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  std::istringstream stream(text);
  std::vector<double> numbers;
  for (double number; stream >> number;) numbers.push_back(number);
  return numbers;
}

// Finds the next line that counts as data.
bool NextData(Lines *lines, Line *line) {
  while (lines->Next(line)) {
    if (line->text.find_first_of(kNumberStarts) != std::string::npos) return true;
  }
  return false;
}

// The first lines of data: what they hold, and titles or decimal commas that read as numbers.
void InspectData(Lines *lines, const Line &first, Inspection *result) {
  Line line = first;
  Line title, stray, comma;
  std::vector<double> previous;
  bool step_known = false;
  do {
    const bool in_front = line.number == first.number || title.number + 1 == line.number;
    if (HasWords(line.text) && in_front) title = line;
    if (HasWords(line.text) && !in_front && stray.number == 0) stray = line;
    if (comma.number == 0 && MayHoldDecimalComma(line.text)) comma = line;
    const std::vector<double> numbers = NumbersOf(line.text);
    if (!step_known && numbers.size() == 2 && previous.size() == 2) {
      result->Tell("columns", 2);
      result->Tell("step of the first column", numbers[0] - previous[0]);
      step_known = true;
    }
    previous = numbers;
  } while (line.byte < first.byte + kBytesLookedAt && NextData(lines, &line));
  const auto tell = [&](const Line &at, const std::string &what) {
    if (at.number == 0) return;
    result->notes.push_back(
        fmt::format("line {} at byte {}, {}, {}", at.number, at.byte, Quoted(at.text), what));
  };
  const std::string counts = "holds a digit, sign or point and so counts as a sample";
  tell(title, fmt::format("{}; --skip-lines {} passes over it", counts, title.number));
  tell(stray, counts);
  tell(comma, "has a comma, which parts columns; if it is a decimal comma, write a point instead");
}

}  // namespace

Inspection InspectText(const FileBytes &file, const InspectionRequest &request) {
  Inspection result;
  Lines lines(file);
  Line line;
  for (uint32_t i = 0; i < request.skip_lines; ++i) {
    if (lines.Next(&line)) continue;
    result.Fail("lines to skip", file.size(), fmt::format("the end of the file after {} lines", i),
                fmt::format("more than {} lines", request.skip_lines));
    return result;
  }
  if (!NextData(&lines, &line)) {
    result.Fail("data", file.size(), "the end of the file",
                "a line with a number behind the lines that were skipped");
    return result;
  }
  result.Tell("first line of data", line.number);
  result.Tell("at byte", line.byte);
  result.Tell("it holds", Quoted(line.text));
  InspectData(&lines, line, &result);
  return result;
}

namespace {

constexpr size_t kPorts = 4;

// Which ports a network joins, by the larger of two elements at the lowest frequency.
void TellPorts(const VomoSparamData &data, Inspection *result) {
  const auto magnitude = [&](size_t row, size_t column) {
    const VomoComplexFloat &s = data.pspSArray[0][row][column];
    return double{std::hypot(s.fRe, s.fIm)};
  };
  const double s21 = magnitude(1, 0), s31 = magnitude(2, 0);
  result->Tell("S21 at the lowest frequency", s21);
  result->Tell("S31 at the lowest frequency", s31);
  result->Tell("ports as embedded", "in at 1 and 3, out at 2 and 4; signal = port 2 - port 4");
  result->Tell("ports as found", s21 > s31   ? "1 leads to 2, 3 to 4"
                                 : s31 > s21 ? "1 leads to 3, 2 to 4"
                                             : "not to be told");
  if (s31 > s21) {
    result->notes.push_back(
        "the ports seem to be numbered 1 to 3 and 2 to 4; embedding takes 1 to 2 and 3 to 4, so "
        "exchange ports 2 and 3 first");
  }
}

// The four rows of the first point; another number of ports shows in their lengths.
void CheckRows(Lines *lines, Line line, Inspection *result) {
  for (size_t row = 0; row < kPorts; ++row) {
    const size_t needed = 2 * kPorts + (row == 0 ? 1 : 0);
    const std::string text = line.text.substr(0, line.text.find('!'));
    const size_t found = NumbersOf(text).size();
    if (found != needed) {
      result->Fail(fmt::format("row {} of the first point", row + 1), line.byte,
                   fmt::format("{} numbers", found),
                   fmt::format("{} numbers, as a file of four ports has", needed));
      return;
    }
    if (row + 1 < kPorts && !lines->Next(&line)) line = {line.number, line.byte, ""};
  }
}

}  // namespace

Inspection InspectTouchstone(const FileBytes &file, const InspectionRequest &request) {
  Inspection result;
  Lines lines(file);
  Line line, option;
  bool data = false;
  while (!data && lines.Next(&line)) {
    const size_t mark = line.text.find('#');
    if (mark != std::string::npos) option = {line.number, line.byte, line.text.substr(mark)};
    data = line.text.find_first_of("#!") == std::string::npos && !NumbersOf(line.text).empty();
  }
  if (option.number != 0) result.Tell("option line", option.text);
  if (!data) {
    result.Fail("data", file.size(), "the end of the file", "a line with a frequency");
    return result;
  }
  CheckRows(&lines, line, &result);
  VomoSparamData *sparams = nullptr;
  if (!Vomo_STATUS_IS_ERROR(Vomo_Read_S4P_File(request.path, &sparams))) {
    result.Tell("points", sparams->ulSArrayLength);
    result.Tell("lowest frequency", sparams->pdSfreq[1], "Hz");
    result.Tell("highest frequency", sparams->pdSfreq[sparams->ulSArrayLength], "Hz");
    TellPorts(*sparams, &result);
  }
  return result;
}

}  // namespace app
